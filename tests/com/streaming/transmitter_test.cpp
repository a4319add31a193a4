// VexTransmitterRaw as clients use it; a socket of the test receives what it sends.
#include <bit>
#include <cstring>
#include <functional>
#include <numeric>
#include <vector>

#include "tests/com/streaming/transmitter_fixture.h"

namespace {

using namespace transmitter_client;

/// Another module's object that answers for a buffer.
class ForeignBuffer final : public EarlyBoundOnly<IDispatch> {
public:
    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID, void** object) noexcept override
    {
        *object = this;
        return S_OK;
    }
    ULONG STDMETHODCALLTYPE AddRef() noexcept override { return 1; }
    ULONG STDMETHODCALLTYPE Release() noexcept override { return 1; }
};

/// What a failing call left in the thread's error information.
struct Told {
    HRESULT code = S_OK;
    std::wstring source;
    std::wstring text;
    IID interface_id{};
};

Told told_by(const std::function<HRESULT()>& call)
{
    SetErrorInfo(0, nullptr);
    Told told;
    told.code = call();
    Ref<IErrorInfo> info;
    if (GetErrorInfo(0, info.put()) == S_OK) {
        BSTR text = nullptr;
        info->GetSource(&text);
        told.source = take(text);
        info->GetDescription(&text);
        told.text = take(text);
        info->GetGUID(&told.interface_id);
    }
    return told;
}

TEST_F(Transmitter, IsClosedAtFirst)
{
    EXPECT_EQ(value_of(transmitter, &IVexTransmitterRaw::get_IsOpen), 0);
    EXPECT_EQ(text_of(transmitter, &IVexTransmitterRaw::get_DestinationIPAddress), L"");
    EXPECT_EQ(text_of(transmitter, &IVexTransmitterRaw::get_SourceIPAddress), L"");
    EXPECT_EQ(value_of(transmitter, &IVexTransmitterRaw::get_DestinationPort), 0U);
    EXPECT_EQ(value_of(transmitter, &IVexTransmitterRaw::get_SourcePort), 0U);
    EXPECT_EQ(value_of(transmitter, &IVexTransmitterRaw::get_PacketSize), 1440U);
    EXPECT_EQ(value_of(transmitter, &IVexTransmitterRaw::get_MaxPayloadThroughput), 0.0F);
    EXPECT_EQ(value_of(transmitter, &IVexTransmitterRaw::get_SamplingTime), 0U);
    EXPECT_EQ(close(), VexOK);
    EXPECT_EQ(abort(1, 0), VexOK);
    EXPECT_TRUE(create<IVexTransmitterRaw>(L"VexKamCOMWrapper.VexTransmitterRaw"));
}

TEST_F(Transmitter, OpenTellsItsEndpoints)
{
    ASSERT_EQ(open(), VexOK);
    EXPECT_EQ(value_of(transmitter, &IVexTransmitterRaw::get_IsOpen), 1) << "true is 1";
    EXPECT_EQ(text_of(transmitter, &IVexTransmitterRaw::get_DestinationIPAddress), L"127.0.0.1");
    EXPECT_EQ(value_of(transmitter, &IVexTransmitterRaw::get_DestinationPort), host.port());
    EXPECT_EQ(text_of(transmitter, &IVexTransmitterRaw::get_SourceIPAddress), L"127.0.0.1");
    EXPECT_NE(value_of(transmitter, &IVexTransmitterRaw::get_SourcePort), 0U);
    EXPECT_EQ(open(), VexStateError) << "open already";
    EXPECT_EQ(close(), VexOK);
    EXPECT_EQ(value_of(transmitter, &IVexTransmitterRaw::get_IsOpen), 0);
}

TEST_F(Transmitter, ANullSourceAddressIsAnEmptyOne)
{
    ASSERT_EQ(open(static_cast<BSTR>(nullptr)), VexOK);
    EXPECT_EQ(text_of(transmitter, &IVexTransmitterRaw::get_SourceIPAddress), L"127.0.0.1") << "the system's choice";
    ASSERT_EQ(close(), VexOK);
    ASSERT_EQ(open(Text(L"")), VexOK);
    EXPECT_EQ(text_of(transmitter, &IVexTransmitterRaw::get_SourceIPAddress), L"127.0.0.1");
}

