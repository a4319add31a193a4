// Camera: finds a camera, sets features, streams images, saves one as a bitmap, shows events and errors.
//
//   camera_import [IP-ADDRESS [FOLDER]]
//
// IP-ADDRESS picks a camera (default, or "any": the first one found). FOLDER takes camera.bmp (default: the current
// one). Ends with 0 and the line "Done." when every step succeeded, with 1 when one failed. Needs the server
// registered.
//
// Not run here: #import is of Microsoft's compiler, and MinGW-w64 has nothing like it. Build it there, for 64 bits:
//
//   cl /EHsc /std:c++20 camera_import.cpp
//
// The compiler makes a class of every interface from the registered type library: smart pointers, properties, texts
// that free themselves, and an exception (_com_error) for every failing HRESULT. What it does by itself here,
// camera.cpp does for other compilers.
#include <windows.h>

#include <cstdio>
#include <string>

#include <olectl.h>

// VexKamCOMWrapper 2.1 Type Library
#import "libid:700AA29B-D8AA-4AEE-9675-F81AB620D46E" version("2.1") named_guids

using namespace VexKamCOMWrapperLib;

namespace {

constexpr int frame_count = 20;
constexpr unsigned int buffer_count = 8;
constexpr unsigned int every_network_carries = 1440;  // bytes, for cameras that send no test packets
constexpr unsigned int timeout = 5000;                // ms

struct Failure {
    std::wstring text;
};

/// Methods that can fail return a result object.
void require(const IVexResultPtr& result, const wchar_t* what)
{
    if (!result->IsOK) {  // 1 for true
        throw Failure{std::wstring(what) + L": " + static_cast<const wchar_t*>(result->Description)};
    }
}

/// Answers one interface of events and prints what happens. Lives on the stack: it ends its connection before it goes.
class Printer final : public IDispatch {
public:
    Printer(IUnknown* object, const IID& events) : events_(events)
    {
        const IConnectionPointContainerPtr container(object);
        if (container == nullptr || FAILED(container->FindConnectionPoint(events, &point_)) ||
            FAILED(point_->Advise(this, &cookie_))) {
            throw Failure{L"listening to events"};
        }
    }
    Printer(const Printer&) = delete;
    Printer& operator=(const Printer&) = delete;
    ~Printer() { point_->Unadvise(cookie_); }

    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID iid, void** object) override
    {
        const bool known = iid == events_ || iid == __uuidof(IDispatch) || iid == __uuidof(IUnknown);
        *object = known ? static_cast<IDispatch*>(this) : nullptr;
        return known ? S_OK : E_NOINTERFACE;
    }
    ULONG STDMETHODCALLTYPE AddRef() override { return 1; }
    ULONG STDMETHODCALLTYPE Release() override { return 1; }
    HRESULT STDMETHODCALLTYPE GetTypeInfoCount(UINT* count) override
    {
        *count = 0;
        return S_OK;
    }
    HRESULT STDMETHODCALLTYPE GetTypeInfo(UINT, LCID, ITypeInfo**) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE GetIDsOfNames(REFIID, LPOLESTR*, UINT, LCID, DISPID*) override { return E_NOTIMPL; }
    /// Arguments stand in reverse order. The call comes on a thread of the server.
    HRESULT STDMETHODCALLTYPE Invoke(DISPID event, REFIID, LCID, WORD, DISPPARAMS* arguments, VARIANT*, EXCEPINFO*,
                                     UINT*) override
    try {
        if (events_ == DIID__IVexSystemEvents) {
            const IVexDeviceInfoPtr info(V_DISPATCH(&arguments->rgvarg[1]));
            std::printf("Event: found %ls at %ls\n", info->Model.GetBSTR(), info->IPAddress.GetBSTR());
        } else if (events_ == DIID__IVexGenParameterEvents) {
            const IVexGenParameterPtr parameter(V_DISPATCH(&arguments->rgvarg[0]));
            std::printf("Event: %ls has changed\n", parameter->Name.GetBSTR());
        } else if (event == 4) {
            std::printf("Event: the connection was lost\n");
        }
        return S_OK;
    } catch (const _com_error& error) {
        return error.Error();
    }

private:
    IID events_;
    IConnectionPointPtr point_;
    DWORD cookie_ = 0;
};

_bstr_t search()
{
    const IVexSystemPtr system(__uuidof(VexSystem));
    const Printer printer(system, DIID__IVexSystemEvents);
    require(system->Find(), L"searching for cameras");
    for (unsigned int i = 0; i < system->InterfaceCount; ++i) {
        const IVexInterfacePtr network = system->GetInterface(i);
        if (network->DeviceCount > 0) {
            return network->GetDeviceInfo(0)->IPAddress;
        }
    }
    return L"";
}

