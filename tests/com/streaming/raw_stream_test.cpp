// VexStreamRaw and VexStatistics as clients use them.
#include <string>
#include <utility>
#include <vector>

#include "tests/com/streaming/pipeline_client.h"

namespace {

using namespace client;

class RawStream : public CameraTest {
protected:
    [[nodiscard]] VexResultCode open() const
    {
        return code_of(
            [&](IVexResult** result) { return stream->OpenUnicast(Text(address), 0, 0, Text(L"127.0.0.1"), result); });
    }
    [[nodiscard]] Ref<IVexStatistics> statistics() const { return object_of(stream, &IVexStreamRaw::get_Statistics); }
    [[nodiscard]] std::pair<VexResultCode, VexResultCode> retrieve(unsigned int timeout)
    {
        Ref<IVexResult> operation;
        const VexResultCode call = code_of([&](IVexResult** result) {
            return stream->RetrieveBuffer(retrieved.put(), operation.put(), timeout, result);
        });
        return {call, value_of(operation, &IVexResult::get_Code)};
    }

    Ref<IVexStreamRaw> stream = create<IVexStreamRaw>(L"VexKamCOMWrapper.VexStreamRaw.1");
    Ref<IVexBuffer> retrieved;
};

TEST_F(RawStream, AnswersTheSharedInterfaceAndIsClosedAtFirst)
{
    EXPECT_TRUE(query<IVexStreamBase>(stream.get()));
    EXPECT_TRUE(create<IVexStreamRaw>(L"VexKamCOMWrapper.VexStreamRaw"));
    EXPECT_EQ(value_of(stream, &IVexStreamRaw::get_IsOpen), 0);
    EXPECT_EQ(value_of(stream, &IVexStreamRaw::get_ChannelID), 0U);
    EXPECT_EQ(text_of(stream, &IVexStreamRaw::get_RemoteIpAddress), L"");
}

TEST_F(RawStream, TellsItsChannelAndItsCamera)
{
    ASSERT_EQ(code_of([&](IVexResult** result) { return stream->OpenUnicast(Text(address), 0, 2, nullptr, result); }),
              VexOK);
    EXPECT_EQ(value_of(stream, &IVexStreamRaw::get_ChannelID), 2U);
    EXPECT_EQ(text_of(stream, &IVexStreamRaw::get_RemoteIpAddress), L"127.0.0.1");
}

struct Number {
    const wchar_t* name;
    HRESULT (STDMETHODCALLTYPE IVexStreamRaw::*get)(unsigned int*);
    HRESULT (STDMETHODCALLTYPE IVexStreamRaw::*put)(unsigned int);
    unsigned int value;    // other than the first one
    unsigned int refused;  // above the range
};
#define NUMBER(name, value, refused)                                                                                   \
    Number { L## #name, &IVexStreamRaw::get_##name, &IVexStreamRaw::put_##name, value, refused }
const Number numbers[] = {
    NUMBER(FirstPacketTimeout, 101, 3'600'001),
    NUMBER(PacketTimeout, 102, 60'001),
    NUMBER(InterPacketTimeout, 103, 60'001),
    NUMBER(RequestTimeout, 104, 3'600'001),
    NUMBER(DefaultImageTimeout, 105, 3'600'001),
    NUMBER(DefaultBlockTimeout, 106, 3'600'001),
    NUMBER(MaximumPendingResends, 107, 1'000'001),
    NUMBER(LatencyLevel, 8, 33),
    NUMBER(AutoResetOnLackOfResources, 109, 1'000'001),
    NUMBER(MaximumResendRequestRetryByPacket, 10, 101),
    NUMBER(MaximumResendGroupSize, 111, 65'536),
    NUMBER(ResendRequestTimeout, 112, 60'001),
    NUMBER(ResetOnIdle, 113, 3'600'001),
    NUMBER(MaximumPreQueuedBuffers, 114, 4097),
    NUMBER(MaximumInternalRetrieveBuffers, 115, 4097),
    NUMBER(ResendDelay, 116, 1'000'001),
};
#undef NUMBER

TEST_F(RawStream, KeepsEachOfItsNumbers)
{
    for (const Number& number : numbers) {
        EXPECT_NE(value_of(stream, number.get), number.value) << std::wstring(number.name).size();
        EXPECT_EQ(((*stream).*number.put)(number.value), S_OK);
    }
    for (const Number& number : numbers) {
        EXPECT_EQ(value_of(stream, number.get), number.value);
    }
    ASSERT_EQ(open(), VexOK);
    for (const Number& number : numbers) {
        EXPECT_EQ(value_of(stream, number.get), number.value);
    }
}

TEST_F(RawStream, RaisesWhatIsRefusedWithTheTextOfTheRefusal)
{
    for (const Number& number : numbers) {
        const unsigned int before = value_of(stream, number.get);
        EXPECT_EQ(((*stream).*number.put)(number.refused), DISP_E_EXCEPTION);
        const LastError error = last_error();
        EXPECT_NE(error.description.find(number.name), std::wstring::npos) << "the text names the setting";
        EXPECT_NE(error.description.find(std::to_wstring(number.refused - 1)), std::wstring::npos) << "and the range";
        EXPECT_EQ(error.source, L"VexKamCOMWrapper.VexStreamRaw.1");
        EXPECT_TRUE(error.interface_id == __uuidof(IVexStreamRaw));
        EXPECT_EQ(value_of(stream, number.get), before);
    }
}

struct Switch {
    HRESULT (STDMETHODCALLTYPE IVexStreamRaw::*get)(VARIANT_BOOL*);
    HRESULT (STDMETHODCALLTYPE IVexStreamRaw::*put)(VARIANT_BOOL);
};
const Switch switches[] = {
    {&IVexStreamRaw::get_ResendPacketEnable, &IVexStreamRaw::put_ResendPacketEnable},
    {&IVexStreamRaw::get_ForceMissingPacketsAtNextBlockStart, &IVexStreamRaw::put_ForceMissingPacketsAtNextBlockStart},
    {&IVexStreamRaw::get_EnableMissingPacketsList, &IVexStreamRaw::put_EnableMissingPacketsList},
};

TEST_F(RawStream, TakesAnythingButZeroForTrueAndReadsBackOne)
{
    for (const Switch& on_off : switches) {
        EXPECT_EQ(((*stream).*on_off.put)(0), S_OK);
        EXPECT_EQ(value_of(stream, on_off.get), 0);
        for (const VARIANT_BOOL truth : {VARIANT_TRUE, VARIANT_BOOL{1}, VARIANT_BOOL{256}}) {
            EXPECT_EQ(((*stream).*on_off.put)(truth), S_OK);
            EXPECT_EQ(value_of(stream, on_off.get), 1);
        }
        EXPECT_EQ(((*stream).*on_off.get)(nullptr), E_POINTER);
    }
}

TEST_F(RawStream, HandsOutOneStatisticsObject)
{
    const auto first = statistics();
    ASSERT_TRUE(first);
    EXPECT_EQ(statistics().get(), first.get());
    ASSERT_EQ(open(), VexOK);
    EXPECT_EQ(statistics().get(), first.get());
}

TEST_F(RawStream, ItsStatisticsAnswerAFailureWhenItHasGone)
{
    const auto kept = statistics();
    unsigned int count = 7;
    EXPECT_EQ(kept->get_BlocksCount(&count), S_OK);
    stream = {};
    EXPECT_EQ(kept->get_BlocksCount(&count), E_POINTER);
    double rate = 0;
    EXPECT_EQ(kept->get_Bandwidth(&rate), E_POINTER);
    Ref<IVexResult> error;
    EXPECT_EQ(kept->get_LastError(error.put()), E_POINTER);
    EXPECT_EQ(kept->put_TimeoutCountedAsError(1), E_POINTER);
    EXPECT_EQ(kept->Reset(), E_POINTER);
    EXPECT_EQ(last_error().source, L"VexKamCOMWrapper.VexStatistics.1");
}

TEST_F(RawStream, ItsStatisticsHaveThreeSettings)
{
    const auto counted = statistics();
    EXPECT_EQ(value_of(counted, &IVexStatistics::get_TimeoutCountedAsError), 0);
    EXPECT_EQ(value_of(counted, &IVexStatistics::get_AbortCountedAsError), 0);
    for (const VARIANT_BOOL truth : {VARIANT_TRUE, VARIANT_BOOL{2}}) {
        EXPECT_EQ(counted->put_TimeoutCountedAsError(truth), S_OK);
        EXPECT_EQ(value_of(counted, &IVexStatistics::get_TimeoutCountedAsError), 1);
        EXPECT_EQ(counted->put_AbortCountedAsError(truth), S_OK);
        EXPECT_EQ(value_of(counted, &IVexStatistics::get_AbortCountedAsError), 1);
    }
    EXPECT_EQ(counted->put_AbortCountedAsError(0), S_OK);
    EXPECT_EQ(value_of(counted, &IVexStatistics::get_AbortCountedAsError), 0);
    EXPECT_EQ(value_of(counted, &IVexStatistics::get_TimestampSourcePreferred), VexTimestampSourceHardware);
    EXPECT_EQ(counted->put_TimestampSourcePreferred(VexTimestampSourceSoftware), S_OK);
    EXPECT_EQ(value_of(counted, &IVexStatistics::get_TimestampSourcePreferred), VexTimestampSourceSoftware);
    EXPECT_EQ(value_of(counted, &IVexStatistics::get_TimestampSourceEffective), VexTimestampSourceSoftware);
}

TEST_F(RawStream, ItsLastErrorIsAResultOfItsOwnWithItsText)
{
    const auto counted = statistics();
    EXPECT_EQ(value_of(object_of(counted, &IVexStatistics::get_LastError), &IVexResult::get_Code), VexOK);
    ASSERT_EQ(open(), VexOK);
    ASSERT_EQ(retrieve(0).first, VexTimeout);
    ASSERT_EQ(counted->put_TimeoutCountedAsError(VARIANT_TRUE), S_OK);
    EXPECT_EQ(value_of(counted, &IVexStatistics::get_ResultTimeout), 1U);
    EXPECT_EQ(value_of(counted, &IVexStatistics::get_ErrorCount), 1U);
    const auto error = object_of(counted, &IVexStatistics::get_LastError);
    ASSERT_TRUE(error);
    EXPECT_EQ(references(error.get()), 1U);
    EXPECT_EQ(value_of(error, &IVexResult::get_Code), VexTimeout);
    EXPECT_NE(text_of(error, &IVexResult::get_Description).find(L"127.0.0.1"), std::wstring::npos);
    EXPECT_NE(object_of(counted, &IVexStatistics::get_LastError).get(), error.get());
    EXPECT_EQ(counted->Reset(), S_OK);
    EXPECT_EQ(value_of(counted, &IVexStatistics::get_ErrorCount), 0U);
    EXPECT_EQ(value_of(object_of(counted, &IVexStatistics::get_LastError), &IVexResult::get_Code), VexOK);
}

TEST_F(RawStream, WorksForLateBoundClients)
{
    LateBound script(stream.get());
    Variant value;
    ASSERT_EQ(script.put(L"PacketTimeout", Variant(77)), S_OK);
    ASSERT_EQ(script.get(L"PacketTimeout", value), S_OK);
    EXPECT_EQ(value->ulVal, 77U);
    EXPECT_EQ(script.put(L"PacketTimeout", Variant(0)), DISP_E_EXCEPTION);
    EXPECT_EQ(script.source(), L"VexKamCOMWrapper.VexStreamRaw.1");
    EXPECT_NE(script.description().find(L"1 to 60000 ms"), std::wstring::npos);
    ASSERT_EQ(script.get(L"Statistics", value), S_OK);
    ASSERT_EQ(value.type(), VT_DISPATCH);
    LateBound counted(value->pdispVal);
    Variant zero;
    ASSERT_EQ(counted.get(L"ImagesCount", zero), S_OK);
    EXPECT_EQ(zero->ulVal, 0U);
    ASSERT_EQ(counted.put(L"TimeoutCountedAsError", Variant(-1)), S_OK);
    ASSERT_EQ(counted.get(L"TimeoutCountedAsError", zero), S_OK);
    EXPECT_EQ(zero->boolVal, 1);
    ASSERT_EQ(counted.call(L"Reset", {}), S_OK);
}

TEST_F(RawStream, CountsTheImagesOfACamera)
{
    CameraControl control;
    control.connect(address);
    ASSERT_EQ(open(), VexOK);
    control.send_to(stream.get());
    const auto buffer = new_buffer();
    control.execute(L"AcquisitionStart");
    constexpr unsigned int images = 5;
    for (unsigned int i = 0; i < images; ++i) {
        ASSERT_EQ(code_of([&](IVexResult** result) { return stream->QueueBuffer(buffer.get(), result); }), VexOK);
        ASSERT_EQ(retrieve(ample), (std::pair{VexOK, VexOK}));
    }
    control.execute(L"AcquisitionStop");
    const auto counted = statistics();
    EXPECT_EQ(value_of(counted, &IVexStatistics::get_ImagesCount), images);
    EXPECT_EQ(value_of(counted, &IVexStatistics::get_BlocksCount), images);
    EXPECT_GE(value_of(counted, &IVexStatistics::get_BytesCount), images * CameraControl::image_bytes);
    EXPECT_GT(value_of(counted, &IVexStatistics::get_AcquisitionRateAverage), 0);
    EXPECT_GT(value_of(counted, &IVexStatistics::get_BandwidthAverage), 0);
    EXPECT_EQ(value_of(counted, &IVexStatistics::get_TimestampSourceEffective), VexTimestampSourceHardware);
}

}  // namespace
