// Descriptions that are not in the device: files of the user's folder, and downloads.
#include <filesystem>
#include <fstream>

#include "tests/sdk/device/device_fixture.h"
#include "tests/sdk/net/local_server.h"

namespace device_test {
namespace {

class DescriptionPlaces : public DeviceTest {
protected:
    DescriptionPlaces()
    {
        folder = std::filesystem::temp_directory_path() /
                 ("vex-descriptions-" + std::string(testing::UnitTest::GetInstance()->current_test_info()->name()));
        std::filesystem::create_directories(folder / "inner");
    }
    ~DescriptionPlaces() override
    {
        std::error_code ignored;
        std::filesystem::remove_all(folder, ignored);
    }

    void put(const std::string& name, const std::string& text) const
    {
        std::ofstream(folder / name, std::ios::binary) << text;
    }
    void set_folder(const std::filesystem::path& path)
    {
        const std::u8string text = path.u8string();
        ASSERT_TRUE(link().SetString("DescriptionFolder", PvString(std::string(text.begin(), text.end()))).IsOK());
    }
    void allow_download() { ASSERT_TRUE(link().SetBooleanValue("DescriptionDownload", true).IsOK()); }
    PvGenParameterArray& link() { return *device->GetGenLink(); }

    void start_with_url(const std::string& url)
    {
        auto options = sound();
        options.url = url;
        start(options);
    }
    void expect_connected()
    {
        const PvResult result = connect();
        ASSERT_TRUE(result.IsOK()) << result.description();
        std::int64_t value = 0;
        EXPECT_TRUE(device->GetGenParameters()->GetIntegerValue("Value", value).IsOK());
        EXPECT_EQ(value, 0x11223344);
    }
    void expect_failure(PvResult::Code code, const std::string& text)
    {
        const PvResult result = connect();
        EXPECT_EQ(result.GetCode(), code) << result.description();
        EXPECT_NE(result.description().find(text), std::string::npos) << result.description();
        EXPECT_NE(result.description().find(name()), std::string::npos) << result.description();
        EXPECT_FALSE(device->IsConnected());
        EXPECT_EQ(camera->reg(0x0A00), 0U) << "the device is released";
    }

