#include "bench/convert/quality.h"

#include <cstdio>
#include <vector>

#include "bench/convert/peers.h"
#include "sdk/buffer/PvBuffer.h"
#include "tests/sdk/convert/scenes.h"

namespace bench {
namespace {

constexpr Size size{1024, 768};

/// Both with the borders and without, which the peers fill in by copying.
void print_row(const char* scene, const std::string& name, const std::vector<Byte>& truth, const std::vector<Byte>& bgr)
{
    std::printf("%-10s %-22s %6.2f dB   inside %6.2f dB\n", scene, name.c_str(),
                scenes::psnr(truth, bgr.data(), 3, true, size.width, 0),
                scenes::psnr(truth, bgr.data(), 3, true, size.width, 2));
}

}  // namespace

void print_quality()
{
    std::printf("\nPSNR of a demosaiced %ux%u BayerRG8 image against the scene\n", size.width, size.height);
    std::vector<Byte> bgr(3 * size.pixels());
    for (const auto& scene : scenes::all) {
        const auto truth = scenes::picture(scene, size.width, size.height);
        auto samples = scenes::mosaic(truth, size.width, 0, 0);
        for (const auto filter : {PvBayerFilterSimple, PvBayerFilter3X3}) {
            const bool three = filter == PvBayerFilter3X3;
            PvBufferConverter converter;
            converter.SetBayerFilter(filter);
            PvBuffer from, to;
            from.GetImage()->Attach(samples.data(), size.width, size.height, PvPixelBayerRG8);
            to.GetImage()->Attach(bgr.data(), size.width, size.height, PvPixelBGR8Packed);
            if (!converter.Convert(&from, &to).IsOK()) {
                std::abort();
            }
            print_row(scene.name, three ? "ours, 3x3" : "ours, simple", truth, bgr);
            for (const auto& peer : peers_for({PvPixelBayerRG8, PvPixelBGR8Packed, filter}, size, 1)) {
                peer.convert(samples.data(), bgr.data());
                print_row(scene.name, peer.name + (three ? ", edge-aware" : ", bilinear"), truth, bgr);
            }
        }
    }
}

}  // namespace bench
