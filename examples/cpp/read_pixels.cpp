// Grabs two images from a camera and computes with their bytes: the first as a copy, from the property Data, the second
// in the program's own memory, where the stream puts it without a copy.
//
//   read_pixels IP-ADDRESS
//
// Ends with 0 when every step succeeded, with 1 when one failed. Needs the server registered, and from its build the
// header VexKamCOMWrapper_h.h and the identifiers in VexKamCOMWrapper_i.c.
#include <windows.h>

#include <shellapi.h>

#include "VexKamCOMWrapper_h.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <numeric>
#include <span>
#include <string>
#include <utility>
#include <vector>

namespace {

/// Ends the program with what failed.
[[noreturn]] void fail(const std::string& what)
{
    std::printf("Failed: %s\n", what.c_str());
    std::exit(1);
}

/// One reference to an object, released at the end.
template <class Interface>
class Ref {
public:
    Ref() = default;
    Ref(const Ref&) = delete;
    Ref& operator=(const Ref&) = delete;
    ~Ref()
    {
        if (object_ != nullptr) {
            object_->Release();
        }
    }

    /// For out parameters; what was held is released.
    Interface** out()
    {
        if (auto* held = std::exchange(object_, nullptr); held != nullptr) {
            held->Release();
        }
        return &object_;
    }
    [[nodiscard]] Interface* get() const { return object_; }
    Interface* operator->() const { return object_; }

private:
    Interface* object_ = nullptr;
};

/// A text for [in] BSTR parameters.
class Text {
public:
    explicit Text(const wchar_t* text) : text_(SysAllocString(text)) {}
    Text(const Text&) = delete;
    Text& operator=(const Text&) = delete;
    ~Text() { SysFreeString(text_); }
    [[nodiscard]] BSTR get() const { return text_; }

private:
    BSTR text_;
};

/// Methods that can fail say so twice: the HRESULT tells whether the call could be made, the result object what became
/// of it.
template <class Call>
void require(const char* what, Call&& call)
{
    Ref<IVexResult> result;
    if (FAILED(call(result.out()))) {
        fail(what);
    }
    VARIANT_BOOL ok = 0;
    result->get_IsOK(&ok);
    if (ok) {  // 1 for true
        return;
    }
    BSTR description = nullptr;
    result->get_Description(&description);
    std::string text = std::string(what) + ": ";
    for (const wchar_t* at = description; at != nullptr && *at != L'\0'; ++at) {
        text += *at < 128 ? static_cast<char>(*at) : '?';
    }
    SysFreeString(description);
    fail(text);
}

template <class Interface>
void create(Ref<Interface>& object, const CLSID& clsid)
{
    if (FAILED(CoCreateInstance(clsid, nullptr, CLSCTX_INPROC_SERVER, __uuidof(Interface),
                                reinterpret_cast<void**>(object.out())))) {
        fail("creating an object; is the server registered?");
    }
}

void print(const char* what, IVexBuffer& buffer, std::span<const unsigned char> bytes)
{
    Ref<IVexImage> image;
    unsigned int width = 0;
    unsigned int height = 0;
    VexPixelType type = VexPixelUndefined;
    if (FAILED(buffer.get_Image(image.out())) || image.get() == nullptr) {
        fail("the buffer holds no image");
    }
    image->get_Width(&width);
    image->get_Height(&height);
    image->get_PixelType(&type);
    if (bytes.empty()) {
        fail("the image has no bytes");
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
        fail("the buffer has no data");
    }
    LONG last = -1;
    void* bytes = nullptr;
    SafeArrayGetUBound(data, 1, &last);
    if (FAILED(SafeArrayAccessData(data, &bytes))) {
        fail("locking the array");
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
        require("connecting",
                [&](IVexResult** result) { return device_->ConnectString(address_.get(), VexAccessControl, result); });
        device_->get_GenParameters(features_.out());
        const Text nothing(L"");
        require("opening the stream",
                [&](IVexResult** result) { return stream_->OpenUnicast(address_.get(), 0, 0, nothing.get(), result); });
        constexpr unsigned int every_network_carries = 1440;
        require("negotiating the packet size",
                [&](IVexResult** result) { return device_->NegotiatePacketSize(0, every_network_carries, result); });
        BSTR local = nullptr;
        unsigned short port = 0;
        stream_->get_LocalIPAddress(&local);
        stream_->get_LocalPort(&port);
        require("setting the stream's destination",
                [&](IVexResult** result) { return device_->SetStreamDestination(local, port, 0, result); });
        SysFreeString(local);
    }
    ~Camera()
    {
        Ref<IVexResult> ignored;
        device_->ResetStreamDestination(0, ignored.out());
        stream_->Close(ignored.out());
        device_->Disconnect(ignored.out());
    }
    Camera(const Camera&) = delete;
    Camera& operator=(const Camera&) = delete;

    /// Bytes of an image as the camera is set up now.
    [[nodiscard]] unsigned int payload_size() const
    {
        const Text name(L"PayloadSize");
        __int64 size = 0;
        require("reading PayloadSize",
                [&](IVexResult** result) { return features_->GetIntegerValue(name.get(), &size, result); });
        return static_cast<unsigned int>(size);
    }

    /// Fills the buffer with the next image.
    void grab(IVexBuffer* buffer) const
    {
        require("queueing the buffer", [&](IVexResult** result) { return stream_->QueueBuffer(buffer, result); });
        execute(L"AcquisitionStart");
        Ref<IVexBuffer> retrieved;  // shows the same bytes as `buffer`
        Ref<IVexResult> operation;
        constexpr unsigned int timeout = 5000;  // ms
        require("retrieving an image", [&](IVexResult** result) {
            return stream_->RetrieveBuffer(retrieved.out(), operation.out(), timeout, result);
        });
        execute(L"AcquisitionStop");
        VARIANT_BOOL ok = 0;
        operation->get_IsOK(&ok);
        if (!ok) {
            fail("the image did not arrive whole");
        }
    }

private:
    void execute(const wchar_t* command) const
    {
        const Text name(command);
        require("executing a command",
                [&](IVexResult** result) { return features_->ExecuteCommand(name.get(), result); });
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
    Ref<IVexBuffer> buffer;
    create(buffer, CLSID_VexBuffer);
    require("allocating", [&](IVexResult** result) { return buffer->Alloc(size, result); });
    camera.grab(buffer.get());
    print_copy(*buffer.get());

    // The memory must stay where it is as long as it is attached.
    std::vector<unsigned char> memory(size);
    require("attaching memory", [&](IVexResult** result) {
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

}  // namespace

int main()
{
    const auto ip_address = argument();
    if (ip_address.empty()) {
        fail("say the camera's IP address");
    }
    if (FAILED(CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED))) {
        fail("starting COM");
    }
    run(ip_address.c_str());
    CoUninitialize();
    std::printf("Done.\n");
    return 0;
}
