// Devices through a file, with the software camera.
#include <algorithm>

#include "sdk/device/PvDevice.h"
#include "sdk/genicam/PvGenParameterArray.h"
#include "tests/sdk/persistence/configuration_files.h"
#include "tools/softcam/camera.h"

namespace {

using namespace configuration_test;

#ifdef _WIN32
constexpr const char* address = "127.0.0.1";  // Wine has no other
#else
constexpr const char* address = "127.0.0.57";
#endif

class DeviceFile : public Files {
protected:
    DeviceFile()
    {
        options.adapter = address;
        options.serial_number = "CONF-1";
        camera = std::make_unique<softcam::Camera>(options);
        camera->start();
        const PvResult connected = device->Connect(PvString(address));
        EXPECT_TRUE(connected.IsOK()) << connected.description();
    }

    PvGenParameterArray& features() { return *device->GetGenParameters(); }
    std::int64_t integer(const char* name)
    {
        std::int64_t value = -1;
        const PvResult read = features().GetIntegerValue(PvString(name), value);
        EXPECT_TRUE(read.IsOK()) << read.description();
        return value;
    }
    void set(const char* name, std::int64_t value)
    {
        const PvResult written = features().SetIntegerValue(PvString(name), value);
        EXPECT_TRUE(written.IsOK()) << written.description();
    }
    std::int64_t link(const char* name)
    {
        std::int64_t value = -1;
        EXPECT_TRUE(device->GetGenLink()->GetIntegerValue(PvString(name), value).IsOK());
        return value;
    }

