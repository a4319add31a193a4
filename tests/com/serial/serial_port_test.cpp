// The members that serial port classes share, over a port that the tests play: as VexSerialPort has them, and as a
// class whose interface extends IVexSerialPort does.
#include <algorithm>
#include <optional>
#include <string>
#include <vector>

#include "generated/interface_stubs.h"
#include "serial/VexSerialPort.h"
#include "tests/com/com_client.h"

using namespace vex;

class CTestPort;

template <>
struct vex::server::ClassFacts<CTestPort> : vex::server::ClassFacts<CVexSerialPortIPEngine> {};

/// Stands for a class with an Open of its own.
class CTestPort : public SerialPortMembers<CTestPort, vex::idl::Stub<IVexSerialPortIPEngine>>,
                  public server::SdkObject<PvSerialPort> {};

namespace {

using namespace client;
using Bytes = std::vector<unsigned char>;

/// Says what it was called with and answers what it was told to.
class FakePort final : public PvSerialPort {
public:
    PvResult Close() override { return called("Close"); }
    PvResult Write(const std::uint8_t* aBuffer, std::uint32_t aSize, std::uint32_t& aBytesWritten) override
    {
        written.assign(aBuffer, aBuffer + aSize);
        aBytesWritten = count;
        return called("Write " + std::to_string(aSize));
    }
    bool IsOpened() override { return is_open; }
    PvResult Read(std::uint8_t* aBuffer, std::uint32_t aBufferSize, std::uint32_t& aBytesRead,
                  std::uint32_t aTimeout) override
    {
        std::copy(received.begin(), received.end(), aBuffer);
        aBytesRead = count;
        return called("Read " + std::to_string(aBufferSize) + " " + std::to_string(aTimeout));
    }
    PvResult GetRxBytesReady(std::uint32_t& aBytes) override
    {
        aBytes = count;
        return called("GetRxBytesReady");
    }
    PvResult FlushRxBuffer() override { return called("FlushRxBuffer"); }
    PvResult GetRxBufferSize(std::uint32_t& aSize) override
    {
        aSize = count;
        return called("GetRxBufferSize");
    }
    PvResult SetRxBufferSize(std::uint32_t aSize) override
    {
        return called("SetRxBufferSize " + std::to_string(aSize));
    }

    std::string calls;
    PvResult answer;
    std::uint32_t count = 0;
    bool is_open = false;
    Bytes written;
    Bytes received;

private:
    PvResult called(const std::string& what)
    {
        calls += what + "; ";
        return answer;
    }
};

/// The description, source and interface of the thread's error information, which is taken.
struct Told {
    Told()
    {
        Ref<IErrorInfo> info;
        if (GetErrorInfo(0, info.put()) == S_OK) {
            BSTR text = nullptr;
            info->GetDescription(&text);
            description = take(text);
            info->GetSource(&text);
            source = take(text);
            info->GetGUID(&iid);
        }
    }

    std::wstring description;
    std::wstring source;
    GUID iid{};
};

class SerialPort : public ComTest {
protected:
    SerialPort()
    {
        EXPECT_EQ(server::create_object(port), S_OK);
        EXPECT_EQ(server::create_object(derived), S_OK);
        port->AttachSdkObject(&fake);
        derived->AttachSdkObject(&fake);
    }

    static VexResultCode code(const Ref<IVexResult>& result)
    {
        EXPECT_TRUE(result);
        return result ? value_of(result, &IVexResult::get_Code) : VexGenericError;
    }
    void fail() { fake.answer = {PvResult::NotConnected, "The cable is out"}; }