TEST_F(Transmitter, OpensFromTheSourcePortThatIsNamed)
{
    const std::uint16_t free_port = HostSocket().port();
    ASSERT_EQ(code_of([&](IVexResult** result) {
                  return transmitter->Open(Text(L"127.0.0.1"), host.port(), Text(L"127.0.0.1"), free_port, 1, result);
              }),
              VexOK);
    EXPECT_EQ(value_of(transmitter, &IVexTransmitterRaw::get_SourcePort), free_port);
    const auto buffer = raw_buffer(10);
    ASSERT_EQ(queue(buffer.get()), VexOK);
    const auto packet = host.receive();
    ASSERT_TRUE(packet);
    EXPECT_EQ(packet->source.port, free_port);
}

TEST_F(Transmitter, OpenFailsWithWordsForWhatIsNoAddress)
{
    const auto result = object_of<IVexResult>(
        [&](IVexResult** out) { return transmitter->Open(Text(L"nowhere"), 5000, nullptr, 0, 0, out); });
    EXPECT_EQ(value_of(result, &IVexResult::get_Code), VexInvalidParameter);
    EXPECT_NE(text_of(result, &IVexResult::get_Description).find(L"nowhere"), std::wstring::npos);
    EXPECT_EQ(code_of([&](IVexResult** out) { return transmitter->Open(nullptr, 5000, nullptr, 0, 0, out); }),
              VexInvalidParameter);
}

TEST_F(Transmitter, SendsAnImage)
{
    const auto buffer = new_image(3, 2, VexPixelMono8, {1, 2, 3, 4, 5, 6});
    ASSERT_EQ(open(), VexOK);
    ASSERT_EQ(queue(buffer.get()), VexOK);
    const auto packets = receive_block(host);
    ASSERT_EQ(packets.size(), 3U);
    EXPECT_EQ(packets[0].block_id, 1U);
    EXPECT_EQ(number_at(packets[0].payload, 12, 4), 0x01080001U);
    EXPECT_EQ(number_at(packets[0].payload, 16, 4), 3U);
    EXPECT_EQ(data_of(packets), (std::vector<std::uint8_t>{1, 2, 3, 4, 5, 6}));
}

TEST_F(Transmitter, PacketSizeAndCountersWork)
{
    ASSERT_EQ(transmitter->put_PacketSize(1000), S_OK);
    EXPECT_EQ(value_of(transmitter, &IVexTransmitterRaw::get_PacketSize), 1000U);
    const auto buffer = raw_buffer(2000);
    ASSERT_EQ(load({buffer.get()}), VexOK);
    ASSERT_EQ(open(), VexOK);
    for (int i = 0; i < 3; ++i) {
        ASSERT_EQ(retrieve(ample).code, VexOK);
        ASSERT_EQ(queue(buffer.get()), VexOK);
        EXPECT_EQ(receive_block(host).size(), 2U + 3U) << "964 bytes a packet";
    }
    ASSERT_EQ(retrieve(ample).code, VexOK);
    EXPECT_EQ(blocks(), 3U);
    EXPECT_EQ(value_of(transmitter, &IVexTransmitterRaw::get_PayloadBytesTransmitted), 6000U);
    EXPECT_GT(value_of(transmitter, &IVexTransmitterRaw::get_AveragePayloadThroughput), 0.0F);
    EXPECT_GT(value_of(transmitter, &IVexTransmitterRaw::get_AverageTransmissionRate), 0.0F);
    EXPECT_GT(value_of(transmitter, &IVexTransmitterRaw::get_InstantaneousPayloadThroughput), 0.0F);
    EXPECT_GT(value_of(transmitter, &IVexTransmitterRaw::get_InstantaneousTransmissionRate), 0.0F);
    EXPECT_TRUE(await([&] { return value_of(transmitter, &IVexTransmitterRaw::get_SamplingTime) > 0; }));
    EXPECT_EQ(transmitter->ResetStats(), S_OK);
    EXPECT_EQ(blocks(), 0U);
    EXPECT_EQ(value_of(transmitter, &IVexTransmitterRaw::get_PayloadBytesTransmitted), 0U);
    EXPECT_EQ(value_of(transmitter, &IVexTransmitterRaw::get_InstantaneousTransmissionRate), 0.0F);
}

