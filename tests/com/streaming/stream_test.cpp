// VexStream as clients use it, against a software camera.
#include <array>
#include <cstring>
#include <vector>

#include "tests/com/devices/camera_client.h"

namespace {

using namespace client;

constexpr unsigned int ample = 10'000;  // ms

class Stream : public CameraTest {
protected:
    [[nodiscard]] VexResultCode open(const wchar_t* ip = address, const wchar_t* local = L"127.0.0.1") const
    {
        return code_of([&](IVexResult** result) { return stream->OpenUnicast(Text(ip), 0, 0, Text(local), result); });
    }
    [[nodiscard]] VexResultCode close() const { return code_of(stream, &IVexStream::Close); }
    [[nodiscard]] VexResultCode queue(IVexBuffer* buffer) const
    {
        return code_of([&](IVexResult** result) { return stream->QueueBuffer(buffer, result); });
    }
    [[nodiscard]] VexResultCode abort() const { return code_of(stream, &IVexStream::AbortQueuedBuffers); }
    [[nodiscard]] unsigned int queued() const { return value_of(stream, &IVexStream::get_QueuedBufferCount); }
    [[nodiscard]] VARIANT_BOOL is_open() const { return value_of(stream, &IVexStream::get_IsOpen); }

    struct Retrieved {
        Ref<IVexBuffer> buffer;
        VexResultCode operation = VexGenericError;
        VexResultCode call = VexGenericError;
    };
    [[nodiscard]] Retrieved retrieve(unsigned int timeout) const
    {
        Retrieved retrieved;
        Ref<IVexResult> operation;
        retrieved.call = code_of([&](IVexResult** result) {
            return stream->RetrieveBuffer(retrieved.buffer.put(), operation.put(), timeout, result);
        });
        EXPECT_TRUE(operation);
        if (operation) {
            EXPECT_EQ(operation->get_Code(&retrieved.operation), S_OK);
        }
        return retrieved;
    }
    [[nodiscard]] static unsigned __int64 id_of(IVexBuffer* buffer) { return value_of(buffer, &IVexBuffer::get_ID); }

