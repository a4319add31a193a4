// What only parents of this library do with the configuration of a serial port: show one of theirs, and take a
// client's.
#include <memory>

#include "serial/VexSerialPortConfiguration.h"
#include "tests/com/com_client.h"

using namespace vex;

namespace {

using namespace client;

class SerialPortConfigurationWrapper : public ComTest {
protected:
    SerialPortConfigurationWrapper() { EXPECT_EQ(server::create_object(wrapper), S_OK); }

    Ref<CVexSerialPortConfiguration> wrapper;
};

TEST_F(SerialPortConfigurationWrapper, YieldsItsSettings)
{
    ASSERT_EQ(wrapper->put_BaudRate(19'200), S_OK);
    ASSERT_EQ(wrapper->put_Parity(VexParityEven), S_OK);
    ASSERT_EQ(wrapper->put_ByteSize(7), S_OK);
    ASSERT_EQ(wrapper->put_StopBits(2), S_OK);
    IVexSerialPortConfiguration* const argument = wrapper.get();
    EXPECT_EQ(server::sdk_as<PvSerialPortConfiguration>(argument),
              (PvSerialPortConfiguration{19'200, PvParityEven, 7, 2}));
}

TEST_F(SerialPortConfigurationWrapper, ShowsSettingsThatItDoesNotOwn)
{
    PvSerialPortConfiguration borrowed{38'400, PvParityOdd, 8, 1};
    wrapper->AttachSdkObject(&borrowed);
    EXPECT_EQ(value_of(wrapper, &IVexSerialPortConfiguration::get_BaudRate), 38'400u);
    EXPECT_EQ(value_of(wrapper, &IVexSerialPortConfiguration::get_Parity), VexParityOdd);
    ASSERT_EQ(wrapper->put_StopBits(2), S_OK);
    EXPECT_EQ(borrowed.StopBits, 2u);
    EXPECT_EQ(wrapper->MakeInvalid(), S_OK);
    EXPECT_FALSE(borrowed.IsValid().IsOK());
    wrapper.reset();  // and does not delete it
    EXPECT_EQ(borrowed.Parity, PvParityInvalid);
}

TEST_F(SerialPortConfigurationWrapper, FailsOnceWhatItShowsHasGone)
{
    auto parent = std::make_shared<PvSerialPortConfiguration>();
    wrapper->AttachSdkObject(parent.get(), server::Lifetime(std::weak_ptr<const void>(parent)));
    EXPECT_EQ(value_of(wrapper, &IVexSerialPortConfiguration::get_BaudRate), 9600u);
    parent.reset();
    unsigned int number = 5;
    EXPECT_EQ(wrapper->get_BaudRate(&number), E_POINTER);
    EXPECT_EQ(number, 5u);
    EXPECT_EQ(wrapper->put_BaudRate(1), E_POINTER);
    EXPECT_EQ(wrapper->MakeInvalid(), E_POINTER);
    const auto result = object_of(wrapper, &IVexSerialPortConfiguration::get_IsValid);
    ASSERT_TRUE(result);
    EXPECT_EQ(value_of(result, &IVexResult::get_Code), VexNotInitialized);
}

}  // namespace
