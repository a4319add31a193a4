// Grabs two images from a camera and computes with their bytes: the first as a copy, from the property Data, the second
// in the program's own memory, where the stream puts it without a copy.
//
//   read_pixels IP-ADDRESS
//
// Ends with 0 when every step succeeded, with 1 when one failed. Needs the server registered.
//
// Run in the tests, under Wine: ./run test windows.
#include "automation.h"

#include <shellapi.h>

#include <algorithm>
#include <cstdio>
#include <numeric>
#include <span>
#include <string>
#include <vector>

using automation::attempt;
using automation::Failure;
using automation::Ref;
using automation::require;
using automation::Text;

namespace {

void print(const char* what, IVexBuffer& buffer, std::span<const unsigned char> bytes)
{
    Ref<IVexImage> image;
    unsigned int width = 0;
    unsigned int height = 0;
    VexPixelType type = VexPixelUndefined;
    if (FAILED(buffer.get_Image(image.out())) || !image) {
        throw Failure{L"the buffer holds no image"};
    }
    image->get_Width(&width);
    image->get_Height(&height);
    image->get_PixelType(&type);
    if (bytes.empty()) {
        throw Failure{L"the image has no bytes"};
    }
    const double sum = std::accumulate(bytes.begin(), bytes.end(), 0.0);
    std::printf("%s: %u x %u pixels of type 0x%08X, %u bytes, mean %.1f, greatest %d\n", what, width, height,
                static_cast<unsigned int>(type), static_cast<unsigned int>(bytes.size()),
                sum / static_cast<double>(bytes.size()), int{*std::max_element(bytes.begin(), bytes.end())});
}

/// The bytes of Data: an array that the caller owns, a copy of the buffer's.
void print_copy(IVexBuffer& buffer)
{
    SAFEARRAY* data = nullptr;
    if (FAILED(buffer.get_Data(&data)) || data == nullptr) {
        throw Failure{L"the buffer has no data"};
    }
    LONG last = -1;
    void* bytes = nullptr;
    SafeArrayGetUBound(data, 1, &last);
    if (FAILED(SafeArrayAccessData(data, &bytes))) {
        throw Failure{L"locking the array"};
    }
    print("A copy", buffer, {static_cast<const unsigned char*>(bytes), static_cast<std::size_t>(last) + 1});
    SafeArrayUnaccessData(data);
    SafeArrayDestroy(data);
}

class Camera {
public:
    explicit Camera(const wchar_t* ip_address) : address_(ip_address)
    {
        create(device_, CLSID_VexDevice);
        create(stream_, CLSID_VexStream);
        require(L"connecting",
                [&](IVexResult** result) { return device_->ConnectString(address_.in(), VexAccessControl, result); });
        device_->get_GenParameters(features_.out());
        const Text nothing(L"");
        require(L"opening the stream",
                [&](IVexResult** result) { return stream_->OpenUnicast(address_.in(), 0, 0, nothing.in(), result); });
        constexpr unsigned int every_network_carries = 1440;
        require(L"negotiating the packet size",
                [&](IVexResult** result) { return device_->NegotiatePacketSize(0, every_network_carries, result); });
        Text local;
        unsigned short port = 0;
        stream_->get_LocalIPAddress(local.out());
        stream_->get_LocalPort(&port);
        require(L"setting the stream's destination",
                [&](IVexResult** result) { return device_->SetStreamDestination(local.in(), port, 0, result); });
    }
    ~Camera()
    {
        attempt([&](IVexResult** result) { device_->ResetStreamDestination(0, result); });
        attempt([&](IVexResult** result) { stream_->Close(result); });
        attempt([&](IVexResult** result) { device_->Disconnect(result); });
    }
    Camera(const Camera&) = delete;
    Camera& operator=(const Camera&) = delete;

    /// Bytes of an image as the camera is set up now.
    [[nodiscard]] unsigned int payload_size() const
    {
        const Text name(L"PayloadSize");
        __int64 size = 0;
        require(L"reading PayloadSize",
                [&](IVexResult** result) { return features_->GetIntegerValue(name.in(), &size, result); });
        return static_cast<unsigned int>(size);
    }

    /// Fills the buffer with the next image.
    void grab(IVexBuffer* buffer) const
    {
        require(L"queueing the buffer", [&](IVexResult** result) { return stream_->QueueBuffer(buffer, result); });
        execute(L"AcquisitionStart");
        Ref<IVexBuffer> retrieved;  // shows the same bytes as `buffer`
        Ref<IVexResult> operation;
        constexpr unsigned int timeout = 5000;  // ms
        require(L"retrieving an image", [&](IVexResult** result) {
            return stream_->RetrieveBuffer(retrieved.out(), operation.out(), timeout, result);
        });
        execute(L"AcquisitionStop");
        VARIANT_BOOL ok = 0;
        operation->get_IsOK(&ok);
        if (!ok) {
            throw Failure{L"the image did not arrive whole"};
        }
    }

private:
    void execute(const wchar_t* command) const
    {
        const Text name(command);
        require(L"executing a command",
                [&](IVexResult** result) { return features_->ExecuteCommand(name.in(), result); });
    }

    Text address_;
    Ref<IVexDevice> device_;
    Ref<IVexGenParameterArray> features_;
    Ref<IVexStream> stream_;
};

void run(const wchar_t* ip_address)
{
    const Camera camera(ip_address);
    const unsigned int size = camera.payload_size();
    // Attached memory must stay where it is, and outlive the buffer.
    std::vector<unsigned char> memory(size);
    Ref<IVexBuffer> buffer;
    create(buffer, CLSID_VexBuffer);
    require(L"allocating", [&](IVexResult** result) { return buffer->Alloc(size, result); });
    camera.grab(buffer.get());
    print_copy(*buffer.get());

    require(L"attaching memory", [&](IVexResult** result) {
        return buffer->Attach(reinterpret_cast<INT_PTR>(memory.data()), size, result);
    });
    camera.grab(buffer.get());
    print("In place", *buffer.get(), memory);
    buffer->Free();  // gives the memory back without freeing it
}

/// One argument, in wide characters.
std::wstring argument()
{
    int count = 0;
    wchar_t** arguments = CommandLineToArgvW(GetCommandLineW(), &count);
    std::wstring first = count == 2 ? arguments[1] : L"";
    LocalFree(arguments);
    return first;
}

/// For consoles of any code page.
std::string ascii(const std::wstring& text)
{
    std::string made;
    for (const wchar_t letter : text) {
        made += letter < 128 ? static_cast<char>(letter) : '?';
    }
    return made;
}

}  // namespace

int main()
{
    try {
        const auto ip_address = argument();
        if (ip_address.empty()) {
            throw Failure{L"say the camera's IP address"};
        }
        if (FAILED(CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED))) {
            throw Failure{L"starting COM"};
        }
        run(ip_address.c_str());
    } catch (const Failure& failure) {
        std::printf("Failed: %s\n", ascii(failure.text).c_str());
        return 1;
    }
    CoUninitialize();
    std::printf("Done.\n");
    return 0;
}