    Ref<IVexStream> stream = create<IVexStream>(L"VexKamCOMWrapper.VexStream.1");
};

TEST_F(Stream, IsClosedAtFirst)
{
    EXPECT_EQ(is_open(), 0);
    EXPECT_EQ(queued(), 0U);
    EXPECT_GE(value_of(stream, &IVexStream::get_QueuedBufferMaximum), 16U);
    EXPECT_EQ(value_of(stream, &IVexStream::get_LocalPort), 0U);
    EXPECT_EQ(text_of(stream, &IVexStream::get_LocalIPAddress), L"");
    EXPECT_EQ(text_of(stream, &IVexStream::get_MulticastIPAddress), L"");
    EXPECT_EQ(abort(), VexNotConnected);
    EXPECT_EQ(close(), VexOK);
}

TEST_F(Stream, AnswersTheSharedInterface)
{
    EXPECT_TRUE(query<IVexStreamBase>(stream.get()));
    EXPECT_TRUE(create<IVexStream>(L"VexKamCOMWrapper.VexStream"));
}

TEST_F(Stream, OpensAndCloses)
{
    ASSERT_EQ(open(), VexOK);
    EXPECT_EQ(is_open(), 1);  // not VARIANT_TRUE
    EXPECT_NE(value_of(stream, &IVexStream::get_LocalPort), 0U);
    EXPECT_EQ(text_of(stream, &IVexStream::get_LocalIPAddress), L"127.0.0.1");
    EXPECT_EQ(open(), VexStateError);
    EXPECT_EQ(close(), VexOK);
    EXPECT_EQ(is_open(), 0);
}

TEST_F(Stream, TakesANullLocalAddressForAnEmptyOne)
{
    ASSERT_EQ(open(address, nullptr), VexOK);
    EXPECT_EQ(text_of(stream, &IVexStream::get_LocalIPAddress), L"127.0.0.1");
    const auto port = value_of(stream, &IVexStream::get_LocalPort);  // one that was free a moment ago
    EXPECT_EQ(close(), VexOK);
    EXPECT_EQ(code_of([&](IVexResult** result) {
                  return stream->OpenMulticast(Text(address), Text(L"239.192.40.48"), port, 0, nullptr, result);
              }),
              VexOK);
    EXPECT_EQ(text_of(stream, &IVexStream::get_MulticastIPAddress), L"239.192.40.48");
    EXPECT_EQ(value_of(stream, &IVexStream::get_LocalPort), port);
    VARIANT_BOOL installed = 1;
    EXPECT_EQ(code_of([&](IVexResult** result) {
                  return stream->IsDriverInstalled(Text(address), &installed, nullptr, result);
              }),
              VexOK);
    EXPECT_EQ(installed, 0);
}

TEST_F(Stream, ReportsBadAddressesInTheResult)
{
    EXPECT_EQ(open(L"camera"), VexInvalidParameter);
    EXPECT_EQ(open(address, L"here"), VexInvalidParameter);
    EXPECT_EQ(code_of([&](IVexResult** result) {
                  return stream->OpenMulticast(Text(address), Text(L"10.0.0.1"), 45048, 0, nullptr, result);
              }),
              VexInvalidParameter);
    EXPECT_EQ(is_open(), 0);
}

TEST_F(Stream, RetrievalThatTimesOutGivesNoBufferAndBothResults)
{
    ASSERT_EQ(open(), VexOK);
    const Retrieved retrieved = retrieve(50);
    EXPECT_FALSE(retrieved.buffer);
    EXPECT_EQ(retrieved.call, VexTimeout);
    EXPECT_EQ(retrieved.operation, VexTimeout);
}

TEST_F(Stream, RetrievalOverwritesTheOutParameterWithNull)
{
    ASSERT_EQ(open(), VexOK);
    auto* stale = reinterpret_cast<IVexBuffer*>(static_cast<INT_PTR>(0x1234));
    Ref<IVexResult> operation;
    EXPECT_EQ(code_of([&](IVexResult** result) { return stream->RetrieveBuffer(&stale, operation.put(), 0, result); }),
              VexTimeout);
    EXPECT_EQ(stale, nullptr);
}

TEST_F(Stream, AbortedBuffersComeBackThroughOneObject)
{
    ASSERT_EQ(open(), VexOK);
    std::array<Ref<IVexBuffer>, 3> buffers;
    for (unsigned int i = 0; i < buffers.size(); ++i) {
        buffers[i] = new_buffer();
        ASSERT_EQ(alloc(buffers[i].get(), 100), VexOK);
        ASSERT_EQ(buffers[i]->put_ID(10 + i), S_OK);
        const ULONG before = references(buffers[i].get());
        EXPECT_EQ(queue(buffers[i].get()), VexOK);
        // nothing is kept of the client's object
        EXPECT_EQ(references(buffers[i].get()), before);
    }
    EXPECT_EQ(queue(buffers[0].get()), VexStateError);
    EXPECT_EQ(queued(), 3U);
    EXPECT_EQ(abort(), VexOK);
    Ref<IVexBuffer> shown;
    for (unsigned int i = 0; i < buffers.size(); ++i) {
        const Retrieved retrieved = retrieve(0);
        EXPECT_EQ(retrieved.call, VexOK);
        EXPECT_EQ(retrieved.operation, VexAborted);
        ASSERT_TRUE(retrieved.buffer);
        EXPECT_EQ(id_of(retrieved.buffer.get()), 10 + i);
        EXPECT_NE(retrieved.buffer.get(), buffers[i].get());
        if (shown) {
            EXPECT_EQ(retrieved.buffer.get(), shown.get());
        }
        shown = retrieved.buffer;
    }
    EXPECT_EQ(queued(), 0U);
    // re-pointed by each retrieval
    EXPECT_EQ(id_of(shown.get()), 12U);
}

TEST_F(Stream, ABufferThatIsReleasedWhileQueuedLeavesTheQueue)
{
    ASSERT_EQ(open(), VexOK);
    auto buffer = new_buffer();
    ASSERT_EQ(queue(buffer.get()), VexOK);
    buffer = {};
    EXPECT_EQ(queued(), 0U);
    EXPECT_EQ(abort(), VexOK);
    EXPECT_EQ(retrieve(0).call, VexTimeout);
}

TEST_F(Stream, ShowsNothingOfABufferThatTheClientReleased)
{
    ASSERT_EQ(open(), VexOK);
    auto buffer = new_buffer();
    ASSERT_EQ(alloc(buffer.get(), 100), VexOK);
    ASSERT_EQ(queue(buffer.get()), VexOK);
    ASSERT_EQ(abort(), VexOK);
    const Retrieved retrieved = retrieve(0);
    ASSERT_TRUE(retrieved.buffer);
    const auto image = object_of(retrieved.buffer, &IVexBuffer::get_Image);
    ASSERT_TRUE(image);
    buffer = {};
    unsigned int size = 0;
    EXPECT_EQ(retrieved.buffer->get_Size(&size), E_POINTER);
    EXPECT_EQ(image->get_Width(&size), E_POINTER);
    // the next retrieval shows its buffer through the same object
    buffer = new_buffer();
    ASSERT_EQ(queue(buffer.get()), VexOK);
    ASSERT_EQ(abort(), VexOK);
    EXPECT_TRUE(retrieve(0).buffer);
    EXPECT_EQ(retrieved.buffer->get_Size(&size), S_OK);
}

TEST_F(Stream, RefusesWhatIsNoBuffer)
{
    ASSERT_EQ(open(), VexOK);
    Ref<IVexResult> result;
    EXPECT_EQ(stream->QueueBuffer(nullptr, result.put()), E_POINTER);
}

TEST_F(Stream, FlushesItsPackets)
{
    EXPECT_EQ(code_of(stream, &IVexStream::FlushPacketQueue), VexNotConnected);
    ASSERT_EQ(open(), VexOK);
    EXPECT_EQ(code_of(stream, &IVexStream::FlushPacketQueue), VexOK);
}

TEST_F(Stream, TellsThatNoDriverIsInstalled)
{
    VARIANT_BOOL installed = VARIANT_TRUE;
    EXPECT_EQ(code_of([&](IVexResult** result) {
                  return stream->IsDriverInstalled(Text(address), &installed, Text(L""), result);
              }),
              VexOK);
    EXPECT_EQ(installed, 0);
    EXPECT_EQ(code_of([&](IVexResult** result) {
                  return stream->IsDriverInstalled(Text(L"camera"), &installed, nullptr, result);
              }),
              VexInvalidParameter);
}

TEST_F(Stream, HandsOutOneParameterArray)
{
    const auto get = [&](IVexGenParameterArray** out) { return stream->get_Parameters(out); };
    const auto parameters = object_of<IVexGenParameterArray>(get);
    ASSERT_TRUE(parameters);
    EXPECT_EQ(object_of<IVexGenParameterArray>(get).get(), parameters.get());
    EXPECT_EQ(
        code_of([&](IVexResult** result) { return parameters->SetIntegerValue(Text(L"RequestTimeout"), 777, result); }),
        VexOK);
    __int64 value = 0;
    EXPECT_EQ(code_of([&](IVexResult** result) {
                  return parameters->GetIntegerValue(Text(L"RequestTimeout"), &value, result);
              }),
              VexOK);
    EXPECT_EQ(value, 777);
}

/// With the camera connected and its images small.
class Streaming : public Stream {
protected:
    void SetUp() override
    {
        ASSERT_EQ(code_of([&](IVexResult** result) {
                      return device->ConnectString(Text(address), VexAccessControl, result);
                  }),
                  VexOK);
        ASSERT_EQ(device->get_GenParameters(features.put()), S_OK);
        set(L"Width", 64);
        set(L"Height", 48);
        ASSERT_EQ(open(), VexOK);
        const auto port = value_of(stream, &IVexStream::get_LocalPort);
        ASSERT_EQ(code_of([&](IVexResult** result) {
                      return device->SetStreamDestination(Text(L"127.0.0.1"), port, 0, result);
                  }),
                  VexOK);
    }
    void TearDown() override { execute(L"AcquisitionStop"); }

