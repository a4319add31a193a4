// VexSerialPortConfiguration through COM.
#include <vector>

#include "tests/com/com_client.h"

namespace {

using namespace client;

VexParity parity(int value) { return static_cast<VexParity>(value); }

class SerialPortConfiguration : public ComTest {
protected:
    /// The code and the text of what IsValid says.
    std::pair<VexResultCode, std::wstring> judged()
    {
        const auto result = object_of(settings, &IVexSerialPortConfiguration::get_IsValid);
        if (!result) {
            ADD_FAILURE() << "no result";
            return {};
        }
        return {value_of(result, &IVexResult::get_Code), text_of(result, &IVexResult::get_Description)};
    }
    void set(unsigned int baud_rate, VexParity guard, unsigned int byte_size, unsigned int stop_bits)
    {
        EXPECT_EQ(settings->put_BaudRate(baud_rate), S_OK);
        EXPECT_EQ(settings->put_Parity(guard), S_OK);
        EXPECT_EQ(settings->put_ByteSize(byte_size), S_OK);
        EXPECT_EQ(settings->put_StopBits(stop_bits), S_OK);
    }

    Ref<IVexSerialPortConfiguration> settings =
        create<IVexSerialPortConfiguration>(__uuidof(VexSerialPortConfiguration));
};

TEST_F(SerialPortConfiguration, BeginsWith9600Baud8N1)
{
    EXPECT_EQ(value_of(settings, &IVexSerialPortConfiguration::get_BaudRate), 9600u);
    EXPECT_EQ(value_of(settings, &IVexSerialPortConfiguration::get_Parity), VexParityNone);
    EXPECT_EQ(value_of(settings, &IVexSerialPortConfiguration::get_ByteSize), 8u);
    EXPECT_EQ(value_of(settings, &IVexSerialPortConfiguration::get_StopBits), 1u);
    EXPECT_EQ(judged().first, VexOK);
}

TEST_F(SerialPortConfiguration, KeepsEachFieldByItself)
{
    set(115'200, VexParityOdd, 7, 2);
    EXPECT_EQ(value_of(settings, &IVexSerialPortConfiguration::get_BaudRate), 115'200u);
    EXPECT_EQ(value_of(settings, &IVexSerialPortConfiguration::get_Parity), VexParityOdd);
    EXPECT_EQ(value_of(settings, &IVexSerialPortConfiguration::get_ByteSize), 7u);
    EXPECT_EQ(value_of(settings, &IVexSerialPortConfiguration::get_StopBits), 2u);
    EXPECT_EQ(judged().first, VexOK);
    const auto other = create<IVexSerialPortConfiguration>(__uuidof(VexSerialPortConfiguration));
    EXPECT_EQ(value_of(other, &IVexSerialPortConfiguration::get_BaudRate), 9600u);
}

TEST_F(SerialPortConfiguration, StoresAnyValueAndJudgesItOnlyWhenAsked)
{
    ASSERT_EQ(settings->put_Parity(parity(77)), S_OK);
    EXPECT_EQ(value_of(settings, &IVexSerialPortConfiguration::get_Parity), parity(77));
    EXPECT_EQ(judged(),
              std::pair(VexInvalidParameter, std::wstring(L"The parity 77 is not none (0), even (1) or odd (2)")));
    set(0xFFFFFFFF, VexParityInvalid, 0xFFFFFFFE, 0xFFFFFFFD);
    EXPECT_EQ(value_of(settings, &IVexSerialPortConfiguration::get_BaudRate), 0xFFFFFFFFu);
    EXPECT_EQ(value_of(settings, &IVexSerialPortConfiguration::get_Parity), VexParityInvalid);
    EXPECT_EQ(value_of(settings, &IVexSerialPortConfiguration::get_ByteSize), 0xFFFFFFFEu);
    EXPECT_EQ(value_of(settings, &IVexSerialPortConfiguration::get_StopBits), 0xFFFFFFFDu);
}

TEST_F(SerialPortConfiguration, NamesTheFieldThatIsWrong)
{
    const auto invalid = [](const wchar_t* text) { return std::pair(VexInvalidParameter, std::wstring(text)); };
    set(0, VexParityNone, 8, 1);
    EXPECT_EQ(judged(), invalid(L"The baud rate 0 is not one of 1 to 4000000"));
    set(9600, VexParityInvalid, 8, 1);
    EXPECT_EQ(judged(), invalid(L"The parity -1 is not none (0), even (1) or odd (2)"));
    set(9600, VexParityEven, 9, 1);
    EXPECT_EQ(judged(), invalid(L"The byte size 9 is not one of 5 to 8 data bits"));
    set(9600, VexParityEven, 8, 3);
    EXPECT_EQ(judged(), invalid(L"The stop bits 3 are not 1 or 2"));
    set(9600, VexParityEven, 5, 2);
    EXPECT_EQ(judged(), invalid(L"The stop bits 2 do not go with a byte size of 5 data bits"));
    set(9600, VexParityEven, 5, 1);
    EXPECT_EQ(judged().first, VexOK);
}

TEST_F(SerialPortConfiguration, IsMadeInvalidAndValidAgain)
{
    EXPECT_EQ(settings->MakeInvalid(), S_OK);
    EXPECT_EQ(judged().first, VexInvalidParameter);
    EXPECT_EQ(value_of(settings, &IVexSerialPortConfiguration::get_Parity), VexParityInvalid);
    set(9600, VexParityNone, 8, 1);
    EXPECT_EQ(judged().first, VexOK);
}

TEST_F(SerialPortConfiguration, GivesANewResultEachTime)
{
    const auto before = object_of(settings, &IVexSerialPortConfiguration::get_IsValid);
    EXPECT_EQ(settings->MakeInvalid(), S_OK);
    const auto after = object_of(settings, &IVexSerialPortConfiguration::get_IsValid);
    EXPECT_NE(before.get(), after.get());
    EXPECT_EQ(value_of(before, &IVexResult::get_IsOK), 1);
    EXPECT_EQ(value_of(after, &IVexResult::get_IsOK), 0);
    settings.reset();
    EXPECT_EQ(value_of(after, &IVexResult::get_Code), VexInvalidParameter) << "it outlives what it judged";
}

TEST_F(SerialPortConfiguration, IsUsedLateBound)
{
    LateBound script(settings.get());
    Variant value;
    const auto number = [&](const wchar_t* name) {
        EXPECT_EQ(script.get(name, value), S_OK);
        return value.text();
    };
    EXPECT_EQ(number(L"BaudRate"), L"9600");
    EXPECT_EQ(value.type(), VT_UI4);
    EXPECT_EQ(script.put(L"BaudRate", Variant(L"115200")), S_OK);  // a text where a number is wanted
    EXPECT_EQ(script.put(L"Parity", Variant(2)), S_OK);
    EXPECT_EQ(script.put(L"ByteSize", Variant(7)), S_OK);
    EXPECT_EQ(script.put(L"StopBits", Variant(2)), S_OK);
    EXPECT_EQ(number(L"BaudRate"), L"115200");
    EXPECT_EQ(number(L"Parity"), L"2");
    EXPECT_EQ(number(L"ByteSize"), L"7");
    EXPECT_EQ(number(L"StopBits"), L"2");
    ASSERT_EQ(script.get(L"IsValid", value), S_OK);
    ASSERT_EQ(value.type(), VT_DISPATCH);
    Variant ok;
    EXPECT_EQ(LateBound(value->pdispVal).get(L"IsOK", ok), S_OK);
    EXPECT_EQ(ok->boolVal, 1);
    EXPECT_EQ(script.call(L"MakeInvalid", {}), S_OK);
    EXPECT_EQ(number(L"Parity"), L"-1");
    EXPECT_EQ(script.put(L"BaudRate", Variant(-1)), DISP_E_OVERFLOW) << "late binding knows no such unsigned number";
    EXPECT_EQ(number(L"BaudRate"), L"0") << "what MakeInvalid left";
}

TEST_F(SerialPortConfiguration, RefusesNullOutputs)
{
    EXPECT_EQ(settings->get_IsValid(nullptr), E_POINTER);
    EXPECT_EQ(settings->get_BaudRate(nullptr), E_POINTER);
    EXPECT_EQ(settings->get_Parity(nullptr), E_POINTER);
    EXPECT_EQ(settings->get_ByteSize(nullptr), E_POINTER);
    EXPECT_EQ(settings->get_StopBits(nullptr), E_POINTER);
}

}  // namespace