void set_features(const IVexGenParameterArrayPtr& features)
{
    const IVexGenIntegerPtr width = features->GetInteger(L"Width");
    const Printer printer(width, DIID__IVexGenParameterEvents);
    require(features->SetEnumValueStr(L"PixelFormat", L"BayerRG8"), L"setting PixelFormat");
    require(features->SetIntegerValue(L"Width", 320), L"setting Width");
    width->Value = 640;
    require(features->SetIntegerValue(L"Height", 480), L"setting Height");

    // a method tells its failure by its result object, a property by an exception
    const IVexResultPtr outcome = features->SetIntegerValue(L"NoSuchFeature", 1);
    std::printf("As expected: code %d: %ls\n", static_cast<int>(outcome->Code), outcome->Description.GetBSTR());
    try {
        width->Value = -1;
    } catch (const _com_error& refusal) {
        std::printf("As expected: %ls\n", refusal.Description().GetBSTR());
    }
}

void lock_settings(const IVexGenParameterArrayPtr& features, int locked)
{
    if (features->GetInteger(L"TLParamsLocked") != nullptr) {
        require(features->SetIntegerValue(L"TLParamsLocked", locked), L"locking the settings");
    }
}

void save(const IVexBufferPtr& buffer, const std::wstring& path)
{
    const IVexBufferPtr picture(__uuidof(VexBuffer));
    const IVexBufferConverterPtr converter(__uuidof(VexBufferConverter));
    const IVexBufferWriterPtr writer(__uuidof(VexBufferWriter));
    const IVexImagePtr image = buffer->Image;
    require(picture->Image->Alloc(image->Width, image->Height, VexPixelWinBGR24, 0, 0), L"allocating the picture");
    require(converter->Convert(buffer, picture, VARIANT_TRUE), L"converting the image");
    require(writer->Store(picture, path.c_str(), VexBufferFormatBMP), L"saving the picture");
    std::printf("Saved %ls\n", path.c_str());
}

void take_images(const IVexGenParameterArrayPtr& features, const IVexStreamPtr& stream, const std::wstring& path)
{
    __int64 payload_size = 0;
    require(features->GetIntegerValue(L"PayloadSize", &payload_size), L"reading PayloadSize");
    // the stream comes first: size and count belong to the pipeline on it
    const IVexPipelinePtr pipeline(__uuidof(VexPipeline));
    pipeline->StreamBase = stream;
    pipeline->BufferSize = static_cast<unsigned int>(payload_size);
    pipeline->BufferCount = buffer_count;
    require(pipeline->Start(), L"starting the pipeline");
    lock_settings(features, 1);
    require(features->ExecuteCommand(L"AcquisitionStart"), L"starting the acquisition");
    for (int frame = 1; frame <= frame_count; ++frame) {
        IVexBufferPtr buffer;
        IVexResultPtr operation;
        require(pipeline->RetrieveNextBuffer(&buffer, timeout, &operation), L"retrieving an image");
        if (!operation->IsOK) {
            std::printf("Image %d is damaged\n", frame);
        }
        if (frame == frame_count) {
            save(buffer, path);
        }
        require(pipeline->ReleaseBuffer(buffer), L"giving the buffer back");
    }
    require(features->ExecuteCommand(L"AcquisitionStop"), L"stopping the acquisition");
    lock_settings(features, 0);
    require(pipeline->Stop(), L"stopping the pipeline");
    std::printf("%d images\n", frame_count);
}

void run(const std::wstring& wanted, const std::wstring& folder)
{
    const _bstr_t first = search();
    const _bstr_t address = wanted == L"any" ? first : _bstr_t(wanted.c_str());
    if (address.length() == 0) {
        throw Failure{L"no camera was found"};
    }
    const IVexDevicePtr device(__uuidof(VexDevice));
    const Printer printer(device, DIID__IVexDeviceEvents);
    require(device->ConnectString(address, VexAccessControl), L"connecting");
    const IVexGenParameterArrayPtr features = device->GenParameters;
    set_features(features);
    const IVexStreamPtr stream(__uuidof(VexStream));
    require(stream->OpenUnicast(address, 0, 0, L""), L"opening the stream");
    require(device->NegotiatePacketSize(0, every_network_carries), L"negotiating the packet size");
    require(device->SetStreamDestination(stream->LocalIPAddress, stream->LocalPort, 0), L"setting the destination");
    take_images(features, stream, folder + L"\\camera.bmp");
    require(device->ResetStreamDestination(0), L"resetting the destination");
    require(stream->Close(), L"closing the stream");
    require(device->Disconnect(), L"disconnecting");
}

}  // namespace

int wmain(int count, wchar_t** arguments)
{
    int code = 0;
    if (FAILED(CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED))) {
        return 1;
    }
    try {
        run(count > 1 ? arguments[1] : L"any", count > 2 ? arguments[2] : L".");
        std::printf("Done.\n");
    } catch (const Failure& failure) {
        std::printf("Failed: %ls\n", failure.text.c_str());
        code = 1;
    } catch (const _com_error& error) {
        std::printf("Failed: %ls\n",
                    error.Description().length() ? error.Description().GetBSTR() : error.ErrorMessage());
        code = 1;
    }
    CoUninitialize();
    return code;
}