TEST_F(Transmitter, ARefusedSettingIsErrorInformation)
{
    const Told size = told_by([&] { return transmitter->put_PacketSize(575); });
    EXPECT_EQ(size.code, DISP_E_EXCEPTION);
    EXPECT_EQ(size.source, prog_id);
    EXPECT_EQ(size.interface_id, __uuidof(IVexTransmitterRaw));
    EXPECT_NE(size.text.find(L"576"), std::wstring::npos) << "names the range";
    const Told throughput = told_by([&] { return transmitter->put_MaxPayloadThroughput(-1.0F); });
    EXPECT_EQ(throughput.code, DISP_E_EXCEPTION);
    EXPECT_EQ(throughput.interface_id, __uuidof(IVexTransmitterRaw));
    EXPECT_NE(throughput.text, L"");
    EXPECT_EQ(value_of(transmitter, &IVexTransmitterRaw::get_PacketSize), 1440U);
    EXPECT_EQ(value_of(transmitter, &IVexTransmitterRaw::get_MaxPayloadThroughput), 0.0F);

    LateBound late(transmitter.get());
    EXPECT_EQ(late.put(L"PacketSize", Variant(65001)), DISP_E_EXCEPTION);
    EXPECT_NE(late.description().find(L"65000"), std::wstring::npos);
    EXPECT_EQ(late.source(), prog_id);
    EXPECT_EQ(late.put(L"MaxPayloadThroughput", Variant(-1)), DISP_E_EXCEPTION);
    EXPECT_NE(late.description(), L"");
}

// ---- the pool ----

TEST_F(Transmitter, ANullPoolIsAnEmptyOne)
{
    const auto buffer = raw_buffer(10, 7);
    ASSERT_EQ(load({buffer.get()}), VexOK);
    EXPECT_EQ(load(static_cast<SAFEARRAY*>(nullptr)), VexOK);
    EXPECT_EQ(retrieve().code, VexNoAvailableData) << "the pool is gone";
}

TEST_F(Transmitter, AnEmptyPoolChangesNothing)
{
    const auto buffer = raw_buffer(10, 7);
    ASSERT_EQ(load({buffer.get()}), VexOK);
    EXPECT_EQ(load(std::initializer_list<IUnknown*>{}), VexOK);
    EXPECT_EQ(retrieve().id(), 7U) << "the pool is still there";
}

TEST_F(Transmitter, TheSdkHearsOfANullPoolButNotOfAnEmptyOne)
{
    const auto buffer = raw_buffer(2'500'000);
    ASSERT_EQ(open(), VexOK);
    throttle();
    ASSERT_EQ(queue(buffer.get()), VexOK);
    EXPECT_EQ(load(static_cast<SAFEARRAY*>(nullptr)), VexStateError);
    EXPECT_EQ(load(std::initializer_list<IUnknown*>{}), VexOK);
    EXPECT_EQ(load({buffer.get()}), VexStateError);
}

TEST_F(Transmitter, ThePoolIsAsLargeAsTheArraysUpperBoundSays)
{
    const auto a = raw_buffer(10, 1);
    const auto b = raw_buffer(10, 2);
    const auto c = raw_buffer(10, 3);
    ASSERT_EQ(load({a.get(), b.get(), c.get()}, -1), VexOK);
    EXPECT_EQ(retrieve().id(), 1U);
    EXPECT_EQ(retrieve().id(), 2U);
    EXPECT_EQ(retrieve().code, VexTimeout) << "the upper bound is 1";
    // one that begins above 0 has fewer elements than its upper bound says: those that it has
    ASSERT_EQ(load({a.get(), b.get()}, 1), VexOK);
    EXPECT_EQ(retrieve().id(), 1U);
    EXPECT_EQ(retrieve().id(), 2U);
    EXPECT_EQ(retrieve().code, VexTimeout);
    EXPECT_EQ(load({a.get(), b.get()}, -5), VexOK) << "nothing up to element 0";
    EXPECT_EQ(retrieve().code, VexTimeout) << "as with an empty array";
}

TEST_F(Transmitter, ElementsThatAreNoBuffersAreRefusedWithWords)
{
    const auto buffer = raw_buffer(10, 7);
    ASSERT_EQ(load({buffer.get()}), VexOK);
    ForeignBuffer foreign;
    ForeignObject<IDispatch> stranger;
    const auto system = create<IVexSystem>(L"VexKamCOMWrapper.VexSystem.1");
    const auto image = image_of(buffer.get());
    for (IUnknown* other :
         {static_cast<IUnknown*>(&foreign), static_cast<IUnknown*>(&stranger), static_cast<IUnknown*>(system.get()),
          static_cast<IUnknown*>(image.get()), static_cast<IUnknown*>(nullptr)}) {
        const Array array(objects({buffer.get(), other}));
        Ref<IVexResult> result;
        const Told told = told_by([&] { return transmitter->LoadBufferPool(array.get(), result.put()); });
        EXPECT_EQ(told.code, E_INVALIDARG);
        EXPECT_EQ(told.text, L"Element 1 of the buffers is no VexBuffer");
        EXPECT_FALSE(result);
    }
    const Array numbers(SafeArrayCreateVector(VT_I8, 0, 3));
    Ref<IVexResult> result;
    const Told told = told_by([&] { return transmitter->LoadBufferPool(numbers.get(), result.put()); });
    EXPECT_EQ(told.code, E_INVALIDARG);
    EXPECT_EQ(told.text, L"The buffers must be an array of objects");
    EXPECT_EQ(retrieve().id(), 7U) << "the pool stays as it was";
}

