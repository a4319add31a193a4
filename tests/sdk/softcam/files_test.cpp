// The camera's files, through a device of the SDK.
#include "tools/softcam/files.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <random>

#include "sdk/device/PvDevice.h"
#include "sdk/genicam/PvGenFile.h"
#include "sdk/genicam/PvGenParameterArray.h"
#include "tests/sdk/virtualdevice/host_socket.h"
#include "tools/softcam/camera.h"

namespace {

namespace fs = std::filesystem;
using Bytes = std::vector<std::uint8_t>;

constexpr std::int64_t table_size = 8192;

std::string text(const PvResult& result) { return std::string(result.description()); }

class CameraFiles : public testing::Test {
protected:
    CameraFiles()
    {
        fs::create_directory(folder);
        camera.start();
        const PvResult connected = device.Connect(PvString(address));
        EXPECT_TRUE(connected.IsOK()) << text(connected);
    }
    ~CameraFiles() override { fs::remove_all(folder); }

    [[nodiscard]] PvGenParameterArray* features() { return device.GetGenParameters(); }
    [[nodiscard]] PvString local(const char* name) const { return PvString((folder / name).string().c_str()); }
    void put(const char* name, const Bytes& bytes) const
    {
        std::ofstream(folder / name, std::ios::binary)
            .write(reinterpret_cast<const char*>(bytes.data()), static_cast<std::streamsize>(bytes.size()));
    }
    [[nodiscard]] Bytes get(const char* name) const
    {
        std::ifstream stored(folder / name, std::ios::binary);
        return {std::istreambuf_iterator<char>(stored), {}};
    }
    void open(const char* name, PvGenOpenMode mode)
    {
        const PvResult opened = file.Open(features(), name, mode);
        ASSERT_TRUE(opened.IsOK()) << text(opened);
    }
    /// Writes all and closes; the result of what fails first.
    PvResult send(const char* name, const Bytes& bytes)
    {
        if (PvResult opened = file.Open(features(), name, PvGenOpenModeWrite); !opened.IsOK()) {
            return opened;
        }
        PvResult written = file.Write(bytes.data(), static_cast<std::int64_t>(bytes.size()), count);
        PvResult closed = file.Close();
        return written.IsOK() ? closed : written;
    }
    Bytes fetch(const char* name)
    {
        open(name, PvGenOpenModeRead);
        Bytes bytes(100'000);
        const PvResult read = file.Read(bytes.data(), static_cast<std::int64_t>(bytes.size()), count);
        EXPECT_TRUE(read.IsOK()) << text(read);
        EXPECT_TRUE(file.Close().IsOK());
        bytes.resize(static_cast<std::size_t>(count));
        return bytes;
    }
    std::string value(const char* name)
    {
        PvString shown;
        const PvResult read = features()->Get(name)->ToString(shown);
        EXPECT_TRUE(read.IsOK()) << text(read);
        return shown.str();
    }
    void set(const char* name, const char* to)
    {
        const PvResult written = features()->Get(name)->FromString(to);
        EXPECT_TRUE(written.IsOK()) << text(written);
    }

    const char* const address = device_address("127.0.0.58");
    const fs::path folder = fs::temp_directory_path() / ("camera_files_" + std::to_string(std::random_device{}()));
    softcam::Camera camera{{.adapter = address, .serial_number = "FILES"}};
    PvDevice device;
    PvGenFile file;
    std::int64_t count = -1;
};

}  // namespace

TEST_F(CameraFiles, AreOfferedByTheDeviceAndNotByItsLink)
{
    EXPECT_TRUE(PvGenFile::IsSupported(features()));
    EXPECT_FALSE(PvGenFile::IsSupported(device.GetGenLink()));
    EXPECT_EQ(file.Open(device.GetGenLink(), "Firmware", PvGenOpenModeRead).GetCode(), PvResult::NotSupported);
    std::vector<std::string> names;
    EXPECT_TRUE(PvGenFile::GetNames(features(), names).IsOK());
    EXPECT_EQ(names, (std::vector<std::string>{"UserSet1", "UserSet2", "LUTLuminance", "Firmware", "UserFile"}));
}

TEST_F(CameraFiles, KeepALookUpTable)
{
    Bytes table = fetch("LUTLuminance");
    ASSERT_EQ(count, table_size);
    EXPECT_EQ((Bytes(table.begin(), table.begin() + 6)), (Bytes{0, 0, 0, 16, 0, 32}));
    std::ranges::reverse(table);
    EXPECT_TRUE(send("LUTLuminance", table).IsOK());
    EXPECT_EQ(count, table_size);
    EXPECT_EQ(fetch("LUTLuminance"), table);

    table.pop_back();
    const PvResult refused = send("LUTLuminance", table);
    EXPECT_EQ(refused.GetCode(), PvResult::FileError);
    EXPECT_EQ(text(refused), "LUTLuminance cannot be closed: the device reports Failure");
    EXPECT_FALSE(file.IsOpened()) << "closed all the same";
    EXPECT_EQ(fetch("LUTLuminance").size(), 8192U) << "the older one stays";
}

TEST_F(CameraFiles, KeepAnythingInTheUsersFile)
{
    EXPECT_TRUE(fetch("UserFile").empty());
    for (const std::size_t size : {1U, 3U, 540U, 99'999U, 0U}) {
        Bytes bytes(size);
        for (std::size_t i = 0; i < size; ++i) {
            bytes[i] = static_cast<std::uint8_t>(i * 31 + (i >> 8));
        }
        EXPECT_TRUE(send("UserFile", bytes).IsOK()) << size;
        EXPECT_EQ(fetch("UserFile"), bytes) << size;
    }
}

TEST_F(CameraFiles, FirmwareOfEveryLengthArrivesWhole)
{
    for (const std::size_t size : {44U, 45U, 46U, 47U, 536U, 537U, 131071U, 131072U, 131073U, 300'001U}) {
        const std::string version = "Test " + std::to_string(size);
        // the camera takes nothing whose checksum is wrong
        const PvResult sent = send("Firmware", softcam::firmware_image(version, size));
        ASSERT_TRUE(sent.IsOK()) << size << " " << text(sent);
        EXPECT_EQ(count, static_cast<std::int64_t>(size));
    }
    EXPECT_EQ(value("DeviceFirmwareVersion"), "SoftCam 1.0") << "until it restarts";
    device.Disconnect();
    camera.reboot({.silence = std::chrono::milliseconds(0)});
    ASSERT_TRUE(device.Connect(PvString(address)).IsOK());
    EXPECT_EQ(value("DeviceFirmwareVersion"), "Test 300001");
}

TEST_F(CameraFiles, FirmwareThatIsNotSoundIsRefused)
{
    Bytes image = softcam::firmware_image("Broken", 1000);
    image[500] ^= 1;
    EXPECT_EQ(send("Firmware", image).GetCode(), PvResult::FileError);
    EXPECT_EQ(count, 1000);
    image[500] ^= 1;
    EXPECT_TRUE(send("Firmware", image).IsOK());
    image.push_back(0);
    EXPECT_EQ(send("Firmware", image).GetCode(), PvResult::FileError);
    const PvResult opened = file.Open(features(), "Firmware", PvGenOpenModeRead);
    EXPECT_EQ(opened.GetCode(), PvResult::FileError) << "it can only be written";
    EXPECT_EQ(text(opened), "Firmware cannot be opened: the device reports Failure");
    EXPECT_FALSE(file.IsOpened());
}

TEST_F(CameraFiles, UserSetsAreCarriedFromOneToAnother)
{
    set("Width", "320");
    set("UserSetSelector", "UserSet1");
    set("UserSetSave", "1");
    set("Width", "640");
    open("UserSet1", PvGenOpenModeRead);
    EXPECT_TRUE(file.ReadTo(local("set")).IsOK());
    EXPECT_TRUE(file.Close().IsOK());
    open("UserSet2", PvGenOpenModeWrite);
    EXPECT_TRUE(file.WriteFrom(local("set")).IsOK());
    EXPECT_TRUE(file.Close().IsOK());
    set("UserSetSelector", "UserSet2");
    set("UserSetLoad", "1");
    EXPECT_EQ(value("Width"), "320");

    Bytes broken = get("set");
    broken[20] ^= 1;
    EXPECT_EQ(send("UserSet2", broken).GetCode(), PvResult::FileError);
    EXPECT_EQ(send("UserSet2", {}).GetCode(), PvResult::FileError);
    EXPECT_EQ(fetch("UserSet2"), get("set"));
}

TEST_F(CameraFiles, StopWhereTheCameraFails)
{
    camera.set_file_faults({.fails_after = 200'000});
    const Bytes image = softcam::firmware_image("Lost", 300'000);
    const PvResult sent = send("Firmware", image);
    EXPECT_EQ(sent.GetCode(), PvResult::FileError);
    EXPECT_EQ(text(sent), "Firmware cannot be written: the device reports Failure");
    EXPECT_EQ(count, 131072);
    camera.set_file_faults({.fails_after = 100});
    put("older", {1, 2, 3});
    open("LUTLuminance", PvGenOpenModeRead);
    EXPECT_EQ(file.ReadTo(local("older")).GetCode(), PvResult::FileError);
    EXPECT_EQ(get("older"), (Bytes{1, 2, 3}));
    EXPECT_EQ(std::distance(fs::directory_iterator(folder), fs::directory_iterator()), 1);
}

TEST_F(CameraFiles, AreWaitedForWhenTheCameraIsSlow)
{
    camera.set_file_faults({.time = std::chrono::milliseconds(20)});
    const Bytes image = softcam::firmware_image("Slow", 140'000);
    const auto begun = std::chrono::steady_clock::now();
    const PvResult sent = send("Firmware", image);
    EXPECT_TRUE(sent.IsOK()) << text(sent);
    EXPECT_GE(std::chrono::steady_clock::now() - begun, std::chrono::milliseconds(80)) << "four operations";
    camera.set_file_faults({.time = std::chrono::hours(1)});
    file.SetOperationTimeout(5);
    EXPECT_EQ(file.Open(features(), "Firmware", PvGenOpenModeWrite).GetCode(), PvResult::Timeout);
    EXPECT_FALSE(file.IsOpened());
}

TEST_F(CameraFiles, AreClosedByTheCameraWhenControlIsLost)
{
    const Bytes table = fetch("LUTLuminance");
    open("LUTLuminance", PvGenOpenModeWrite);
    const Bytes half(4096, 7);
    ASSERT_TRUE(file.Write(half.data(), 4096, count).IsOK());
    device.Disconnect();
    EXPECT_EQ(file.Write(half.data(), 4096, count).GetCode(), PvResult::NotConnected);
    EXPECT_EQ(count, 0);
    ASSERT_TRUE(device.Connect(PvString(address)).IsOK());
    EXPECT_EQ(file.Write(half.data(), 4096, count).GetCode(), PvResult::FileError) << "the camera has it closed";
    EXPECT_EQ(file.Close().GetCode(), PvResult::FileError);
    EXPECT_FALSE(file.IsOpened());
    EXPECT_EQ(fetch("LUTLuminance"), table) << "half a table is none";
}

TEST_F(CameraFiles, AreNotStoredInConfigurations)
{
    for (const char* name : {"FileSelector", "FileOperationSelector", "FileOpenMode", "FileAccessOffset",
                             "FileAccessLength", "FileAccessBuffer", "FileSize"}) {
        ASSERT_NE(features()->Get(name), nullptr) << name;
        EXPECT_FALSE(features()->Get(name)->IsStreamable()) << name;
    }
}
