// VexVirtualDevice as clients use it.
#include <array>
#include <string>

#include "tests/com/devices/camera_client.h"

namespace {

using namespace client;

constexpr wchar_t prog_id[] = L"VexKamCOMWrapper.VexVirtualDevice.1";
constexpr wchar_t address[] = L"127.0.0.1";

struct Outcome {
    VexResultCode code = VexGenericError;
    std::wstring description;
};

class VirtualDevice : public ComTest {
protected:
    static Ref<IVexVirtualDevice> new_device() { return create<IVexVirtualDevice>(prog_id); }

    static Outcome start(IVexVirtualDevice* device, BSTR where)
    {
        const auto result = object_of<IVexResult>([&](IVexResult** out) { return device->StartListening(where, out); });
        return {value_of(result, &IVexResult::get_Code), text_of(result, &IVexResult::get_Description)};
    }
    static Outcome start(const Ref<IVexVirtualDevice>& device, const wchar_t* where)
    {
        return start(device.get(), Text(where));
    }

    /// Whether a search finds a device of that model and serial number.
    static bool found(const wchar_t* model, const wchar_t* serial)
    {
        const auto system = create<IVexSystem>(L"VexKamCOMWrapper.VexSystem.1");
        EXPECT_EQ(system->put_DetectionTimeout(300), S_OK);
        EXPECT_EQ(code_of(system, &IVexSystem::Find), VexOK);
        const unsigned int interfaces = value_of(system, &IVexSystem::get_InterfaceCount);
        for (unsigned int i = 0; i < interfaces; ++i) {
            const auto adapter =
                object_of<IVexInterface>([&](IVexInterface** out) { return system->GetInterface(i, out); });
            const unsigned int devices = value_of(adapter, &IVexInterface::get_DeviceCount);
            for (unsigned int d = 0; d < devices; ++d) {
                const auto info =
                    object_of<IVexDeviceInfo>([&](IVexDeviceInfo** out) { return adapter->GetDeviceInfo(d, out); });
                if (text_of(info, &IVexDeviceInfo::get_Model) == model &&
                    text_of(info, &IVexDeviceInfo::get_SerialNumber) == serial) {
                    return true;
                }
            }
        }
        return false;
    }