    std::filesystem::path folder;
    std::string served = "HTTP/1.0 200 OK\r\n\r\n" + raw_description();
    /// In the camera itself.
    net_test::LocalServer server{[this](const std::string& request) { return answer_to(request); }, loopback(36)};
    /// Somewhere else; where all addresses are one, in the camera as well.
    net_test::LocalServer other{[this](const std::string& request) { return answer_to(request); }};

private:
    [[nodiscard]] std::string answer_to(const std::string& request) const
    {
        return request.starts_with("GET /xml/camera.xml ") ? served : "HTTP/1.0 404 No\r\n\r\n";
    }
};

TEST_F(DescriptionPlaces, AreNoneUntilTheUserSaysSo)
{
    PvString text("x");
    bool allowed = true;
    EXPECT_TRUE(link().GetString("DescriptionFolder", text).IsOK());
    EXPECT_EQ(text.str(), "");
    EXPECT_TRUE(link().GetBooleanValue("DescriptionDownload", allowed).IsOK());
    EXPECT_FALSE(allowed);
    start_with_url(server.url("/xml/camera.xml"));
    expect_failure(PvResult::NotSupported, "DescriptionDownload");
    start_with_url("File:camera.xml");
    expect_failure(PvResult::NotSupported, "DescriptionFolder");
    EXPECT_EQ(server.requests(), 0);
    EXPECT_FALSE(link().Get("DescriptionDownload")->IsPersistent()) << "a saved configuration must not open the way";
}

TEST_F(DescriptionPlaces, FileOfTheFolderIsRead)
{
    put("camera.xml", raw_description());
    set_folder(folder);
    start_with_url("File:C:camera.xml");
    expect_connected();
    device->Disconnect();
    start_with_url("File:C:\\program files\\camera\\camera.xml");
    expect_connected();
    PvString name;
    EXPECT_TRUE(device->GetDefaultGenICamXMLFilename(name).IsOK());
    EXPECT_EQ(name.str(), "camera.xml");
}

TEST_F(DescriptionPlaces, FileThatIsNotThereIsNamedWithItsFolder)
{
    set_folder(folder);
    start_with_url("File:camera.xml");
    expect_failure(PvResult::NotFound, "vex-descriptions-");
    put("camera.xml", "this is no description");
    expect_failure(PvResult::GenICamXMLError, "cannot be used");
}

TEST_F(DescriptionPlaces, DeviceCannotLeadOutOfTheFolder)
{
    put("camera.xml", raw_description());
    set_folder(folder / "inner");
    for (const char* url : {"File:../camera.xml", "File:..\\camera.xml", "File:..", "File:.", "File:", "File:inner/"}) {
        start_with_url(url);
        expect_failure(PvResult::NotFound, url);
    }
}

TEST_F(DescriptionPlaces, LinkCannotLeadOutOfTheFolder)
{
    put("camera.xml", raw_description());
    std::error_code error;
    std::filesystem::create_symlink(folder / "camera.xml", folder / "inner" / "camera.xml", error);
    std::filesystem::create_symlink(folder / "inner", folder / "way", error);
    if (error) {
        GTEST_SKIP() << "there are no links here: " << error.message();
    }
    set_folder(folder / "inner");
    start_with_url("File:camera.xml");
    expect_failure(PvResult::NotFound, "camera.xml");
    // the user's own way to the folder is the user's business, and so is a link within it
    std::filesystem::remove(folder / "inner" / "camera.xml");
    put("inner/real.xml", raw_description());
    std::filesystem::create_symlink("real.xml", folder / "inner" / "camera.xml");
    set_folder(folder / "way");
    start_with_url("File:camera.xml");
    expect_connected();
}

TEST_F(DescriptionPlaces, NamesOfDevicesAndOfOtherFoldersAreNoFiles)
{
    set_folder(folder);
    for (const char* name : {"con.xml", "COM1.xml", "aux", "LPT9.zip", "nul .xml", "CONIN$", "prn.a.b"}) {
        std::error_code ignored;
        put(name, raw_description());
        start_with_url("File:" + std::string(name));
        expect_failure(PvResult::NotFound, name);
        std::filesystem::remove(folder / name, ignored);
    }
    put("inner/camera.xml", raw_description());
    for (const std::string& url :
         {std::string("File:inner\\..\\..\\camera.xml"), "File:///" + folder.string() + "/inner/camera.xml",
          std::string("File:\\\\server\\share\\camera.xml"), std::string("File:%2e%2e/camera.xml")}) {
        start_with_url(url);
        expect_failure(PvResult::NotFound, "camera.xml");
    }
    put("console.xml", raw_description());
    start_with_url("File:console.xml");
    expect_connected();
}

TEST_F(DescriptionPlaces, FolderMayHaveANameOfAnyScript)
{
    const std::filesystem::path named = folder / std::filesystem::path(u8"K\u00e4fer \u76f8\u673a");
    std::filesystem::create_directories(named);
    std::ofstream(named / "camera.xml", std::ios::binary) << raw_description();
    set_folder(named);
    start_with_url("File:camera.xml");
    expect_connected();
}

TEST_F(DescriptionPlaces, DescriptionIsDownloadedWhenAllowed)
{
    allow_download();
    start_with_url(server.url("/xml/camera.xml?SchemaVersion=1.1.0"));
    expect_connected();
    EXPECT_EQ(server.requests(), 1);
}

TEST_F(DescriptionPlaces, FileOfTheFolderSavesTheDownload)
{
    put("camera.xml", raw_description());
    set_folder(folder);
    start_with_url(server.url("/xml/camera.xml"));
    expect_connected();
    EXPECT_EQ(server.requests(), 0);
}

TEST_F(DescriptionPlaces, DescriptionIsDownloadedFromTheDeviceAlone)
{
    if (!has_loopback_addresses()) {
        GTEST_SKIP() << "all servers are at one address here";
    }
    allow_download();
    start_with_url(other.url("/xml/camera.xml"));
    expect_failure(PvResult::NotSupported, "DescriptionDownloadAnywhere");
    start_with_url("http://localhost:" + std::to_string(other.endpoint().port) + "/xml/camera.xml");
    expect_failure(PvResult::NotSupported, "127.0.0.1");
    served = "HTTP/1.0 302 Found\r\nLocation: " + other.url("/xml/camera.xml") + "\r\n\r\n";
    start_with_url(server.url("/xml/camera.xml"));
    expect_failure(PvResult::NotSupported, "DescriptionDownloadAnywhere");
    EXPECT_EQ(server.requests(), 1);
    EXPECT_EQ(other.requests(), 0);
    start_with_url("https://127.0.0.36/xml/camera.xml");
    expect_failure(PvResult::NotSupported, "(https) are not supported");
    EXPECT_EQ(connect().description().find("DescriptionDownloadAnywhere"), std::string::npos) << "it would not help";
}

TEST_F(DescriptionPlaces, DescriptionIsDownloadedFromAnywhereWhenAllowed)
{
    ASSERT_TRUE(link().SetBooleanValue("DescriptionDownloadAnywhere", true).IsOK());
    start_with_url(other.url("/xml/camera.xml"));
    expect_failure(PvResult::NotSupported, "DescriptionDownload");
    EXPECT_EQ(other.requests(), 0) << "no downloads, from nowhere";
    allow_download();
    expect_connected();
    EXPECT_FALSE(link().Get("DescriptionDownloadAnywhere")->IsPersistent());
}

TEST_F(DescriptionPlaces, DownloadThatFailsSaysWhy)
{
    allow_download();
    start_with_url(server.url("/xml/other.xml"));
    expect_failure(PvResult::NotFound, "404");
    served = "HTTP/1.0 200 OK\r\n\r\nthis is no description";
    start_with_url(server.url("/xml/camera.xml"));
    expect_failure(PvResult::GenICamXMLError, "cannot be used");
}

TEST_F(DescriptionPlaces, DescriptionIsKeptWhereTheUserSays)
{
    PvString text("x");
    EXPECT_TRUE(link().GetString("DescriptionCacheFolder", text).IsOK());
    EXPECT_EQ(text.str(), "");
    EXPECT_FALSE(link().Get("DescriptionCacheFolder")->IsPersistent());
    EXPECT_EQ(link().SetString("DescriptionCacheFolder", PvString((folder / "missing").string())).GetCode(),
              PvResult::NotFound);
    EXPECT_TRUE(link().SetString("DescriptionCacheFolder", PvString((folder / "inner").string())).IsOK());
    start();
    expect_connected();
    const int reads = camera->count(0x0084);
    EXPECT_FALSE(std::filesystem::is_empty(folder / "inner"));

    device = std::make_unique<PvDevice>();
    EXPECT_TRUE(link().SetString("DescriptionCacheFolder", PvString((folder / "inner").string())).IsOK());
    expect_connected();
    EXPECT_LT(camera->count(0x0084) - reads, reads);
}

TEST_F(DescriptionPlaces, SecondUrlIsTriedWhenTheFirstLeadsNowhere)
{
    allow_download();
    auto options = sound();
    options.url = "File:camera.xml";
    options.second_url = server.url("/xml/camera.xml");
    start(options);
    expect_connected();
}

}  // namespace
}  // namespace device_test
