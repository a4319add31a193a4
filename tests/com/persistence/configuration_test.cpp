// VexConfigurationWriter and VexConfigurationReader as clients use them, with a software camera.
#include <atomic>
#include <filesystem>
#include <fstream>
#include <random>
#include <vector>

#include "tests/com/devices/device_sink.h"

namespace {

using namespace client;

namespace fs = std::filesystem;

/// A text that a call gives out; "(null)" for a null BSTR, which stands apart from an empty one.
std::wstring taken(BSTR text) { return text != nullptr ? take(text) : L"(null)"; }

class Configuration : public CameraTest {
protected:
    Configuration() { fs::create_directory(folder); }
    ~Configuration() override { fs::remove_all(folder); }

    [[nodiscard]] std::wstring name() const { return (folder / "configuration.xml").wstring(); }
    void put(const char* text) const { std::ofstream(folder / "configuration.xml", std::ios::binary) << text; }
    [[nodiscard]] VexResultCode save() const
    {
        return code_of([&](IVexResult** result) { return writer->Save(Text(name()), result); });
    }
    [[nodiscard]] VexResultCode load() const
    {
        return code_of([&](IVexResult** result) { return reader->Load(Text(name()), result); });
    }
    void save_and_load() const
    {
        ASSERT_EQ(save(), VexOK);
        ASSERT_EQ(load(), VexOK);
    }
    [[nodiscard]] VexResultCode store(const wchar_t* value, BSTR key) const
    {
        return code_of([&](IVexResult** result) { return writer->StoreWbyN(Text(value), key, result); });
    }
    /// The value, and the code behind it when it is none.
    [[nodiscard]] std::wstring text_of_key(BSTR key) const
    {
        BSTR value = reinterpret_cast<BSTR>(1);
        const auto code = code_of([&](IVexResult** result) { return reader->RestoreWbyN(key, &value, result); });
        return taken(value) + (code == VexOK ? L"" : L"|" + std::to_wstring(code));
    }
    [[nodiscard]] std::wstring text_at(unsigned int index) const
    {
        BSTR value = reinterpret_cast<BSTR>(1);
        const auto code = code_of([&](IVexResult** result) { return reader->RestoreWbyI(index, &value, result); });
        return taken(value) + (code == VexOK ? L"" : L"|" + std::to_wstring(code));
    }
    using NameGetter = HRESULT (STDMETHODCALLTYPE IVexConfigurationReader::*)(unsigned int, BSTR*, IVexResult**);
    [[nodiscard]] std::wstring name_at(NameGetter getter, unsigned int index) const
    {
        BSTR found = reinterpret_cast<BSTR>(1);
        const auto code = code_of([&](IVexResult** result) { return (reader.get()->*getter)(index, &found, result); });
        return taken(found) + (code == VexOK ? L"" : L"|" + std::to_wstring(code));
    }

    [[nodiscard]] static Ref<IVexDevice> connected()
    {
        auto device = create<IVexDevice>(L"VexKamCOMWrapper.VexDevice.1");
        EXPECT_EQ(code_of([&](IVexResult** result) {
                      return device->ConnectString(Text(address), VexAccessControl, result);
                  }),
                  VexOK);
        return device;
    }
    [[nodiscard]] static Ref<IVexGenParameterArray> features_of(const Ref<IVexDevice>& device)
    {
        return object_of(device, &IVexDevice::get_GenParameters);
    }
    static void set(const Ref<IVexGenParameterArray>& array, const wchar_t* feature, __int64 value)
    {
        EXPECT_EQ(code_of([&](IVexResult** result) { return array->SetIntegerValue(Text(feature), value, result); }),
                  VexOK);
    }
    [[nodiscard]] static __int64 get(const Ref<IVexGenParameterArray>& array, const wchar_t* feature)
    {
        __int64 value = -1;
        EXPECT_EQ(code_of([&](IVexResult** result) { return array->GetIntegerValue(Text(feature), &value, result); }),
                  VexOK);
        return value;
    }