    Ref<IVexVirtualDevice> device = new_device();
};

TEST_F(VirtualDevice, IsAlsoKnownByTheIdentifierWithoutVersion)
{
    EXPECT_TRUE(create<IVexVirtualDevice>(L"VexKamCOMWrapper.VexVirtualDevice"));
}

TEST_F(VirtualDevice, SaysWhichInterfaceItTook)
{
    const Outcome outcome = start(device, address);
    EXPECT_EQ(outcome.code, VexOK) << outcome.description;
    EXPECT_NE(outcome.description.find(address), std::wstring::npos) << outcome.description;
}

TEST_F(VirtualDevice, ANullNameIsAnEmptyOne)
{
    const Outcome null = start(device.get(), nullptr);
    EXPECT_EQ(device->StopListening(), S_OK);
    const Outcome empty = start(device, L"");
    EXPECT_EQ(null.code, empty.code);
    EXPECT_EQ(null.description, empty.description);
    EXPECT_EQ(null.code, VexOK) << null.description;
}

TEST_F(VirtualDevice, AnUnknownNameIsNotFoundAndNamed)
{
    const Outcome outcome = start(device, L"no such interface \u00FC");
    EXPECT_EQ(outcome.code, VexNotFound);
    EXPECT_NE(outcome.description.find(L"no such interface \u00FC"), std::wstring::npos) << outcome.description;
}

TEST_F(VirtualDevice, StoppingOneThatNeverListenedIsFine)
{
    EXPECT_EQ(device->StopListening(), S_OK);
    EXPECT_EQ(device->StopListening(), S_OK);
}

TEST_F(VirtualDevice, StartingTwiceFailsWithWordsAndStoppingAllowsItAgain)
{
    ASSERT_EQ(start(device, address).code, VexOK);
    const Outcome again = start(device, address);
    EXPECT_EQ(again.code, VexStateError);
    EXPECT_NE(again.description, L"");
    for (int i = 0; i < 3; ++i) {
        EXPECT_EQ(device->StopListening(), S_OK);
        EXPECT_EQ(start(device, address).code, VexOK);
    }
}

TEST_F(VirtualDevice, AnAddressInUseIsANetworkErrorThatNamesIt)
{
    ASSERT_EQ(start(device, address).code, VexOK);
    const auto second = new_device();
    const Outcome taken = start(second, address);
    EXPECT_EQ(taken.code, VexNetworkError);
    EXPECT_NE(taken.description.find(address), std::wstring::npos) << taken.description;
    EXPECT_EQ(device->StopListening(), S_OK);
    EXPECT_EQ(start(second, address).code, VexOK);
}

TEST_F(VirtualDevice, ReleasedWhileItListensItIsGone)
{
    ASSERT_EQ(start(device, address).code, VexOK);
    device.reset();
    const auto second = new_device();
    EXPECT_EQ(start(second, address).code, VexOK);
}

TEST_F(VirtualDevice, WithoutAPlaceForTheResultNothingIsStarted)
{
    EXPECT_EQ(device->StartListening(Text(address), nullptr), E_POINTER);
    EXPECT_EQ(start(device, address).code, VexOK);
}

TEST_F(VirtualDevice, WorksLateBound)
{
    LateBound late(device.get());
    Variant result;
    ASSERT_EQ(late.call(L"StartListening", {Variant(address)}, &result), S_OK);
    ASSERT_EQ(result.type(), VT_DISPATCH);
    Variant code;
    LateBound outcome(result.get().pdispVal);
    ASSERT_EQ(outcome.get(L"Code", code), S_OK);
    EXPECT_EQ(code.text(), L"0");
    ASSERT_EQ(outcome.get(L"IsOK", code), S_OK);
    EXPECT_EQ(code.get().boolVal, 1);

    ASSERT_EQ(late.call(L"StartListening", {Variant(address)}, &result), S_OK);
    LateBound refused(result.get().pdispVal);
    ASSERT_EQ(refused.get(L"Code", code), S_OK);
    EXPECT_EQ(code.text(), std::to_wstring(VexStateError));

    Variant nothing;
    EXPECT_EQ(late.call(L"StopListening", {}, &nothing), S_OK);
    EXPECT_EQ(nothing.type(), VT_EMPTY);
    EXPECT_EQ(late.call(L"StopListening", {}), S_OK);
    EXPECT_EQ(late.call(L"StartListening", {}), DISP_E_BADPARAMCOUNT);
}

TEST_F(VirtualDevice, IsFoundAndConnectedByTheSameProcess)
{
    ASSERT_EQ(start(device, address).code, VexOK);
    EXPECT_TRUE(found(L"Virtual Device", address));

    const auto client = create<IVexDevice>(L"VexKamCOMWrapper.VexDevice.1");
    ASSERT_EQ(code_of([&](IVexResult** out) { return client->ConnectString(Text(address), VexAccessControl, out); }),
              VexOK);
    Ref<IVexGenParameterArray> features;
    ASSERT_EQ(client->get_GenParameters(features.put()), S_OK);
    ASSERT_TRUE(features);
    __int64 width = 0;
    EXPECT_EQ(code_of([&](IVexResult** out) { return features->GetIntegerValue(Text(L"Width"), &width, out); }), VexOK);
    EXPECT_EQ(width, 640);
    EXPECT_EQ(device->StopListening(), S_OK);
    EXPECT_FALSE(found(L"Virtual Device", address));
}

/// The other process of the test below; it runs only when asked for.
TEST_F(VirtualDevice, DISABLED_OtherProcessFindsIt)
{
    EXPECT_TRUE(found(L"Virtual Device", address));
    const auto client = create<IVexDevice>(L"VexKamCOMWrapper.VexDevice.1");
    EXPECT_EQ(code_of([&](IVexResult** out) { return client->ConnectString(Text(address), VexAccessControl, out); }),
              VexOK);
}

TEST_F(VirtualDevice, IsFoundAndConnectedByAnotherProcess)
{
    ASSERT_EQ(start(device, address).code, VexOK);
    std::array<wchar_t, MAX_PATH> program{};
    ASSERT_NE(GetModuleFileNameW(nullptr, program.data(), static_cast<DWORD>(program.size())), 0U);
    std::wstring command = L"\"" + std::wstring(program.data()) +
                           L"\" --gtest_also_run_disabled_tests --gtest_filter=VirtualDevice.DISABLED_Other*";
    STARTUPINFOW startup{};
    startup.cb = sizeof startup;
    PROCESS_INFORMATION process{};
    ASSERT_TRUE(CreateProcessW(program.data(), command.data(), nullptr, nullptr, FALSE, 0, nullptr, nullptr, &startup,
                               &process));
    EXPECT_EQ(WaitForSingleObject(process.hProcess, 60'000), WAIT_OBJECT_0);
    DWORD code = 1;
    EXPECT_TRUE(GetExitCodeProcess(process.hProcess, &code));
    EXPECT_EQ(code, 0U);
    CloseHandle(process.hThread);
    CloseHandle(process.hProcess);
}

}  // namespace