TEST_F(Transmitter, TheSameBufferTwiceIsAFailedResult)
{
    const auto buffer = raw_buffer(10);
    EXPECT_EQ(load({buffer.get(), buffer.get()}), VexInvalidParameter);
}

TEST_F(Transmitter, KeepsNoReferenceToTheBuffersOfThePool)
{
    const auto buffer = raw_buffer(10);
    ASSERT_EQ(load({buffer.get()}), VexOK);
    EXPECT_EQ(references(buffer.get()), 1U);
}

TEST_F(Transmitter, EachRetrievedBufferHasAnObjectOfItsOwn)
{
    const auto first = raw_buffer(10, 1);
    const auto second = raw_buffer(20, 2);
    ASSERT_EQ(load({first.get(), second.get()}), VexOK);
    Retrieved a = retrieve();
    const Retrieved b = retrieve();
    ASSERT_TRUE(a.buffer && b.buffer);
    EXPECT_NE(a.buffer.get(), b.buffer.get());
    EXPECT_NE(a.buffer.get(), first.get());
    EXPECT_EQ(a.id(), 1U);
    EXPECT_EQ(b.id(), 2U);
    EXPECT_EQ(references(a.buffer.get()), 1U);

    // it shows the client's memory, and does not free it
    ASSERT_EQ(put_data(a.buffer.get(), {9, 8, 7, 6, 5, 4, 3, 2, 1, 0}), S_OK);
    a.buffer.reset();
    EXPECT_EQ(data_of(first.get()), (std::vector<unsigned char>{9, 8, 7, 6, 5, 4, 3, 2, 1, 0}));
    ASSERT_EQ(open(), VexOK);
    ASSERT_EQ(queue(b.buffer.get()), VexOK) << "the retrieved object will do for queueing";
    EXPECT_EQ(data_of(receive_block(host)).size(), 20U);
    EXPECT_EQ(retrieve(ample).id(), 2U);
}

TEST_F(Transmitter, WithoutAFreeBufferTheAnswerIsATimeoutAndNothing)
{
    Ref<IVexBuffer> stale = new_buffer();
    IVexBuffer* out = stale.get();
    EXPECT_EQ(code_of([&](IVexResult** result) { return transmitter->RetrieveFreeBuffer(&out, 0, result); }),
              VexNoAvailableData);
    EXPECT_EQ(out, nullptr);
    const auto buffer = raw_buffer(10);
    ASSERT_EQ(load({buffer.get()}), VexOK);
    ASSERT_EQ(retrieve().code, VexOK);
    EXPECT_EQ(retrieve(1).code, VexTimeout);
    Ref<IVexResult> result;
    EXPECT_EQ(transmitter->RetrieveFreeBuffer(nullptr, 0, result.put()), E_POINTER);
}

TEST_F(Transmitter, ABufferOfThePoolMayGoWhileItIsFree)
{
    auto first = raw_buffer(10, 1);
    const auto second = raw_buffer(10, 2);
    ASSERT_EQ(load({first.get(), second.get()}), VexOK);
    first.reset();
    EXPECT_EQ(retrieve().id(), 2U);
    EXPECT_EQ(retrieve().code, VexTimeout);
    // another payload type gives an object another buffer
    ASSERT_EQ(load({second.get()}), VexOK);
    ASSERT_EQ(second->put_PayloadType(VexPayloadTypeImage), S_OK);
    EXPECT_EQ(retrieve().code, VexNoAvailableData);
}