    softcam::CameraOptions options;
    std::unique_ptr<softcam::Camera> camera;
    std::unique_ptr<PvDevice> device = std::make_unique<PvDevice>();
};

TEST_F(DeviceFile, BringsFeaturesAndTheLinkBack)
{
    set("Width", 320);
    set("Height", 100);
    ASSERT_TRUE(device->GetGenLink()->SetIntegerValue(PvString("AnswerTimeout"), 700).IsOK());
    const PvResult stored = writer.Store(device.get(), PvString("camera"));
    ASSERT_TRUE(stored.IsOK()) << stored.description();
    set("Width", 64);
    set("Height", 32);
    ASSERT_TRUE(device->GetGenLink()->SetIntegerValue(PvString("AnswerTimeout"), 900).IsOK());
    save_and_load();
    ASSERT_EQ(reader.GetDeviceCount(), 1U);
    PvStringList errors;
    reader.SetErrorList(&errors, PvString());
    const PvResult restored = reader.Restore(PvString("camera"), device.get());
    EXPECT_TRUE(restored.IsOK()) << restored.description();
    EXPECT_EQ(lines(errors), "");
    EXPECT_EQ(integer("Width"), 320);
    EXPECT_EQ(integer("Height"), 100);
    EXPECT_EQ(link("AnswerTimeout"), 700);
    PvString name;
    EXPECT_TRUE(reader.GetDeviceName(0, name).IsOK());
    EXPECT_EQ(name, PvString("camera"));
    EXPECT_NE(get().find("serial=\"CONF-1\""), std::string::npos);
    EXPECT_EQ(get().find("RequestCount"), std::string::npos);

    const std::string first = get();
    ASSERT_TRUE(writer.Store(device.get(), PvString("camera")).IsOK());
    save_and_load();
    EXPECT_EQ(get(), first) << "what was restored is stored alike";
}

TEST_F(DeviceFile, ReportsWhatAnotherModelDoesNotHave)
{
    put("<configuration version='1'><device name='other'><features><feature name='Width' value='128'/>"
        "<feature name='Shutter' value='3'/></features><link><feature name='Unknown' value='1'/></link></device>"
        "</configuration>");
    ASSERT_TRUE(reader.Load(name()).IsOK());
    PvStringList errors;
    reader.SetErrorList(&errors, PvString("c"));
    const PvResult restored = reader.Restore(0, device.get());
    EXPECT_EQ(restored.GetCode(), PvResult::GenericError);
    EXPECT_EQ(restored.description(),
              "1 parameter could not be restored: Shutter: There is no parameter named \"Shutter\"; of the link 1 "
              "parameter could not be restored: Unknown: There is no parameter named \"Unknown\"");
    EXPECT_EQ(lines(errors), "c: Unknown = 1: There is no parameter named \"Unknown\"\n"
                             "c: Shutter = 3: There is no parameter named \"Shutter\"\n");
    EXPECT_EQ(integer("Width"), 128);
}

TEST_F(DeviceFile, ChangesNothingWhileAnAcquisitionRuns)
{
    ASSERT_TRUE(writer.Store(device.get(), PvString("camera")).IsOK());
    save_and_load();
    ASSERT_TRUE(device->GetGenLink()->SetIntegerValue(PvString("AnswerTimeout"), 900).IsOK());
    set("TLParamsLocked", 1);
    const PvResult restored = reader.Restore(PvString("camera"), device.get());
    EXPECT_EQ(restored.GetCode(), PvResult::StateError) << restored.description();
    EXPECT_EQ(link("AnswerTimeout"), 900);
    set("TLParamsLocked", 0);
    EXPECT_TRUE(reader.Restore(PvString("camera"), device.get()).IsOK());
    EXPECT_NE(link("AnswerTimeout"), 900);
}

TEST_F(DeviceFile, ChangesNothingWhileTheDeviceSaysThatItAcquires)
{
    ASSERT_TRUE(writer.Store(device.get(), PvString("camera")).IsOK());
    save_and_load();
    ASSERT_TRUE(device->GetGenLink()->SetIntegerValue(PvString("AnswerTimeout"), 900).IsOK());
    ASSERT_TRUE(device->GetGenParameters()->ExecuteCommand(PvString("AcquisitionStart")).IsOK());
    ASSERT_EQ(integer("TLParamsLocked"), 0);
    EXPECT_EQ(reader.Restore(PvString("camera"), device.get()).GetCode(), PvResult::StateError);
    EXPECT_EQ(link("AnswerTimeout"), 900);
    ASSERT_TRUE(device->GetGenParameters()->ExecuteCommand(PvString("AcquisitionStop")).IsOK());
    EXPECT_TRUE(reader.Restore(PvString("camera"), device.get()).IsOK());
}

TEST_F(DeviceFile, ChangesNothingWithoutThePrivilege)
{
    ASSERT_TRUE(writer.Store(device.get(), PvString("camera")).IsOK());
    save_and_load();
    PvDevice reading;
    ASSERT_TRUE(reading.Connect(PvString(address), PvAccessReadOnly).IsOK());
    ASSERT_TRUE(reading.GetGenLink()->SetIntegerValue(PvString("AnswerTimeout"), 900).IsOK());
    EXPECT_EQ(reader.Restore(PvString("camera"), &reading).GetCode(), PvResult::StateError);
    std::int64_t timeout = 0;
    ASSERT_TRUE(reading.GetGenLink()->GetIntegerValue(PvString("AnswerTimeout"), timeout).IsOK());
    EXPECT_EQ(timeout, 900);
}

TEST_F(DeviceFile, NeedsAConnection)
{
    ASSERT_TRUE(writer.Store(device.get(), PvString("camera")).IsOK());
    save_and_load();
    device->Disconnect();
    EXPECT_EQ(reader.Restore(PvString("camera"), device.get()).GetCode(), PvResult::NotConnected);
    EXPECT_EQ(writer.Store(device.get(), PvString("camera")).GetCode(), PvResult::NotConnected);
    PvDevice never;
    EXPECT_EQ(writer.Store(&never, PvString("never")).GetCode(), PvResult::NotConnected);
    ASSERT_TRUE(writer.Save(name()).IsOK());
    EXPECT_NE(get().find("camera"), std::string::npos) << "a Store that fails leaves what was stored";
}

}  // namespace
