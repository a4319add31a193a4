// A bridge manager with simulated serial cameras on two serial ports of a software camera.
#pragma once

#include <functional>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "tests/com/devices/camera_client.h"
#include "tests/sdk/genicp/gencp_on_uart.h"

namespace client {

inline const IID manager_events = __uuidof(_IVexSerialBridgeManagerWndEvents);
inline constexpr DISPID on_created = 1;
inline constexpr DISPID on_deleted = 2;

/// Names and values.
using Items = std::vector<std::pair<const wchar_t*, const wchar_t*>>;

inline const Items first_array = {{L"SerialBridge.Serial0.ParameterArray", L"1"},
                                  {L"SerialBridge.Serial0.Running", L"1"}};
inline const Items both_arrays = {{L"SerialBridge.Serial0.ParameterArray", L"1"},
                                  {L"SerialBridge.Serial0.Running", L"1"},
                                  {L"SerialBridge.Serial1.ParameterArray", L"1"},
                                  {L"SerialBridge.Serial1.Running", L"1"}};

class BridgeManagerTest : public CameraTest {
protected:
    static void SetUpTestSuite()
    {
        softcam::CameraOptions options;
        options.adapter = "127.0.0.1";
        options.serial0_device = [] { return std::make_unique<genicp_test::GencpOnUart>(); };
        options.serial1_device = [] { return std::make_unique<genicp_test::GencpOnUart>(); };
        camera_ = std::make_unique<softcam::Camera>(options);
        camera_->start();
    }

    BridgeManagerTest() { EXPECT_EQ(connect(), VexOK); }

    [[nodiscard]] VexResultCode connect() const
    {
        return code_of([&](IVexResult** out) { return device->ConnectString(Text(address), VexAccessControl, out); });
    }
    VexResultCode set_device() { return set_device_of(window); }
    VexResultCode set_device_of(const Ref<IVexSerialBridgeManagerWnd>& other)
    {
        return code_of([&](IVexResult** out) { return other->SetDevice(device.get(), out); });
    }
    [[nodiscard]] unsigned int port_count() const
    {
        return value_of(window, &IVexSerialBridgeManagerWnd::get_PortCount);
    }
    [[nodiscard]] std::wstring port_name(unsigned int index) const
    {
        BSTR text = nullptr;
        EXPECT_EQ(window->GetPortName(index, &text), S_OK);
        return take(text);
    }
    [[nodiscard]] std::wstring array_name(unsigned int index) const
    {
        BSTR text = nullptr;
        EXPECT_EQ(window->GetGenParameterArrayName(index, &text), S_OK);
        return take(text);
    }
    [[nodiscard]] Ref<IVexGenParameterArray> array(unsigned int index) const
    {
        return object_of<IVexGenParameterArray>(
            [&](IVexGenParameterArray** out) { return window->GetGenParameterArray(index, out); });
    }
    [[nodiscard]] static Ref<IVexPropertyList> properties(const Items& items)
    {
        auto list = create<IVexPropertyList>(__uuidof(VexPropertyList));
        for (const auto& [name, text] : items) {
            auto property = create<IVexProperty>(__uuidof(VexProperty));
            EXPECT_EQ(property->put_Name(Text(name)), S_OK);
            EXPECT_EQ(property->put_Value(Text(text)), S_OK);
            EXPECT_EQ(list->Add(property.get()), S_OK);
        }
        return list;
    }
    VexResultCode load(const Items& items) { return load_of(window, properties(items)); }
    VexResultCode load_of(const Ref<IVexSerialBridgeManagerWnd>& manager, const Ref<IVexPropertyList>& list)
    {
        return code_of([&](IVexResult** out) { return manager->Load(list.get(), errors.put(), out); });
    }
    [[nodiscard]] static std::vector<std::wstring> lines(const Ref<IVexStringList>& list)
    {
        std::vector<std::wstring> all;
        for (unsigned int index = 0; index < value_of(list, &IVexStringList::get_Size); ++index) {
            BSTR text = nullptr;
            EXPECT_EQ(list->GetItem(index, &text), S_OK);
            all.push_back(take(text));
        }
        return all;
    }
    [[nodiscard]] static std::wstring value_in(const Ref<IVexPropertyList>& list, const std::wstring& name)
    {
        for (unsigned int index = 0; index < value_of(list, &IVexPropertyList::get_Size); ++index) {
            const auto property =
                object_of<IVexProperty>([&](IVexProperty** out) { return list->GetItem(index, out); });
            if (text_of(property, &IVexProperty::get_Name) == name) {
                return text_of(property, &IVexProperty::get_Value);
            }
        }
        return L"(none)";
    }
    /// VexNotInitialized without an array.
    static VexResultCode set_width(const Ref<IVexGenParameterArray>& array, __int64 value)
    {
        if (!array) {
            return VexNotInitialized;
        }
        return code_of([&](IVexResult** out) { return array->SetIntegerValue(Text(L"Width"), value, out); });
    }
    /// -1 when it cannot be read, or there is no array.
    [[nodiscard]] static __int64 width(IVexGenParameterArray* array)
    {
        if (array == nullptr) {
            return -1;
        }
        __int64 value = -1;
        const VexResultCode code =
            code_of([&](IVexResult** out) { return array->GetIntegerValue(Text(L"Width"), &value, out); });
        return code == VexOK ? value : -1;
    }

    /// A sink for both events; the name is empty for an array that goes.
    using Handler = std::function<void(DISPID, IVexGenParameterArray*, const std::wstring& name)>;
    DWORD listen(Handler handler)
    {
        auto sink = Sink::create(manager_events, [handler](DISPID event, const DISPPARAMS& parameters) {
            const bool is_created = event == on_created;
            EXPECT_EQ(parameters.cArgs, is_created ? 2U : 1U);
            const VARIANT& shown = parameters.rgvarg[parameters.cArgs - 1];
            EXPECT_EQ(shown.vt, VT_DISPATCH);
            std::wstring name;
            if (is_created) {
                EXPECT_EQ(parameters.rgvarg[0].vt, VT_BSTR);
                name = parameters.rgvarg[0].bstrVal;
            }
            const auto array = query<IVexGenParameterArray>(shown.pdispVal);
            handler(event, array.get(), name);
            return S_OK;
        });
        return advise(window.get(), manager_events, reinterpret_cast<IUnknown*>(sink.get()));
    }

    static constexpr wchar_t prog_id[] = L"VexKamCOMWrapper.VexSerialBridgeManag.1";

    Ref<IVexDevice> device = create<IVexDevice>(L"VexKamCOMWrapper.VexDevice.1");
    Ref<IVexSerialBridgeManagerWnd> window = create<IVexSerialBridgeManagerWnd>(prog_id);
    Ref<IVexStringList> errors;
};

}  // namespace client