TEST_F(Transmitter, ABufferOfThePoolMayGoWhileItIsQueuedOrSent)
{
    auto current = raw_buffer(2'500'000, 1);
    auto waiting = raw_buffer(2'500'000, 2);
    const auto last = raw_buffer(10, 3);
    ASSERT_EQ(load({current.get(), waiting.get(), last.get()}), VexOK);
    ASSERT_EQ(open(), VexOK);
    throttle();
    ASSERT_EQ(queue(current.get()), VexOK);
    ASSERT_EQ(queue(waiting.get()), VexOK);
    ASSERT_TRUE(host.receive()) << "the first is under way";
    waiting.reset();
    EXPECT_EQ(queued(), 1U);
    current.reset();
    EXPECT_EQ(queued(), 0U);
    EXPECT_EQ(retrieve().id(), 3U);
    EXPECT_EQ(retrieve().code, VexTimeout);
}

TEST_F(Transmitter, ARetrievedObjectOutlivesItsBufferAndAnswersAFailure)
{
    auto buffer = raw_buffer(10);
    ASSERT_EQ(load({buffer.get()}), VexOK);
    const Retrieved shown = retrieve();
    ASSERT_TRUE(shown.buffer);
    buffer.reset();
    unsigned int size = 0;
    EXPECT_EQ(shown.buffer->get_Size(&size), E_POINTER);
    ASSERT_EQ(open(), VexOK);
    Ref<IVexResult> result;
    EXPECT_EQ(transmitter->QueueBuffer(shown.buffer.get(), result.put()), E_POINTER);
}

// ---- queueing and aborting ----

TEST_F(Transmitter, WhatCannotBeQueuedIsRefused)
{
    const auto buffer = raw_buffer(10);
    EXPECT_EQ(queue(buffer.get()), VexStateError) << "closed";
    ASSERT_EQ(open(), VexOK);
    EXPECT_EQ(queue(new_buffer().get()), VexInvalidParameter) << "no memory";
    ForeignBuffer foreign;
    Ref<IVexResult> result;
    EXPECT_EQ(transmitter->QueueBuffer(reinterpret_cast<IVexBuffer*>(&foreign), result.put()), E_INVALIDARG);
    EXPECT_EQ(transmitter->QueueBuffer(nullptr, result.put()), E_POINTER);
    throttle();
    const auto large = raw_buffer(2'500'000);
    ASSERT_EQ(queue(large.get()), VexOK);
    EXPECT_EQ(queue(large.get()), VexStateError) << "queued already";
    EXPECT_EQ(alloc(large.get(), 10), VexStateError) << "held while it is queued";
}

TEST_F(Transmitter, AbortWaitsForTheCurrentBlockWhenTold)
{
    const auto current = raw_buffer(25'000);  // a tenth of a second
    const auto waiting = raw_buffer(25'000);
    ASSERT_EQ(open(), VexOK);
    throttle();
    ASSERT_EQ(queue(current.get()), VexOK);
    ASSERT_EQ(queue(waiting.get()), VexOK);
    ASSERT_TRUE(host.receive()) << "the first is under way";
    // any value but 0 is true
    EXPECT_EQ(abort(2, ample), VexOK);
    EXPECT_EQ(blocks(), 1U);
    EXPECT_EQ(queued(), 0U);
}

TEST_F(Transmitter, AbortCutsTheCurrentBlockOffWhenToldOrWhenItTakesTooLong)
{
    const auto buffer = raw_buffer(2'500'000);  // ten seconds
    ASSERT_EQ(load({buffer.get()}), VexOK);
    ASSERT_EQ(open(), VexOK);
    throttle();
    ASSERT_EQ(queue(buffer.get()), VexOK);
    ASSERT_TRUE(host.receive());
    EXPECT_EQ(abort(0, 0), VexOK);
    EXPECT_EQ(queued(), 0U);
    ASSERT_EQ(retrieve(ample).code, VexOK);
    ASSERT_EQ(queue(buffer.get()), VexOK);
    for (auto packet = host.receive(); packet && parse(packet->bytes).block_id != 2; packet = host.receive()) {
    }
    EXPECT_EQ(abort(1, 20), VexTimeout);
    EXPECT_EQ(queued(), 0U);
    EXPECT_EQ(blocks(), 0U);
}

TEST_F(Transmitter, CanBeReleasedWhileItSends)
{
    const auto buffer = raw_buffer(2'500'000);
    ASSERT_EQ(open(), VexOK);
    throttle();
    ASSERT_EQ(queue(buffer.get()), VexOK);
    ASSERT_TRUE(host.receive());
    transmitter.reset();
    EXPECT_EQ(alloc(buffer.get(), 10), VexOK) << "the buffer is the client's again";
}

}  // namespace
