// Camera: finds a camera, sets features, streams images, saves one as a bitmap, shows events and errors.
//
//   camera [IP-ADDRESS [FOLDER]]
//
// IP-ADDRESS picks a camera (default, or "any": the first one found). FOLDER takes camera.bmp (default: the current
// one). Ends with 0 and the line "Done." when every step succeeded, with 1 when one failed. Needs the server
// registered.
//
// Run in the tests, built with MinGW-w64 and under Wine: ./run test scripts.
//
// Early bound, in plain C++ for any compiler; connecting and streaming are in live_camera.cpp.
#include "listener.h"
#include "live_camera.h"

#include <shellapi.h>

#include <atomic>
#include <cstdio>
#include <string>
#include <vector>

using automation::Connection;
using automation::Failure;
using automation::object_of;
using automation::Ref;
using automation::require;
using automation::Text;

namespace {

constexpr int frame_count = 20;
constexpr unsigned int timeout = 5000;  // ms

/// For consoles of any code page.
std::string ascii(const std::wstring& text)
{
    std::string made;
    for (const wchar_t letter : text) {
        made += letter < 128 ? static_cast<char>(letter) : '?';
    }
    return made;
}

/// Every camera that is found is told by an event. The address of the first one.
std::wstring search()
{
    Ref<IVexSystem> system;
    create(system, CLSID_VexSystem);
    std::wstring first;
    // OnDeviceFound(aInterface, aDeviceInfo, aIgnore), last argument first
    const Connection events(system.get(), DIID__IVexSystemEvents, [&](DISPID, const DISPPARAMS& arguments) {
        Ref<IVexDeviceInfo> info;
        Text model;
        Text address;
        object_of(info, arguments.rgvarg[1]);
        info->get_Model(model.out());
        info->get_IPAddress(address.out());
        first = first.empty() ? address.str() : first;
        std::printf("Event: found %s at %s\n", ascii(model.str()).c_str(), ascii(address.str()).c_str());
    });
    require(L"searching for cameras", [&](IVexResult** result) { return system->Find(result); });
    return first;
}

void set_integer(IVexGenParameterArray& features, const wchar_t* name, __int64 value)
{
    const Text text(name);
    require(name, [&](IVexResult** result) { return features.SetIntegerValue(text.in(), value, result); });
}

/// A method tells its failure by its result object, a property by an HRESULT and error information.
void show_errors(IVexGenParameterArray& features, IVexGenInteger& width)
{
    try {
        set_integer(features, L"NoSuchFeature", 1);
    } catch (const Failure& failure) {
        std::printf("As expected: %s\n", ascii(failure.text).c_str());
    }
    Ref<IErrorInfo> information;
    Text description;
    if (SUCCEEDED(width.put_Value(-1)) || GetErrorInfo(0, information.out()) != S_OK) {
        throw Failure{L"a Width of -1 was taken"};
    }
    information->GetDescription(description.out());
    std::printf("As expected: %s\n", ascii(description.str()).c_str());
}

void set_features(IVexGenParameterArray& features)
{
    const Text format(L"PixelFormat");
    const Text bayer(L"BayerRG8");
    const Text width_name(L"Width");
    Ref<IVexGenInteger> width;
    if (FAILED(features.GetInteger(width_name.in(), width.out())) || !width) {
        throw Failure{L"the camera has no Width"};
    }
    std::atomic<int> updates = 0;
    const Connection events(width.get(), DIID__IVexGenParameterEvents,
                            [&](DISPID, const DISPPARAMS&) { updates += 1; });
    require(L"setting PixelFormat",
            [&](IVexResult** result) { return features.SetEnumValueStr(format.in(), bayer.in(), result); });
    set_integer(features, L"Width", 320);
    if (FAILED(width->put_Value(640))) {
        throw Failure{L"setting Width"};
    }
    set_integer(features, L"Height", 480);
    __int64 value = 0;
    width->get_Value(&value);
    if (value != 640 || updates == 0) {
        throw Failure{L"Width is not what it was set to, or no event told so"};
    }
    std::printf("Event: Width has changed, %d times\n", updates.load());
    show_errors(features, *width.get());
}

void save(IVexBuffer* buffer, const std::wstring& path)
{
    Ref<IVexBuffer> picture;
    Ref<IVexImage> image;
    Ref<IVexImage> target;
    Ref<IVexBufferConverter> converter;
    Ref<IVexBufferWriter> writer;
    unsigned int width = 0;
    unsigned int height = 0;
    create(picture, CLSID_VexBuffer);
    create(converter, CLSID_VexBufferConverter);
    create(writer, CLSID_VexBufferWriter);
    if (FAILED(buffer->get_Image(image.out())) || !image || FAILED(picture->get_Image(target.out()))) {
        throw Failure{L"the buffer holds no image"};
    }
    image->get_Width(&width);
    image->get_Height(&height);
    const Text file(path);
    require(L"allocating the picture",
            [&](IVexResult** result) { return target->Alloc(width, height, VexPixelWinBGR24, 0, 0, result); });
    require(L"converting the image",
            [&](IVexResult** result) { return converter->Convert(buffer, picture.get(), VARIANT_TRUE, result); });
    require(L"saving " + path,
            [&](IVexResult** result) { return writer->Store(picture.get(), file.in(), VexBufferFormatBMP, result); });
    std::printf("Saved %s\n", ascii(path).c_str());
}

void run(const std::wstring& wanted, const std::wstring& folder)
{
    const std::wstring first = search();
    const std::wstring address = wanted == L"any" ? first : wanted;
    if (address.empty()) {
        throw Failure{L"no camera was found"};
    }
    LiveCamera camera;
    const Connection events(camera.device(), DIID__IVexDeviceEvents, [](DISPID event, const DISPPARAMS&) {
        if (constexpr DISPID lost = 4; event == lost) {
            std::printf("Event: the connection was lost\n");
        }
    });
    camera.connect(address);
    Ref<IVexGenParameterArray> features;
    camera.device()->get_GenParameters(features.out());
    set_features(*features.get());
    camera.start();
    for (int frame = 1; frame <= frame_count; ++frame) {
        const bool came = camera.next(timeout, [&](IVexBuffer* buffer) {
            if (frame == frame_count) {
                save(buffer, folder + L"\\camera.bmp");
            }
        });
        if (!came) {
            throw Failure{L"an image did not come"};
        }
    }
    camera.stop();
    camera.disconnect();
    std::printf("%d images\n", frame_count);
}

std::vector<std::wstring> arguments()
{
    int count = 0;
    wchar_t** given = CommandLineToArgvW(GetCommandLineW(), &count);
    std::vector<std::wstring> made(given + 1, given + count);
    LocalFree(given);
    made.resize(2);
    return {made[0].empty() ? L"any" : made[0], made[1].empty() ? L"." : made[1]};
}

}  // namespace

int main()
{
    int code = 0;
    if (FAILED(CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED))) {
        return 1;
    }
    try {
        const auto given = arguments();
        run(given[0], given[1]);
        std::printf("Done.\n");
    } catch (const Failure& failure) {
        std::printf("Failed: %s\n", ascii(failure.text).c_str());
        code = 1;
    }
    CoUninitialize();
    return code;
}