    FakePort fake;
    Ref<CVexSerialPort> port;
    Ref<CTestPort> derived;
    Ref<IVexResult> result;
    unsigned int number = 4711;
};

TEST_F(SerialPort, IsOpenedIsOneForAnOpenPort)
{
    VARIANT_BOOL open = 7;
    EXPECT_EQ(port->get_IsOpened(&open), S_OK);
    EXPECT_EQ(open, 0);
    fake.is_open = true;
    EXPECT_EQ(port->get_IsOpened(&open), S_OK);
    EXPECT_EQ(open, 1);
    EXPECT_EQ(value_of(derived, &IVexSerialPort::get_IsOpened), 1);
}

TEST_F(SerialPort, WritesFromTheArrayAsManyAsItIsTold)
{
    fake.count = 2;
    Variant array(VT_UI1, byte_array({1, 2, 3, 4}));
    EXPECT_EQ(port->Write(array->parray, 3, &number, result.put()), S_OK);
    EXPECT_EQ(code(result), VexOK);
    EXPECT_EQ(fake.written, (Bytes{1, 2, 3}));
    EXPECT_EQ(number, 2u) << "what the SDK wrote there";
    EXPECT_EQ(port->Write(array->parray, 0, &number, result.put()), S_OK);
    EXPECT_EQ(fake.calls, "Write 3; Write 0; ");
}

TEST_F(SerialPort, GivesTheSdksAnswerToAWriteOfNothing)
{
    fail();
    Variant array(VT_UI1, byte_array({1}));
    EXPECT_EQ(port->Write(array->parray, 0, &number, result.put()), S_OK);
    EXPECT_EQ(code(result), VexNotConnected);
    EXPECT_EQ(text_of(result, &IVexResult::get_Description), L"The cable is out");
}

TEST_F(SerialPort, ReadsIntoTheArrayFromItsFirstElement)
{
    fake.received = {9, 8};
    fake.count = 2;
    for (const LONG lower : {0L, 3L}) {
        Variant array(VT_UI1, byte_array({1, 2, 3, 4}, lower));
        EXPECT_EQ(port->Read(array->parray, 4, &number, 250, result.put()), S_OK);
        EXPECT_EQ(code(result), VexOK);
        EXPECT_EQ(number, 2u);
        EXPECT_EQ(bytes_of(array->parray), (Bytes{9, 8, 3, 4}));
        EXPECT_EQ(array->parray->cLocks, 0u);
    }
    EXPECT_EQ(fake.calls, "Read 4 250; Read 4 250; ");
}

TEST_F(SerialPort, PassesTheTimeUnchanged)
{
    Variant array(VT_UI1, byte_array({1}));
    EXPECT_EQ(port->Read(array->parray, 1, &number, 0xFFFFFFFF, result.put()), S_OK);
    EXPECT_EQ(port->Read(array->parray, 1, &number, 0, result.put()), S_OK);
    EXPECT_EQ(fake.calls, "Read 1 4294967295; Read 1 0; ");
}

TEST_F(SerialPort, ReportsAFailedReadWithTheCountTheSdkLeft)
{
    fail();
    fake.count = 3;
    Variant array(VT_UI1, byte_array({1, 2, 3, 4}));
    EXPECT_EQ(port->Read(array->parray, 4, &number, 10, result.put()), S_OK);
    EXPECT_EQ(code(result), VexNotConnected);
    EXPECT_EQ(number, 3u);
}

TEST_F(SerialPort, DoesNotCallTheSdkWithoutAnArray)
{
    EXPECT_EQ(port->Read(nullptr, 4, &number, 10, result.put()), E_INVALIDARG);
    EXPECT_EQ(Told().source, L"VexKamCOMWrapper.VexSerialPort.1");
    EXPECT_EQ(port->Write(nullptr, 0, &number, result.put()), E_INVALIDARG);
    EXPECT_EQ(Told().description, L"Argument 1 is not an array");
    EXPECT_EQ(derived->Write(nullptr, 0, &number, result.put()), E_INVALIDARG);
    EXPECT_EQ(Told().source, L"VexKamCOMWrapper.VexSerialPortIPEngin.1");
    EXPECT_FALSE(result);
    EXPECT_EQ(number, 4711u);
    EXPECT_EQ(fake.calls, "");
}

TEST_F(SerialPort, ClosesAndFlushesByResult)
{
    EXPECT_EQ(port->Close(result.put()), S_OK);
    EXPECT_EQ(code(result), VexOK);
    EXPECT_EQ(port->FlushRxBuffer(result.put()), S_OK);
    EXPECT_EQ(code(result), VexOK);
    fail();
    EXPECT_EQ(port->Close(result.put()), S_OK);
    EXPECT_EQ(code(result), VexNotConnected);
    EXPECT_EQ(port->FlushRxBuffer(result.put()), S_OK);
    EXPECT_EQ(code(result), VexNotConnected);
    EXPECT_EQ(fake.calls, "Close; FlushRxBuffer; Close; FlushRxBuffer; ");
}

TEST_F(SerialPort, HasItsBuffersSizeAndWhatIsReady)
{
    fake.count = 65'536;
    EXPECT_EQ(value_of(port, &IVexSerialPort::get_RxBufferSize), 65'536u);
    fake.count = 12;
    EXPECT_EQ(value_of(port, &IVexSerialPort::get_RxBytesReady), 12u);
    EXPECT_EQ(port->put_RxBufferSize(1024), S_OK);
    EXPECT_EQ(fake.calls, "GetRxBufferSize; GetRxBytesReady; SetRxBufferSize 1024; ");
}

TEST_F(SerialPort, RaisesWhatTheBuffersAccessorsReport)
{
    fail();
    fake.count = 33;
    const auto expect_told = [](const wchar_t* source, const IID& iid) {
        const Told told;
        EXPECT_EQ(told.description, L"The cable is out");
        EXPECT_EQ(told.source, source);
        EXPECT_TRUE(told.iid == iid);
    };
    constexpr const wchar_t* own = L"VexKamCOMWrapper.VexSerialPort.1";
    EXPECT_EQ(port->get_RxBufferSize(&number), DISP_E_EXCEPTION);
    EXPECT_EQ(number, 33u) << "the SDK's value all the same";
    expect_told(own, __uuidof(IVexSerialPort));
    fake.count = 34;
    EXPECT_EQ(port->get_RxBytesReady(&number), DISP_E_EXCEPTION);
    EXPECT_EQ(number, 34u);
    expect_told(own, __uuidof(IVexSerialPort));
    EXPECT_EQ(port->put_RxBufferSize(5), DISP_E_EXCEPTION);
    expect_told(own, __uuidof(IVexSerialPort));
    // in the name of the class that derives
    constexpr const wchar_t* other = L"VexKamCOMWrapper.VexSerialPortIPEngin.1";
    EXPECT_EQ(derived->get_RxBufferSize(&number), DISP_E_EXCEPTION);
    expect_told(other, __uuidof(IVexSerialPortIPEngine));
    EXPECT_EQ(derived->put_RxBufferSize(5), DISP_E_EXCEPTION);
    expect_told(other, __uuidof(IVexSerialPortIPEngine));
}

TEST_F(SerialPort, IsOneForWhoeverTakesPorts)
{
    IVexSerialPort* const own = port.get();
    IVexSerialPort* const other = derived.get();
    EXPECT_EQ(&server::sdk_as<PvSerialPort>(own), &fake);
    EXPECT_EQ(&server::sdk_as<PvSerialPort>(other), &fake);
    EXPECT_TRUE(query<IVexSerialPort>(other));
    EXPECT_TRUE(query<IVexSerialPortIPEngine>(other));
    EXPECT_FALSE(query<IVexSerialPortIPEngine>(own));
}

TEST_F(SerialPort, WithNothingBehindItFailsCleanly)
{
    Ref<CVexSerialPort> bare;
    ASSERT_EQ(server::create_object(bare), S_OK);
    VARIANT_BOOL open = 7;
    EXPECT_EQ(bare->get_IsOpened(&open), E_POINTER);
    EXPECT_EQ(bare->get_RxBufferSize(&number), E_POINTER);
    EXPECT_EQ(bare->Close(result.put()), S_OK);
    EXPECT_EQ(code(result), VexNotInitialized);
    Variant array(VT_UI1, byte_array({1}));
    EXPECT_EQ(bare->Read(array->parray, 1, &number, 0, result.put()), S_OK);
    EXPECT_EQ(code(result), VexNotInitialized);
}

TEST_F(SerialPort, FillsTheArraysOfScriptsInPlace)
{
    fake.received = {9, 8};
    fake.count = 2;
    LateBound script(port.get());
    Variant elements(VT_VARIANT, variant_array({Variant(1), Variant(2), Variant(3)}));
    Variant count(0);
    Variant answer;
    ASSERT_EQ(script.call(L"Read",
                          {Variant::by_reference(elements), Variant(3), Variant::by_reference(count), Variant(5)},
                          &answer),
              S_OK);
    EXPECT_EQ(count.text(), L"2");
    ASSERT_EQ(answer.type(), VT_DISPATCH);
    std::wstring texts;
    for (LONG at = 0; at < 3; ++at) {
        Variant element;
        ASSERT_EQ(SafeArrayGetElement(elements->parray, &at, element.put()), S_OK);
        texts += element.text() + L" ";
    }
    EXPECT_EQ(texts, L"9 8 3 ");
    ASSERT_EQ(
        script.call(L"Write", {Variant::by_reference(elements), Variant(3), Variant::by_reference(count)}, &answer),
        S_OK);
    EXPECT_EQ(fake.written, (Bytes{9, 8, 3}));
    EXPECT_EQ(script.call(L"Write", {Variant(5), Variant(3), Variant::by_reference(count)}, &answer),
              DISP_E_TYPEMISMATCH);
    EXPECT_EQ(fake.calls, "Read 3 5; Write 3; ");
}

TEST_F(SerialPort, ScriptsReadTheSdksTextAsAnException)
{
    fail();
    LateBound script(derived.get());
    Variant value;
    EXPECT_EQ(script.get(L"RxBytesReady", value), DISP_E_EXCEPTION);
    EXPECT_EQ(script.description(), L"The cable is out");
    EXPECT_EQ(script.source(), L"VexKamCOMWrapper.VexSerialPortIPEngin.1");
    fake.is_open = true;
    EXPECT_EQ(script.get(L"IsOpened", value), S_OK);
    EXPECT_EQ(value->boolVal, 1);
}

}  // namespace