    void set(const wchar_t* name, __int64 value) const
    {
        EXPECT_EQ(code_of([&](IVexResult** result) { return features->SetIntegerValue(Text(name), value, result); }),
                  VexOK);
    }
    void execute(const wchar_t* name) const
    {
        EXPECT_EQ(code_of([&](IVexResult** result) { return features->ExecuteCommand(Text(name), result); }), VexOK);
    }
    void start() const { execute(L"AcquisitionStart"); }

    Ref<IVexDevice> device = create<IVexDevice>(L"VexKamCOMWrapper.VexDevice.1");
    Ref<IVexGenParameterArray> features;
};

TEST_F(Streaming, RetrievesImagesInTheirOrderThroughOneObject)
{
    std::array<Ref<IVexBuffer>, 4> buffers;
    for (unsigned int i = 0; i < buffers.size(); ++i) {
        buffers[i] = new_buffer();
        ASSERT_EQ(alloc(buffers[i].get(), 64 * 48), VexOK);
        ASSERT_EQ(buffers[i]->put_ID(i), S_OK);
        ASSERT_EQ(queue(buffers[i].get()), VexOK);
    }
    start();
    unsigned short last = 0;
    IVexBuffer* shown = nullptr;
    for (int i = 0; i < 20; ++i) {
        const Retrieved retrieved = retrieve(ample);
        ASSERT_EQ(retrieved.call, VexOK);
        ASSERT_EQ(retrieved.operation, VexOK);
        ASSERT_TRUE(retrieved.buffer);
        shown = shown != nullptr ? shown : retrieved.buffer.get();
        EXPECT_EQ(retrieved.buffer.get(), shown);
        const auto block = value_of(retrieved.buffer, &IVexBuffer::get_BlockID);
        EXPECT_GT(block, last);
        last = block;
        const auto image = image_of(retrieved.buffer.get());
        ASSERT_TRUE(image);
        EXPECT_EQ(value_of(image, &IVexImage::get_Width), 64U);
        EXPECT_EQ(value_of(image, &IVexImage::get_Height), 48U);
        const unsigned __int64 id = id_of(retrieved.buffer.get());
        ASSERT_LT(id, buffers.size());
        EXPECT_EQ(value_of(buffers[static_cast<std::size_t>(id)], &IVexBuffer::get_AcquiredSize), 64U * 48U);
        ASSERT_EQ(queue(buffers[static_cast<std::size_t>(id)].get()), VexOK);
    }
    const auto parameters = object_of(stream, &IVexStream::get_Parameters);
    __int64 count = 0;
    EXPECT_EQ(
        code_of([&](IVexResult** result) { return parameters->GetIntegerValue(Text(L"BlockCount"), &count, result); }),
        VexOK);
    EXPECT_GE(count, 20);
    EXPECT_EQ(close(), VexOK);
}

TEST_F(Streaming, ReportsATooSmallBuffer)
{
    const auto buffer = new_buffer();
    std::vector<unsigned char> memory(100);
    ASSERT_EQ(code_of([&](IVexResult** result) {
                  return buffer->Attach(reinterpret_cast<INT_PTR>(memory.data()), 100, result);
              }),
              VexOK);
    ASSERT_EQ(queue(buffer.get()), VexOK);
    start();
    const Retrieved retrieved = retrieve(ample);
    EXPECT_EQ(retrieved.call, VexOK);
    EXPECT_EQ(retrieved.operation, VexBufferTooSmall);
    EXPECT_TRUE(retrieved.buffer);
    EXPECT_EQ(close(), VexOK);
}

TEST_F(Streaming, WorksLateBound)
{
    LateBound script(stream.get());
    const auto buffer = new_buffer();
    ASSERT_EQ(alloc(buffer.get(), 64 * 48), VexOK);
    Variant value;
    ASSERT_EQ(script.call(L"QueueBuffer", {Variant(static_cast<IDispatch*>(buffer.get()))}, &value), S_OK);
    ASSERT_EQ(LateBound(value->pdispVal).get(L"Code", value), S_OK);
    EXPECT_EQ(value.text(), L"0");
    ASSERT_EQ(script.get(L"QueuedBufferCount", value), S_OK);
    EXPECT_EQ(value.text(), L"1");
    start();
    // a script's variables take the buffer and the operation's result
    Variant shown;
    Variant operation;
    ASSERT_EQ(
        script.call(L"RetrieveBuffer",
                    {Variant::by_reference(shown), Variant::by_reference(operation), Variant(static_cast<int>(ample))},
                    &value),
        S_OK);
    ASSERT_EQ(LateBound(value->pdispVal).get(L"Code", value), S_OK);
    EXPECT_EQ(value.text(), L"0");
    ASSERT_EQ(shown.type(), VT_DISPATCH);
    ASSERT_EQ(operation.type(), VT_DISPATCH);
    ASSERT_EQ(LateBound(shown->pdispVal).get(L"AcquiredSize", value), S_OK);
    EXPECT_EQ(value.text(), L"3072");
    ASSERT_EQ(LateBound(operation->pdispVal).get(L"IsOK", value), S_OK);
    EXPECT_EQ(value->boolVal, 1);
    // again, when nothing comes: the variables are emptied
    ASSERT_EQ(script.call(L"Close", {}, &value), S_OK);
    ASSERT_EQ(script.call(L"RetrieveBuffer",
                          {Variant::by_reference(shown), Variant::by_reference(operation), Variant(0)}, &value),
              S_OK);
    EXPECT_EQ(shown.type(), VT_DISPATCH);
    EXPECT_EQ(shown->pdispVal, nullptr);
    ASSERT_EQ(LateBound(operation->pdispVal).get(L"IsOK", value), S_OK);
    EXPECT_EQ(value->boolVal, 0);
    Variant installed;
    ASSERT_EQ(
        script.call(L"IsDriverInstalled", {Variant(address), Variant::by_reference(installed), Variant(L"")}, &value),
        S_OK);
    EXPECT_EQ(installed->boolVal, 0);
}

TEST_F(Streaming, CanBeReleasedWhileImagesArrive)
{
    const auto buffer = new_buffer();
    ASSERT_EQ(queue(buffer.get()), VexOK);
    start();
    const Retrieved retrieved = retrieve(ample);
    ASSERT_EQ(retrieved.operation, VexOK);
    ASSERT_EQ(queue(buffer.get()), VexOK);
    stream = {};
    // the buffer is the client's again
    EXPECT_EQ(alloc(buffer.get(), 10), VexOK);
}

}  // namespace
