#include "tools/softlink/line_faults.h"

#include <utility>

namespace softlink {

namespace {

constexpr std::size_t most_garbage = 64;

}  // namespace

bool FaultyDevice::drawn(unsigned per_mille)
{
    // a rate of 0 draws nothing, so that it leaves the other faults of a seed where they are
    const bool hit = per_mille != 0 && random_() % 1000 < per_mille;
    faults_ += hit ? 1 : 0;
    return hit;
}

std::vector<Answer> FaultyDevice::receive(std::span<const std::uint8_t> bytes)
{
    if (drawn(rates_.lost_commands)) {
        return {};
    }
    if (drawn(rates_.pending)) {
        device_.be_busy_once(rates_.pending_time);
    }
    std::vector<Answer> sent;
    for (Answer& answer : device_.receive(bytes)) {
        if (drawn(rates_.lost_answers)) {
            continue;
        }
        damage(answer.bytes);
        const bool twice = drawn(rates_.doubled);
        sent.push_back(answer);
        if (twice) {
            sent.push_back(std::move(answer));
        }
    }
    return sent;
}

void FaultyDevice::damage(Bytes& bytes)
{
    if (drawn(rates_.flipped)) {
        std::uint8_t& byte = bytes[below(bytes.size())];
        byte = static_cast<std::uint8_t>(byte ^ (1U << below(8)));
    }
    if (drawn(rates_.cut)) {
        bytes.resize(below(bytes.size()));
    }
    if (drawn(rates_.garbage)) {
        Bytes noise(1 + below(most_garbage));
        for (std::uint8_t& byte : noise) {
            byte = static_cast<std::uint8_t>(random_());
        }
        bytes.insert(bytes.begin(), noise.begin(), noise.end());
    }
}

}  // namespace softlink
