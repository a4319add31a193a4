// VexGenParameterArrayCL as clients use it: by itself, and with a simulated camera at the other end of a COM port.
#include <array>
#include <atomic>
#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <future>
#include <memory>
#include <span>
#include <string>
#include <system_error>
#include <thread>
#include <vector>

#include "sdk/net/serial_line.h"
#include "tests/com/devices/camera_client.h"
#include "tests/sdk/genicp/camera_files.h"
#include "tools/softlink/gencp_device.h"
#include "tools/softlink/pipe_device.h"

namespace {

using namespace client;

/// Serves a simulated camera on the second of two COM ports that are the ends of one line.
class LineCamera {
public:
    [[nodiscard]] static bool is_there() { return std::getenv("VEX_COM_PORTS") != nullptr; }

    LineCamera()
    {
        const std::string names = std::getenv("VEX_COM_PORTS");
        port_ = names.substr(0, names.find(','));
        line_ = vex::net::SerialLine::open(names.substr(names.find(',') + 1), {115'200});
        thread_ = std::thread([this] { serve(); });
    }
    LineCamera(const LineCamera&) = delete;
    LineCamera& operator=(const LineCamera&) = delete;
    ~LineCamera()
    {
        stop_ = true;
        thread_.join();
    }

    /// Of the other end.
    [[nodiscard]] std::wstring port() const { return {port_.begin(), port_.end()}; }

private:
    void serve()
    {
        std::array<std::uint8_t, 4096> bytes{};
        while (!stop_) {
            std::error_code error;
            const std::size_t got = line_->read(bytes, std::chrono::milliseconds(50), error);
            for (const softlink::Answer& answer : device_.receive(std::span(bytes).first(got))) {
                (void)line_->write(answer.bytes, std::chrono::seconds(10), error);
            }
        }
    }

    std::string port_;
    softlink::GencpDevice device_{softlink::DeviceOptions{}};
    std::shared_ptr<vex::net::SerialLine> line_;
    std::atomic<bool> stop_{false};
    std::thread thread_;
};

std::vector<std::wstring> texts_of(const Ref<IVexStringList>& list)
{
    std::vector<std::wstring> texts;
    EXPECT_TRUE(list);
    const unsigned int size = list ? value_of(list, &IVexStringList::get_Size) : 0;
    for (unsigned int i = 0; i < size; ++i) {
        BSTR text = nullptr;
        EXPECT_EQ(list->GetItem(i, &text), S_OK);
        texts.push_back(take(text));
    }
    return texts;
}

class CameraLink : public ComTest {
protected:
    CameraLink()
    {
        const std::wstring folder = std::filesystem::path(files.folder()).wstring();
        SetEnvironmentVariableW(L"VEX_CAMERALINK_FOLDER", folder.c_str());
        array = create<IVexGenParameterArrayCL>(__uuidof(VexGenParameterArrayCL));
    }
    ~CameraLink() override { SetEnvironmentVariableW(L"VEX_CAMERALINK_FOLDER", nullptr); }

    [[nodiscard]] VexResultCode build(const wchar_t* description) const
    {
        return code_of([&](IVexResult** result) { return array->Build(Text(description), result); });
    }
    [[nodiscard]] VexResultCode connect(const std::wstring& port, const wchar_t* device = L"GenCP:9600") const
    {
        return code_of([&](IVexResult** result) { return array->Connect(Text(port), Text(device), result); });
    }
    [[nodiscard]] VexResultCode set_timeout(unsigned int timeout) const
    {
        return code_of([&](IVexResult** result) { return array->SetSerialTimeout(timeout, result); });
    }
    [[nodiscard]] Ref<IVexStringList> xml_ids() const
    {
        Ref<IVexStringList> list;
        EXPECT_EQ(code_of([&](IVexResult** result) { return array->GetXMLIDs(list.put(), result); }), VexOK);
        return list;
    }
    [[nodiscard]] std::wstring probe(const std::wstring& port, const wchar_t* device_template) const
    {
        BSTR found = nullptr;
        EXPECT_EQ(array->ProbeDevice(Text(port), Text(device_template), 0, &found), S_OK);
        EXPECT_NE(found, nullptr);
        return take(found);
    }

    [[nodiscard]] bool has_files(const Ref<IVexGenFile>& file) const
    {
        VARIANT_BOOL supported = 7;
        EXPECT_EQ(file->IsSupported(array.get(), &supported), S_OK);
        EXPECT_NE(supported, 7);
        return supported != 0;
    }

    const genicp_test::CameraFiles files;
    Ref<IVexGenParameterArrayCL> array;
};

using Texts = std::vector<std::wstring>;

TEST_F(CameraLink, IsAParameterArrayWithoutParametersAtFirst)
{
    ASSERT_TRUE(array);
    const auto plain = query<IVexGenParameterArray>(array.get());
    ASSERT_TRUE(plain);
    EXPECT_EQ(value_of(plain, &IVexGenParameterArray::get_Count), 0u);
    EXPECT_EQ(value_of(plain, &IVexGenParameterArray::get_NodeMap), 0);
    EXPECT_EQ(text_of(array, &IVexGenParameterArrayCL::get_DeviceID), L"");
    EXPECT_EQ(text_of(array, &IVexGenParameterArrayCL::get_PortID), L"");
    EXPECT_EQ(text_of(array, &IVexGenParameterArrayCL::get_XMLID), L"");
    EXPECT_EQ(texts_of(xml_ids()), Texts()) << "a list that is empty";
}

TEST_F(CameraLink, GivesTheTemplatesAsPortsToo)
{
    files.put("Mine.template", "BaudRates = 9600\n");
    const auto templates = object_of(array, &IVexGenParameterArrayCL::get_DeviceTemplates);
    EXPECT_EQ(texts_of(templates), (Texts{L"GenCP", L"Mine"}));
    const auto ports = object_of(array, &IVexGenParameterArrayCL::get_PortIDs);
    EXPECT_EQ(texts_of(ports), (Texts{L"GenCP", L"Mine"}));
    EXPECT_NE(templates.get(), ports.get());
    files.put("Other.template", "");
    (void)object_of(array, &IVexGenParameterArrayCL::get_PortIDs);
    EXPECT_EQ(texts_of(templates).size(), 3u) << "all show the list that was filled last";
}

TEST_F(CameraLink, ListsFailOnceTheArrayHasGone)
{
    const auto templates = object_of(array, &IVexGenParameterArrayCL::get_DeviceTemplates);
    array.reset();
    unsigned int size = 7;
    EXPECT_EQ(templates->get_Size(&size), E_POINTER);
}

TEST_F(CameraLink, SerialTimeoutHasLimits)
{
    unsigned int timeout = 0;
    EXPECT_EQ(code_of([&](IVexResult** result) { return array->GetSerialTimeout(&timeout, result); }), VexOK);
    EXPECT_EQ(timeout, 1000u);
    EXPECT_EQ(set_timeout(0), VexInvalidParameter);
    EXPECT_EQ(set_timeout(60'001), VexInvalidParameter);
    EXPECT_EQ(set_timeout(2000), VexOK);
    EXPECT_EQ(code_of([&](IVexResult** result) { return array->GetSerialTimeout(&timeout, result); }), VexOK);
    EXPECT_EQ(timeout, 2000u);
}

TEST_F(CameraLink, BuildsFromAFileOfTheUsersFolder)
{
    files.put("small.xml", genicp_test::small_description);
    EXPECT_EQ(texts_of(xml_ids()), (Texts{L"small.xml"}));
    EXPECT_EQ(build(L"Device"), VexNotConnected);
    EXPECT_EQ(build(L"none.xml"), VexNotFound);
    EXPECT_EQ(build(L"small.xml"), VexOK);
    EXPECT_EQ(text_of(array, &IVexGenParameterArrayCL::get_XMLID), L"small.xml");
    EXPECT_EQ(value_of(array, &IVexGenParameterArray::get_Count), 1u);
    Ref<IVexGenInteger> width;
    EXPECT_EQ(array->GetInteger(Text(L"Width"), width.put()), S_OK);
    ASSERT_TRUE(width);
    __int64 value = 7;
    EXPECT_NE(code_of([&](IVexResult** result) { return array->GetIntegerValue(Text(L"Width"), &value, result); }),
              VexOK)
        << "there is no camera";
}

TEST_F(CameraLink, ProbingNeedsNothingAndFindsNothingOnPortsThatAreNone)
{
    EXPECT_EQ(probe(L"COM250", L"GenCP"), L"");
    EXPECT_EQ(probe(L"", L""), L"");
    EXPECT_EQ(probe(L"pipe:camera", L"GenCP"), L"");
}

TEST_F(CameraLink, RefusesPortsAndDevicesThatAreNone)
{
    EXPECT_EQ(connect(L"COM250"), VexNotFound);
    EXPECT_EQ(connect(L"COM250", L"GenCP:fast"), VexInvalidParameter);
    EXPECT_EQ(connect(L"COM250", L"NoTemplate"), VexNotFound);
    EXPECT_EQ(connect(L"pipe:no camera"), VexInvalidParameter);
    EXPECT_EQ(connect(L"pipe:no-camera"), VexNotFound);
}

TEST_F(CameraLink, ReachesCamerasByPipes)
{
    for (const std::string& name : {std::string("tcp:0"), "pipe:com-" + std::to_string(GetCurrentProcessId())}) {
        const softlink::PipeDevice camera(*vex::net::PipeName::parse(name), {}, {});
        const std::string found = camera.name();
        const std::wstring port(found.begin(), found.end());
        EXPECT_EQ(probe(port, L"GenCP"), L"GenCP:9600:Vex:SoftLink:SL-0001");
        ASSERT_EQ(connect(port), VexOK) << found;
        EXPECT_EQ(text_of(array, &IVexGenParameterArrayCL::get_PortID), port);
        ASSERT_EQ(build(L"Device"), VexOK);
        __int64 value = 0;
        EXPECT_EQ(code_of([&](IVexResult** result) { return array->GetIntegerValue(Text(L"Width"), &value, result); }),
                  VexOK);
        EXPECT_EQ(value, 640);
    }
}

TEST_F(CameraLink, IsBuiltBeforeItIsConnected)
{
    files.put("small.xml", genicp_test::small_description);
    ASSERT_EQ(build(L"small.xml"), VexOK);
    Ref<IVexGenInteger> width;
    ASSERT_EQ(array->GetInteger(Text(L"Width"), width.put()), S_OK);
    ASSERT_TRUE(width);
    const softlink::PipeDevice camera(*vex::net::PipeName::parse("tcp:0"), {}, {});
    const std::string port = camera.name();
    ASSERT_EQ(connect({port.begin(), port.end()}), VexOK);
    EXPECT_EQ(value_of(width, &IVexGenInteger::get_Value), 640) << "the object of before shows the camera";
}

TEST_F(CameraLink, IsReleasedWhileACallRuns)
{
    const auto silent = vex::net::PipeServer::serve(*vex::net::PipeName::parse("tcp:0"));
    const std::string name = silent->name().to_string();
    ASSERT_EQ(set_timeout(50), VexOK);
    VexResultCode connected = VexOK;
    std::promise<void> released;
    std::thread calling([&, held = array]() mutable {
        connected = code_of([&](IVexResult** result) {
            return held->Connect(Text(std::wstring(name.begin(), name.end())), Text(L"GenCP"), result);
        });
        released.get_future().wait();
        EXPECT_EQ(held.detach()->Release(), 0U) << "the last one is the caller";
    });
    EXPECT_FALSE(silent->accept(std::chrono::seconds(10))) << "so the call is under way";
    array.reset();
    released.set_value();
    calling.join();
    EXPECT_EQ(connected, VexNotFound);
}

/// With a camera at the port.
class CameraOnLine : public CameraLink {
protected:
    void SetUp() override
    {
        if (!LineCamera::is_there()) {
            GTEST_SKIP() << "started without with_com_ports.py, which makes the COM ports";
        }
        camera = std::make_unique<LineCamera>();
        ASSERT_EQ(connect(camera->port()), VexOK);
        ASSERT_EQ(build(L"Device"), VexOK);
    }
    [[nodiscard]] __int64 width() const
    {
        __int64 value = -1;
        EXPECT_EQ(code_of([&](IVexResult** result) { return array->GetIntegerValue(Text(L"Width"), &value, result); }),
                  VexOK);
        return value;
    }
    [[nodiscard]] VexResultCode set_width(__int64 value) const
    {
        return code_of([&](IVexResult** result) { return array->SetIntegerValue(Text(L"Width"), value, result); });
    }

    std::unique_ptr<LineCamera> camera;
};

TEST_F(CameraOnLine, TellsWhereItIs)
{
    EXPECT_EQ(text_of(array, &IVexGenParameterArrayCL::get_DeviceID), L"GenCP:9600:Vex:SoftLink:SL-0001");
    EXPECT_EQ(text_of(array, &IVexGenParameterArrayCL::get_PortID), camera->port());
    EXPECT_EQ(text_of(array, &IVexGenParameterArrayCL::get_XMLID), L"Device");
    EXPECT_EQ(texts_of(xml_ids()), (Texts{L"Device", L"Device:0", L"Device:1"}));
}

// That a port in use is refused is tested natively: Wine lets a port be opened twice.
TEST_F(CameraOnLine, GivesPortAndPrivilegeFreeWhenItGoes)
{
    array = create<IVexGenParameterArrayCL>(__uuidof(VexGenParameterArrayCL));
    ASSERT_EQ(connect(camera->port()), VexOK);
    ASSERT_EQ(build(L"Device"), VexOK);
    EXPECT_EQ(set_width(800), VexOK);
    EXPECT_EQ(connect(camera->port()), VexOK) << "again, over its own connection";
    EXPECT_EQ(set_width(816), VexOK);
}

TEST_F(CameraOnLine, IsProbedWhereNobodyIsConnected)
{
    array.reset();
    array = create<IVexGenParameterArrayCL>(__uuidof(VexGenParameterArrayCL));
    EXPECT_EQ(probe(camera->port(), L"GenCP"), L"GenCP:9600:Vex:SoftLink:SL-0001");
    EXPECT_EQ(connect(camera->port(), L"GenCP:9600:Vex:Other"), VexNotFound) << "another camera is wanted";
    EXPECT_EQ(text_of(array, &IVexGenParameterArrayCL::get_DeviceID), L"");
}

TEST_F(CameraOnLine, GivesParametersLikeAnyArray)
{
    EXPECT_EQ(width(), 640);
    Ref<IVexGenParameter> named;
    ASSERT_EQ(array->GetByName(Text(L"Width"), named.put()), S_OK);
    Ref<IVexGenInteger> typed;
    ASSERT_EQ(array->GetInteger(Text(L"Width"), typed.put()), S_OK);
    EXPECT_EQ(query<IUnknown>(named.get()).get(), query<IUnknown>(typed.get()).get());
    Ref<IVexGenFloat> other;
    EXPECT_EQ(array->GetFloat(Text(L"Width"), other.put()), S_OK);
    EXPECT_FALSE(other);
    EXPECT_EQ(set_width(800), VexOK);
    EXPECT_EQ(code_of(array, &IVexGenParameterArray::InvalidateCache), VexOK);
    EXPECT_EQ(width(), 800);
    EXPECT_EQ(set_width(801), VexInvalidParameter);
    EXPECT_EQ(code_of([&](IVexResult** result) { return array->ExecuteCommand(Text(L"TriggerSoftware"), result); }),
              VexOK);
}

TEST_F(CameraOnLine, ObjectsOfAnEarlierMapFail)
{
    Ref<IVexGenInteger> before;
    ASSERT_EQ(array->GetInteger(Text(L"Width"), before.put()), S_OK);
    ASSERT_EQ(build(L"Device:0"), VexOK);
    __int64 value = 0;
    EXPECT_NE(before->get_Value(&value), S_OK) << "until the array is asked for it again";
    Ref<IVexGenInteger> after;
    ASSERT_EQ(array->GetInteger(Text(L"Width"), after.put()), S_OK);
    ASSERT_TRUE(after);
    EXPECT_EQ(value_of(after, &IVexGenInteger::get_Value), 640);
}

TEST_F(CameraOnLine, IsStoredAndRestoredByConfigurationFiles)
{
    const std::wstring name = (std::filesystem::path(files.folder()) / "configuration.xml").wstring();
    ASSERT_EQ(set_width(1600), VexOK);
    const auto writer = create<IVexConfigurationWriter>(__uuidof(VexConfigurationWriter));
    ASSERT_EQ(code_of([&](IVexResult** result) { return writer->StoreGPbyN(array.get(), Text(L"CL"), result); }),
              VexOK);
    ASSERT_EQ(code_of([&](IVexResult** result) { return writer->Save(Text(name), result); }), VexOK);
    ASSERT_EQ(set_width(320), VexOK);
    const auto reader = create<IVexConfigurationReader>(__uuidof(VexConfigurationReader));
    ASSERT_EQ(code_of([&](IVexResult** result) { return reader->Load(Text(name), result); }), VexOK);
    EXPECT_EQ(code_of([&](IVexResult** result) { return reader->RestoreGPbyN(Text(L"CL"), array.get(), result); }),
              VexOK);
    EXPECT_EQ(width(), 1600);
}

TEST_F(CameraOnLine, ItsFilesAreReadAndWritten)
{
    const auto file = create<IVexGenFile>(__uuidof(VexGenFile));
    EXPECT_TRUE(has_files(file));
    const auto open = [&](VexGenOpenMode mode) {
        return code_of([&](IVexResult** result) { return file->Open(array.get(), Text(L"UserFile"), mode, result); });
    };
    std::string content(5000, 'x');  // more than one step, and no round number of words
    content += "the end";
    files.put("there.bin", content);
    const std::filesystem::path folder(files.folder());
    ASSERT_EQ(open(VexGenOpenModeWrite), VexOK);
    EXPECT_EQ(
        code_of([&](IVexResult** result) { return file->WriteFrom(Text((folder / "there.bin").wstring()), result); }),
        VexOK);
    ASSERT_EQ(code_of(file, &IVexGenFile::Close), VexOK);
    ASSERT_EQ(open(VexGenOpenModeRead), VexOK);
    EXPECT_EQ(code_of([&](IVexResult** result) { return file->ReadTo(Text((folder / "back.bin").wstring()), result); }),
              VexOK);
    ASSERT_EQ(code_of(file, &IVexGenFile::Close), VexOK);
    EXPECT_EQ(files.get("back.bin"), content);
}

TEST_F(CameraLink, HasNoFilesWithoutACamera)
{
    const auto file = create<IVexGenFile>(__uuidof(VexGenFile));
    EXPECT_FALSE(has_files(file));
    EXPECT_EQ(code_of([&](IVexResult** result) {
                  return file->Open(array.get(), Text(L"UserFile"), VexGenOpenModeRead, result);
              }),
              VexNotSupported);
}

TEST_F(CameraOnLine, AccessesFailOnceTheCameraIsSilent)
{
    ASSERT_EQ(set_timeout(50), VexOK);
    camera.reset();
    EXPECT_EQ(code_of(array, &IVexGenParameterArray::InvalidateCache), VexOK);
    __int64 value = 0;
    EXPECT_EQ(code_of([&](IVexResult** result) { return array->GetIntegerValue(Text(L"Width"), &value, result); }),
              VexTimeout);
}

}  // namespace
