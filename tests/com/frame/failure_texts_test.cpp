// What a client is told of a call that fails by its HRESULT: which argument or object is to blame, and in whose name.
#include <functional>
#include <string>
#include <vector>

#include "tests/com/class_list.h"
#include "tests/com/com_client.h"

namespace {

using namespace client;

struct Told {
    HRESULT code = S_OK;
    std::wstring text;
    std::wstring source;
    GUID interface_id{};
};

class FailureTexts : public ComTest {
protected:
    /// The outcome of a call with its error information, which is taken.
    [[nodiscard]] static Told told_by(const std::function<HRESULT()>& call)
    {
        SetErrorInfo(0, nullptr);
        Told told;
        told.code = call();
        Ref<IErrorInfo> info;
        if (GetErrorInfo(0, info.put()) == S_OK) {
            BSTR text = nullptr;
            info->GetDescription(&text);
            told.text = take(text);
            info->GetSource(&text);
            told.source = take(text);
            info->GetGUID(&told.interface_id);
        }
        return told;
    }
    static void expect(const std::function<HRESULT()>& call, HRESULT code, const wchar_t* text)
    {
        const Told told = told_by(call);
        EXPECT_EQ(told.code, code) << std::string(told.text.begin(), told.text.end());
        EXPECT_EQ(told.text, text);
        EXPECT_NE(told.source, L"");
    }
    template <class Interface>
    [[nodiscard]] static Ref<Interface> make(const wchar_t* prog_id)
    {
        CLSID clsid{};
        EXPECT_EQ(CLSIDFromProgID((std::wstring(L"VexKamCOMWrapper.") + prog_id).c_str(), &clsid), S_OK);
        return create<Interface>(clsid);
    }

    Ref<IVexBuffer> buffer = make<IVexBuffer>(L"VexBuffer");
    Ref<IVexBufferConverter> converter = make<IVexBufferConverter>(L"VexBufferConverter");
    Ref<IVexImage> image = make<IVexImage>(L"VexImage");
    Ref<IVexResult> result;
};

TEST_F(FailureTexts, NameTheClassThatFailed)
{
    const Told told = told_by([&] { return converter->Convert(nullptr, buffer.get(), 0, result.put()); });
    EXPECT_EQ(told.code, E_POINTER);
    EXPECT_EQ(told.source, L"VexKamCOMWrapper.VexBufferConverter.1");
    EXPECT_EQ(told.interface_id, __uuidof(IVexBufferConverter));
}

TEST_F(FailureTexts, SayWhichArgumentIsWrong)
{
    // another module's object: its methods are not this module's
    const std::vector<const void*> methods_elsewhere(64);
    const void* object = methods_elsewhere.data();
    auto* const foreign = reinterpret_cast<IVexBuffer*>(&object);
    expect([&] { return converter->Convert(nullptr, buffer.get(), 0, result.put()); }, E_POINTER,
           L"Argument 1 is nothing where an IVexBuffer is wanted");
    expect([&] { return converter->Convert(buffer.get(), foreign, 0, result.put()); }, E_INVALIDARG,
           L"Argument 2 is not an IVexBuffer of this library");
    const auto device = make<IVexDevice>(L"VexDevice");
    const auto info = make<IVexDeviceInfo>(L"VexDeviceInfo");
    expect([&] { return device->ConnectDeviceInfo(info.get(), VexAccessControl, result.put()); }, E_POINTER,
           L"Argument 1, an IVexDeviceInfo, has nothing behind it");
    expect([&] { return device->ReadMemory(0, nullptr, 4, result.put()); }, E_INVALIDARG,
           L"Argument 2 is not an array");
}

TEST_F(FailureTexts, SayThatAnArrayDoesNotFit)
{
    SAFEARRAYBOUND bounds[] = {{2, 0}, {2, 0}};
    SAFEARRAY* square = SafeArrayCreate(VT_UI1, 2, bounds);
    expect([&] { return buffer->put_Data(square); }, E_INVALIDARG, L"The array does not have exactly one dimension");
    SafeArrayDestroy(square);
}

TEST_F(FailureTexts, SayThatAnOutputIsMissing)
{
    unsigned int low = 0;
    expect([&] { return buffer->get_Size(nullptr); }, E_POINTER, L"The pointer for a value is null");
    expect([&] { return buffer->get_Data(nullptr); }, E_POINTER, L"The pointer for a value is null");
    expect([&] { return buffer->get_Image(nullptr); }, E_POINTER, L"The pointer for a value is null");
    expect([&] { return buffer->Alloc(4, nullptr); }, E_POINTER, L"The pointer for a value is null");
    expect([&] { return buffer->GetMissingPacketIds(0, &low, nullptr, result.put()); }, E_POINTER,
           L"The pointer for the value of argument 3 is null");
}

TEST_F(FailureTexts, SayThatNothingIsBehindAView)
{
    unsigned int width = 0;
    SAFEARRAY* array = nullptr;
    expect([&] { return image->get_Width(&width); }, E_POINTER, L"This VexImage is not attached to anything");
    expect([&] { return image->get_Data(&array); }, E_POINTER, L"This VexImage is not attached to anything");
    expect([&] { return image->Free(); }, E_POINTER, L"This VexImage is not attached to anything");
    const auto array_object = make<IVexGenParameterArray>(L"VexGenParameterArray");
    Ref<IVexGenParameter> parameter;
    expect([&] { return array_object->GetByIndex(0, parameter.put()); }, E_POINTER,
           L"This VexGenParameterArray is not attached to anything");
}

TEST_F(FailureTexts, SayWhatAPropertyRefuses)
{
    const auto window = make<IVexGenBrowserWnd>(L"VexGenBrowserWnd");
    const Told told = told_by([&] { return window->put_Visibility(VexGenVisibilityUndefined); });
    EXPECT_EQ(told.code, DISP_E_EXCEPTION);
    EXPECT_EQ(told.text, L"There is no visibility 999");
    EXPECT_EQ(told.source, L"VexKamCOMWrapper.VexGenBrowserWnd.1");
    EXPECT_EQ(told.interface_id, __uuidof(IVexGenBrowserWnd));
}

TEST_F(FailureTexts, ReachLateBoundCallers)
{
    LateBound late(converter.get());
    Variant returned;
    EXPECT_EQ(late.call(L"Convert",
                        {Variant(static_cast<IDispatch*>(nullptr)), Variant(static_cast<IDispatch*>(buffer.get())),
                         Variant(0)},
                        &returned),
              DISP_E_EXCEPTION);
    EXPECT_EQ(late.scode(), E_POINTER);
    EXPECT_EQ(late.description(), L"Argument 1 is nothing where an IVexBuffer is wanted");
    EXPECT_EQ(late.source(), L"VexKamCOMWrapper.VexBufferConverter.1");
    LateBound view(image.get());
    EXPECT_EQ(view.get(L"Width", returned), DISP_E_EXCEPTION);
    EXPECT_EQ(view.scode(), E_POINTER);
    EXPECT_EQ(view.description(), L"This VexImage is not attached to anything");
}

}  // namespace