    const fs::path folder =
        fs::temp_directory_path() / (L"configuration_test_" + std::to_wstring(std::random_device{}()));
    Ref<IVexConfigurationWriter> writer = create<IVexConfigurationWriter>(L"VexKamCOMWrapper.VexConfigurationWrit.1");
    Ref<IVexConfigurationReader> reader = create<IVexConfigurationReader>(L"VexKamCOMWrapper.VexConfigurationRead.1");
};

TEST_F(Configuration, HasNothingBeforeItIsLoaded)
{
    EXPECT_EQ(value_of(reader, &IVexConfigurationReader::get_DeviceCount), 0U);
    EXPECT_EQ(value_of(reader, &IVexConfigurationReader::get_StreamCount), 0U);
    EXPECT_EQ(value_of(reader, &IVexConfigurationReader::get_StringCount), 0U);
    EXPECT_EQ(value_of(reader, &IVexConfigurationReader::get_GenParameterArrayCount), 0U);
    EXPECT_EQ(value_of(reader, &IVexConfigurationReader::get_PropertyListCount), 0U);
    const std::wstring not_found = L"|" + std::to_wstring(VexNotFound);
    for (const NameGetter getter :
         {&IVexConfigurationReader::GetDeviceName, &IVexConfigurationReader::GetStreamName,
          &IVexConfigurationReader::GetStringName, &IVexConfigurationReader::GetGenParameterArrayName,
          &IVexConfigurationReader::GetPropertyListName}) {
        EXPECT_EQ(name_at(getter, 0), not_found) << "an empty text, not a null one";
    }
    EXPECT_EQ(text_of_key(Text(L"key")), not_found);
    EXPECT_EQ(text_at(0), not_found);
}

TEST_F(Configuration, CarriesTextsWithTheValueFirst)
{
    ASSERT_EQ(store(L"value", Text(L"name")), VexOK);
    ASSERT_EQ(store(L" odd\n\xD83D ", Text(L"\x0001")), VexOK);
    save_and_load();
    EXPECT_EQ(value_of(reader, &IVexConfigurationReader::get_StringCount), 2U);
    EXPECT_EQ(text_of_key(Text(L"name")), L"value");
    EXPECT_EQ(text_at(1), L" odd\n\xD83D ");
    EXPECT_EQ(name_at(&IVexConfigurationReader::GetStringName, 0), L"name");
    EXPECT_EQ(name_at(&IVexConfigurationReader::GetStringName, 1), L"\x0001");
    EXPECT_EQ(name_at(&IVexConfigurationReader::GetStringName, 2), L"|" + std::to_wstring(VexNotFound));
}

TEST_F(Configuration, TakesNullTextsAsEmptyOnes)
{
    ASSERT_EQ(code_of([&](IVexResult** result) { return writer->StoreWbyN(nullptr, nullptr, result); }), VexOK);
    ASSERT_EQ(store(L"second", Text(L"")), VexOK);
    const auto device = connected();
    const auto features = features_of(device);
    const auto stream = create<IVexStream>(L"VexKamCOMWrapper.VexStream.1");
    const auto list = create<IVexPropertyList>(L"VexKamCOMWrapper.VexPropertyList.1");
    EXPECT_EQ(code_of([&](IVexResult** result) { return writer->StoreDbyN(device.get(), nullptr, result); }), VexOK);
    EXPECT_EQ(code_of([&](IVexResult** result) { return writer->StoreSbyN(stream.get(), nullptr, result); }), VexOK);
    EXPECT_EQ(code_of([&](IVexResult** result) { return writer->StoreGPbyN(features.get(), nullptr, result); }), VexOK);
    EXPECT_EQ(code_of([&](IVexResult** result) { return writer->StorePLbyN(list.get(), nullptr, result); }), VexOK);
    save_and_load();
    EXPECT_EQ(value_of(reader, &IVexConfigurationReader::get_StringCount), 2U);
    EXPECT_EQ(text_of_key(nullptr), L"");
    EXPECT_EQ(text_at(1), L"second");
    for (const NameGetter getter :
         {&IVexConfigurationReader::GetDeviceName, &IVexConfigurationReader::GetStreamName,
          &IVexConfigurationReader::GetGenParameterArrayName, &IVexConfigurationReader::GetPropertyListName}) {
        EXPECT_EQ(name_at(getter, 0), L"");
    }
    EXPECT_EQ(code_of([&](IVexResult** result) { return reader->RestoreDbyN(nullptr, device.get(), result); }), VexOK);
    EXPECT_EQ(code_of([&](IVexResult** result) { return reader->RestoreSbyN(nullptr, stream.get(), result); }), VexOK);
    EXPECT_EQ(code_of([&](IVexResult** result) { return reader->RestoreGPbyN(nullptr, features.get(), result); }),
              VexOK);
    EXPECT_EQ(code_of([&](IVexResult** result) { return reader->RestorePLbyN(nullptr, list.get(), result); }), VexOK);
    EXPECT_EQ(code_of([&](IVexResult** result) { return writer->Save(nullptr, result); }), VexInvalidParameter);
    EXPECT_EQ(code_of([&](IVexResult** result) { return reader->Load(nullptr, result); }), VexInvalidParameter);
}

TEST_F(Configuration, BringsADeviceBackByNameAndByIndex)
{
    const auto device = connected();
    const auto features = features_of(device);
    const auto link = object_of(device, &IVexDevice::get_GenLink);
    set(features, L"Width", 320);
    set(link, L"AnswerTimeout", 700);
    ASSERT_EQ(code_of([&](IVexResult** result) { return writer->StoreDbyN(device.get(), Text(L"left"), result); }),
              VexOK);
    const auto disturb = [&] {
        set(features, L"Width", 64);
        set(link, L"AnswerTimeout", 900);
    };
    disturb();
    save_and_load();
    EXPECT_EQ(name_at(&IVexConfigurationReader::GetDeviceName, 0), L"left");
    EXPECT_EQ(code_of([&](IVexResult** result) { return reader->RestoreDbyN(Text(L"left"), device.get(), result); }),
              VexOK);
    EXPECT_EQ(get(features, L"Width"), 320);
    EXPECT_EQ(get(link, L"AnswerTimeout"), 700);
    disturb();
    EXPECT_EQ(code_of([&](IVexResult** result) { return reader->RestoreDbyI(0, device.get(), result); }), VexOK);
    EXPECT_EQ(get(features, L"Width"), 320);
    EXPECT_EQ(code_of([&](IVexResult** result) { return reader->RestoreDbyI(1, device.get(), result); }), VexNotFound);

    set(features, L"TLParamsLocked", 1);
    EXPECT_EQ(code_of([&](IVexResult** result) { return reader->RestoreDbyI(0, device.get(), result); }),
              VexStateError);
    set(features, L"TLParamsLocked", 0);
    EXPECT_EQ(code_of(device, &IVexDevice::Disconnect), VexOK);
    EXPECT_EQ(code_of([&](IVexResult** result) { return reader->RestoreDbyI(0, device.get(), result); }),
              VexNotConnected);
    EXPECT_EQ(code_of([&](IVexResult** result) { return writer->StoreDbyN(device.get(), Text(L"left"), result); }),
              VexNotConnected);
}

TEST_F(Configuration, BringsArraysAndClosedStreamsBack)
{
    const auto device = connected();
    const auto link = object_of(device, &IVexDevice::get_GenLink);
    const auto stream = create<IVexStream>(L"VexKamCOMWrapper.VexStream.1");
    const auto parameters = object_of(stream, &IVexStream::get_Parameters);
    const auto timeout = get(parameters, L"RequestTimeout");
    set(link, L"AnswerTimeout", 650);
    EXPECT_EQ(code_of([&](IVexResult** result) { return writer->StoreGPbyN(link.get(), Text(L"l"), result); }), VexOK);
    EXPECT_EQ(code_of([&](IVexResult** result) { return writer->StoreSbyN(stream.get(), Text(L"s"), result); }), VexOK);
    set(link, L"AnswerTimeout", 900);
    set(parameters, L"RequestTimeout", timeout + 1);
    save_and_load();
    EXPECT_EQ(code_of([&](IVexResult** result) { return reader->RestoreGPbyN(Text(L"l"), link.get(), result); }),
              VexOK);
    EXPECT_EQ(get(link, L"AnswerTimeout"), 650);
    EXPECT_EQ(code_of([&](IVexResult** result) { return reader->RestoreSbyN(Text(L"s"), stream.get(), result); }),
              VexOK);
    EXPECT_EQ(get(parameters, L"RequestTimeout"), timeout);
    set(link, L"AnswerTimeout", 900);
    set(parameters, L"RequestTimeout", timeout + 1);
    EXPECT_EQ(code_of([&](IVexResult** result) { return reader->RestoreGPbyI(0, link.get(), result); }), VexOK);
    EXPECT_EQ(get(link, L"AnswerTimeout"), 650);
    EXPECT_EQ(code_of([&](IVexResult** result) { return reader->RestoreSbyI(0, stream.get(), result); }), VexOK);
    EXPECT_EQ(get(parameters, L"RequestTimeout"), timeout);
}

TEST_F(Configuration, BringsPropertyListsBack)
{
    const auto list = create<IVexPropertyList>(L"VexKamCOMWrapper.VexPropertyList.1");
    const auto property = create<IVexProperty>(L"VexKamCOMWrapper.VexProperty.1");
    property->put_Name(Text(L"n"));
    property->put_Value(Text(L"v"));
    list->Add(property.get());
    EXPECT_EQ(code_of([&](IVexResult** result) { return writer->StorePLbyN(list.get(), Text(L"p"), result); }), VexOK);
    Ref<IVexProperty> old;
    EXPECT_EQ(list->GetItem(0, old.put()), S_OK);
    old->put_Value(Text(L"changed"));
    list->Add(property.get());
    save_and_load();
    EXPECT_EQ(code_of([&](IVexResult** result) { return reader->RestorePLbyN(Text(L"p"), list.get(), result); }),
              VexOK);
    EXPECT_EQ(value_of(list, &IVexPropertyList::get_Size), 1U);
    BSTR gone = nullptr;
    EXPECT_EQ(old->get_Value(&gone), E_POINTER) << "the object of an item that was replaced";
    Ref<IVexProperty> item;
    EXPECT_EQ(list->GetItem(0, item.put()), S_OK);
    EXPECT_EQ(text_of(item, &IVexProperty::get_Value), L"v");
    list->Clear();
    EXPECT_EQ(code_of([&](IVexResult** result) { return reader->RestorePLbyI(0, list.get(), result); }), VexOK);
    EXPECT_EQ(value_of(list, &IVexPropertyList::get_Size), 1U);
}

TEST_F(Configuration, ListsWhatCannotBeRestored)
{
    put("<configuration version='1'><parameters><feature name='Unknown' value='7'/>"
        "<feature name='Width' value='128'/></parameters></configuration>");
    ASSERT_EQ(load(), VexOK);
    const auto device = connected();
    const auto features = features_of(device);
    auto errors = create<IVexStringList>(L"VexKamCOMWrapper.VexStringList.1");
    EXPECT_EQ(reader->SetErrorList(errors.get(), Text(L"cam")), S_OK);
    EXPECT_EQ(writer->SetErrorList(errors.get(), nullptr), S_OK);
    const auto restore = [&](IVexResult** result) { return reader->RestoreGPbyI(0, features.get(), result); };
    EXPECT_EQ(code_of(restore), VexGenericError);
    EXPECT_EQ(get(features, L"Width"), 128) << "the rest is set";
    EXPECT_EQ(value_of(errors, &IVexStringList::get_Size), 1U);
    BSTR line = nullptr;
    EXPECT_EQ(errors->GetItem(0, &line), S_OK);
    EXPECT_EQ(taken(line), L"cam: Unknown = 7: There is no parameter named \"Unknown\"");
    errors = {};
    EXPECT_EQ(code_of(restore), VexGenericError) << "after the list has died";
}

TEST_F(Configuration, KeepsWhatWasLoadedWhenAnotherFileCannotBe)
{
    ASSERT_EQ(store(L"v", Text(L"n")), VexOK);
    save_and_load();
    put("<configuration version='1'>\n<string/></configuration>");
    Ref<IVexResult> damaged;
    EXPECT_EQ(reader->Load(Text(name()), damaged.put()), S_OK);
    EXPECT_NE(text_of(damaged, &IVexResult::get_Description).find(L"Line 2: A string has no value"),
              std::wstring::npos);
    put("<configuration version='3'/>");
    EXPECT_EQ(load(), VexBadVersion);
    fs::remove(folder / "configuration.xml");
    EXPECT_EQ(load(), VexCannotOpenFile);
    EXPECT_EQ(text_of_key(Text(L"n")), L"v");
}

TEST_F(Configuration, TakesADeviceObjectThatAnEventMade)
{
    auto device = connected();
    auto features = features_of(device);
    Ref<IVexDevice> made;
    std::atomic<bool> told = false;
    DeviceSink sink([&](const DeviceNotification& notification) {
        if (notification.event == 3 && !told) {
            made = Ref<IVexDevice>(notification.device);
            told = true;
        }
    });
    EXPECT_EQ(device->RegisterEventSink(&sink), S_OK);
    for (const auto& [feature, value] :
         {std::pair(L"EventSelector", L"Test"), std::pair(L"EventNotification", L"On")}) {
        EXPECT_EQ(
            code_of([&](IVexResult** result) { return features->SetEnumValueStr(Text(feature), Text(value), result); }),
            VexOK);
    }
    EXPECT_EQ(
        code_of([&](IVexResult** result) { return features->ExecuteCommand(Text(L"TestEventGenerate"), result); }),
        VexOK);
    ASSERT_TRUE(await([&] { return told.load(); }));
    EXPECT_EQ(device->UnregisterEventSink(nullptr), S_OK);
    ASSERT_NE(made.get(), device.get());

    set(features, L"Width", 320);
    const auto store_made = [&](IVexResult** result) { return writer->StoreDbyN(made.get(), Text(L"d"), result); };
    const auto restore_made = [&](IVexResult** result) { return reader->RestoreDbyI(0, made.get(), result); };
    EXPECT_EQ(code_of(store_made), VexOK);
    set(features, L"Width", 64);
    save_and_load();
    EXPECT_EQ(code_of(restore_made), VexOK);
    EXPECT_EQ(get(features, L"Width"), 320);
    EXPECT_EQ(code_of(device, &IVexDevice::Disconnect), VexOK);
    features = {};
    device = {};
    Ref<IVexResult> result;
    EXPECT_EQ(store_made(result.put()), E_POINTER) << "the device has gone";
    EXPECT_EQ(restore_made(result.put()), E_POINTER);
}

TEST_F(Configuration, RefusesNullAndForeignObjects)
{
    ASSERT_EQ(store(L"v", Text(L"n")), VexOK);
    Ref<IVexResult> result;
    EXPECT_EQ(writer->StoreDbyN(nullptr, Text(L""), result.put()), E_POINTER);
    EXPECT_EQ(writer->StoreSbyN(nullptr, Text(L""), result.put()), E_POINTER);
    EXPECT_EQ(writer->StoreGPbyN(nullptr, Text(L""), result.put()), E_POINTER);
    EXPECT_EQ(writer->StorePLbyN(nullptr, Text(L""), result.put()), E_POINTER);
    EXPECT_EQ(writer->SetErrorList(nullptr, Text(L"")), E_POINTER);
    EXPECT_EQ(reader->SetErrorList(nullptr, Text(L"")), E_POINTER);
    EXPECT_EQ(reader->RestoreDbyN(Text(L""), nullptr, result.put()), E_POINTER);
    EXPECT_EQ(reader->RestoreSbyI(0, nullptr, result.put()), E_POINTER);
    EXPECT_EQ(reader->RestoreGPbyI(0, nullptr, result.put()), E_POINTER);
    EXPECT_EQ(reader->RestorePLbyI(0, nullptr, result.put()), E_POINTER);
    EXPECT_EQ(reader->RestoreWbyI(0, nullptr, result.put()), E_POINTER);

    ForeignObject<IDispatch> stranger;
    auto* const device = reinterpret_cast<IVexDevice*>(static_cast<IDispatch*>(&stranger));
    auto* const list = reinterpret_cast<IVexPropertyList*>(static_cast<IDispatch*>(&stranger));
    EXPECT_EQ(writer->StoreDbyN(device, Text(L""), result.put()), E_INVALIDARG);
    EXPECT_EQ(reader->RestoreDbyI(0, device, result.put()), E_INVALIDARG);
    EXPECT_EQ(writer->StorePLbyN(list, Text(L""), result.put()), E_INVALIDARG);
    EXPECT_EQ(reader->SetErrorList(reinterpret_cast<IVexStringList*>(list), Text(L"")), E_INVALIDARG);
    save_and_load();
    EXPECT_EQ(text_at(0), L"v");
}

}  // namespace
