// What a user reads when a feature refuses: the same words in the error information, the exception of a script, the
// result object and LastErrorMsg.
#include "tests/com/genicam/feature_camera.h"

namespace client {
namespace {

class FeatureErrors : public SoftwareCameraTest {
protected:
    /// Sets a feature as text through its result object; the description.
    std::wstring refused(const Ref<IVexGenParameter>& parameter, const wchar_t* value, VexResultCode code)
    {
        Ref<IVexResult> result;
        EXPECT_EQ(parameter->ValueFromString(Text(value), result.put()), S_OK);
        EXPECT_EQ(code_of(result), code);
        return read_text(result, &IVexResult::get_Description);
    }
    void set(const wchar_t* name, __int64 value)
    {
        Ref<IVexResult> result;
        ASSERT_EQ(array->SetIntegerValue(Text(name), value, result.put()), S_OK);
        ASSERT_EQ(code_of(result), VexOK);
    }
    void execute(const wchar_t* name)
    {
        Ref<IVexResult> result;
        ASSERT_EQ(array->ExecuteCommand(Text(name), result.put()), S_OK);
        ASSERT_EQ(code_of(result), VexOK) << name;
    }
    /// All the ways in which one refused write of an integer feature is told.
    void expect_refused(const wchar_t* name, __int64 value, VexResultCode code, const std::wstring& words)
    {
        const Ref<IVexGenInteger> parameter = integer(name);
        ASSERT_TRUE(parameter);
        EXPECT_EQ(parameter->put_Value(value), DISP_E_EXCEPTION);
        const ErrorFacts error = take_error();
        EXPECT_EQ(error.description, words);
        EXPECT_EQ(error.source, L"VexKamCOMWrapper.VexGenInteger.1");
        EXPECT_EQ(error.interface_id, __uuidof(IVexGenInteger));
        EXPECT_EQ(read_text(parameter, &IVexGenInteger::get_LastErrorMsg), words);

        LateBound script(parameter.get());
        EXPECT_EQ(script.put(L"Value", Variant(static_cast<long long>(value))), DISP_E_EXCEPTION);
        EXPECT_EQ(script.description(), words);
        EXPECT_EQ(script.source(), L"VexKamCOMWrapper.VexGenInteger.1");

        Ref<IVexResult> result;
        EXPECT_EQ(array->SetIntegerValue(Text(name), value, result.put()), S_OK);
        EXPECT_EQ(code_of(result), code);
        EXPECT_EQ(read_text(result, &IVexResult::get_Description), words);
        EXPECT_EQ(refused(by_name(name), std::to_wstring(value).c_str(), code), words);
    }
};

TEST_F(FeatureErrors, NameTheValueAndTheLimit)
{
    const Ref<IVexGenInteger> width = integer(L"Width");
    const __int64 max = read(width, &IVexGenInteger::get_Max);
    const __int64 min = read(width, &IVexGenInteger::get_Min);
    expect_refused(L"Width", max + 1, VexInvalidParameter,
                   L"Width: " + std::to_wstring(max + 1) + L" is above its maximum of " + std::to_wstring(max));
    expect_refused(L"Width", min - 1, VexInvalidParameter,
                   L"Width: " + std::to_wstring(min - 1) + L" is below its minimum of " + std::to_wstring(min));
}

TEST_F(FeatureErrors, NameTheLock)
{
    set(L"TLParamsLocked", 1);
    expect_refused(L"Width", 320, VexStateError, L"Width is locked while the acquisition runs");
    set(L"TLParamsLocked", 0);
    EXPECT_EQ(integer(L"Width")->put_Value(320), S_OK);
}

TEST_F(FeatureErrors, SayWhatTheCameraAnswersWhenTheHostForgotTheLock)
{
    // the camera itself refuses; the host's lock was not set
    Ref<IVexResult> result;
    ASSERT_EQ(device->SetStreamDestination(Text(L"127.0.0.1"), 50'000, 0, result.put()), S_OK);
    ASSERT_EQ(code_of(result), VexOK);
    execute(L"AcquisitionStart");
    const Ref<IVexGenInteger> width = integer(L"Width");
    EXPECT_EQ(width->put_Value(320), DISP_E_EXCEPTION);
    const std::wstring words = take_error().description;
    EXPECT_NE(words.find(L"Width"), std::wstring::npos);
    EXPECT_NE(words.find(L"127.0.0.1"), std::wstring::npos) << "which device";
    EXPECT_NE(words.find(L"access"), std::wstring::npos) << "what it answered";
    EXPECT_EQ(read_text(width, &IVexGenInteger::get_LastErrorMsg), words);
    execute(L"AcquisitionStop");
}

TEST_F(FeatureErrors, SayWhyAFeatureIsNotAvailable)
{
    expect_refused(L"AcquisitionFrameCount", 5, VexStateError,
                   L"AcquisitionFrameCount is not available at present: MultiFrameSelected is 0");
    __int64 value = 5;
    EXPECT_EQ(integer(L"AcquisitionFrameCount")->get_Value(&value), DISP_E_EXCEPTION);
    EXPECT_EQ(value, 0);
    EXPECT_EQ(take_error().description, L"AcquisitionFrameCount is not available at present: MultiFrameSelected is 0");
}

TEST_F(FeatureErrors, SayWhatCanOnlyBeReadOrWritten)
{
    EXPECT_EQ(refused(by_name(L"DeviceVendorName"), L"Somebody", VexStateError),
              L"DeviceVendorName is not writable: it is read-only");
    const Ref<IVexGenString> vendor = text(L"DeviceVendorName");
    EXPECT_EQ(vendor->put_Value(Text(L"Somebody")), DISP_E_EXCEPTION);
    EXPECT_EQ(take_error().description, L"DeviceVendorName is not writable: it is read-only");
}

TEST_F(FeatureErrors, SayWhatIsNoEntryAndNoNumber)
{
    const std::wstring no_entry = refused(by_name(L"PixelFormat"), L"Mono7", VexInvalidParameter);
    EXPECT_NE(no_entry.find(L"PixelFormat"), std::wstring::npos) << no_entry.c_str();
    EXPECT_NE(no_entry.find(L"Mono7"), std::wstring::npos);
    EXPECT_EQ(refused(by_name(L"Width"), L"wide", VexInvalidParameter), L"Width: \"wide\" is not an integer");
    Ref<IVexResult> result;
    EXPECT_EQ(array->SetEnumValueStr(Text(L"PixelFormat"), Text(L"Mono7"), result.put()), S_OK);
    EXPECT_EQ(read_text(result, &IVexResult::get_Description), no_entry);
}

TEST_F(FeatureErrors, NameWhatThereIsNot)
{
    Ref<IVexResult> result;
    __int64 value = 0;
    EXPECT_EQ(array->GetIntegerValue(Text(L"Widht"), &value, result.put()), S_OK);
    EXPECT_EQ(code_of(result), VexNotFound);
    EXPECT_EQ(read_text(result, &IVexResult::get_Description), L"There is no parameter named \"Widht\"");
    EXPECT_EQ(array->GetIntegerValue(Text(L"PixelFormat"), &value, result.put()), S_OK);
    EXPECT_EQ(code_of(result), VexInvalidParameter);
    EXPECT_EQ(read_text(result, &IVexResult::get_Description), L"PixelFormat is not an integer parameter");
}

TEST_F(FeatureErrors, TellThatTheDeviceIsNotConnected)
{
    const Ref<IVexGenInteger> width = integer(L"Width");
    ASSERT_EQ(disconnect(), VexOK);
    EXPECT_EQ(width->put_Value(320), DISP_E_EXCEPTION);
    const std::wstring words = take_error().description;
    EXPECT_NE(words.find(L"Width"), std::wstring::npos) << words.c_str();
    EXPECT_NE(words.find(L"not connected"), std::wstring::npos) << words.c_str();
    EXPECT_EQ(read_text(width, &IVexGenInteger::get_LastErrorMsg), words);
    EXPECT_EQ(read(width, &IVexGenInteger::get_IsAvailable), 0);
}

TEST_F(FeatureErrors, BelongToEachParameterAlone)
{
    EXPECT_EQ(integer(L"Width")->put_Value(-1), DISP_E_EXCEPTION);
    EXPECT_NE(read_text(integer(L"Width"), &IVexGenInteger::get_LastErrorMsg), L"");
    EXPECT_EQ(read_text(integer(L"Height"), &IVexGenInteger::get_LastErrorMsg), L"");
}

}  // namespace
}  // namespace client
