// What a pipeline tells connected clients of its buffers.
#include <functional>
#include <vector>

#include "tests/com/streaming/pipeline_client.h"

namespace {

using namespace client;

class PipelineEvents : public PipelineClient {
protected:
    void SetUp() override
    {
        ASSERT_EQ(open(stream.get()), VexOK);
        ASSERT_EQ(pipeline->put_StreamBase(stream.get()), S_OK);
        ASSERT_EQ(pipeline->put_BufferSize(size), S_OK);
        ASSERT_EQ(pipeline->put_BufferCount(3), S_OK);
        listen();
    }

    unsigned int size = 1234;

    void listen()
    {
        sink = Sink::create(__uuidof(_IVexPipelineEvents), [this](DISPID event, const DISPPARAMS& parameters) {
            note(event, parameters);
            return S_OK;
        });
        cookie = advise(pipeline.get(), __uuidof(_IVexPipelineEvents), sink.get());
        ASSERT_NE(cookie, 0U);
    }
    void note(DISPID event, const DISPPARAMS& parameters)
    {
        ASSERT_EQ(parameters.cArgs, 1U);
        ASSERT_EQ(parameters.rgvarg[0].vt, VT_DISPATCH);
        const auto buffer = query<IVexBuffer>(parameters.rgvarg[0].pdispVal);
        ASSERT_TRUE(buffer);
        EXPECT_EQ(value_of(buffer, &IVexBuffer::get_Size), size);
        (event == 1 ? created : deleted).push_back(buffer.get());
        events.push_back(event);
        const std::function<void()> copy = then;  // it may set another one
        if (copy) {
            copy();
        }
    }

    Ref<Sink> sink;
    DWORD cookie = 0;
    std::vector<DISPID> events;
    std::vector<IVexBuffer*> created;  // without references: the objects stay by themselves
    std::vector<IVexBuffer*> deleted;
    std::function<void()> then;
};

TEST_F(PipelineEvents, TellOfEachBufferThatIsMade)
{
    EXPECT_TRUE(events.empty());
    ASSERT_EQ(start(), VexOK);
    EXPECT_EQ(events, (std::vector<DISPID>{1, 1, 1}));
    ASSERT_EQ(pipeline->put_BufferCount(4), S_OK);
    EXPECT_EQ(events.size(), 4U);
    EXPECT_TRUE(sink->came_plain());
    for (IVexBuffer* const buffer : created) {
        EXPECT_EQ(references(buffer), 1U) << "alive without the client's reference";
        EXPECT_EQ(value_of(buffer, &IVexBuffer::get_Size), size);
    }
    EXPECT_NE(created[0], created[1]);
}

TEST_F(PipelineEvents, TellOfEachBufferThatGoes)
{
    ASSERT_EQ(start(), VexOK);
    ASSERT_EQ(stop(), VexOK);
    EXPECT_TRUE(deleted.empty());
    ASSERT_EQ(pipeline->put_BufferCount(1), S_OK);
    EXPECT_EQ(deleted.size(), 2U);
    ASSERT_EQ(reset(), VexOK);
    EXPECT_EQ(deleted.size(), 3U);
    unsigned int gone = 0;
    for (IVexBuffer* const buffer : deleted) {
        EXPECT_EQ(references(buffer), 1U);
        EXPECT_EQ(buffer->get_Size(&gone), E_POINTER);  // whole in the event, and not any more
    }
}

TEST_F(PipelineEvents, TellOfTheBuffersThatGoWithAnAssignment)
{
    ASSERT_EQ(start(), VexOK);
    ASSERT_EQ(pipeline->put_StreamBase(nullptr), S_OK);
    EXPECT_EQ(events, (std::vector<DISPID>{1, 1, 1, 2, 2, 2}));
}

TEST_F(PipelineEvents, AreNotFiredWhenNobodyOwnsThePipeline)
{
    ASSERT_EQ(start(), VexOK);
    events.clear();
    pipeline = {};
    EXPECT_TRUE(events.empty());
    EXPECT_EQ(value_of(stream, &IVexStream::get_QueuedBufferCount), 0U);
    EXPECT_EQ(sink->references(), 1U);  // let go of, too
}

TEST_F(PipelineEvents, AreNotFiredToAClientThatHasGone)
{
    EXPECT_EQ(unadvise(pipeline.get(), __uuidof(_IVexPipelineEvents), cookie), S_OK);
    ASSERT_EQ(start(), VexOK);
    EXPECT_TRUE(events.empty());
}

TEST_F(PipelineEvents, MayUseThePipeline)
{
    then = [&] { EXPECT_EQ(value_of(pipeline, &IVexPipeline::get_BufferCount), 3U); };
    ASSERT_EQ(start(), VexOK);
    EXPECT_EQ(events.size(), 3U);
    then = [&] { EXPECT_EQ(stop(), VexOK); };
    ASSERT_EQ(pipeline->put_BufferCount(5), S_OK);
    EXPECT_EQ(is_started(), 0);
}

TEST_F(PipelineEvents, MayAssignAnotherStream)
{
    const auto other = create<IVexStream>(L"VexKamCOMWrapper.VexStream.1");
    ASSERT_EQ(open(other.get()), VexOK);
    then = [&] {
        then = {};
        EXPECT_EQ(pipeline->put_StreamBase(other.get()), S_OK);
        size = value_of(pipeline, &IVexPipeline::get_BufferSize);  // a new pipeline's
    };
    EXPECT_EQ(start(), VexAborted);
    EXPECT_EQ(events, (std::vector<DISPID>{1, 2}));
    EXPECT_EQ(value_of(stream, &IVexStream::get_QueuedBufferCount), 0U);
    EXPECT_EQ(is_started(), 0);
    EXPECT_EQ(start(), VexOK);

    // while another assignment is under way: the latest holds
    then = [&] {
        then = {};
        EXPECT_EQ(pipeline->put_StreamBase(stream.get()), S_OK);
    };
    EXPECT_EQ(pipeline->put_StreamBase(nullptr), S_OK);
    EXPECT_EQ(object_of(pipeline, &IVexPipeline::get_StreamBase).get(), query<IVexStreamBase>(stream.get()).get());
    EXPECT_EQ(is_started(), 0);
    EXPECT_EQ(start(), VexOK);
}

TEST_F(PipelineEvents, MayReleaseThePipeline)
{
    then = [&] {
        then = {};
        pipeline = {};
    };
    IVexPipeline* const started = pipeline.get();
    EXPECT_EQ(code_of([&](IVexResult** result) { return started->Start(result); }), VexAborted);
    EXPECT_FALSE(pipeline);
    EXPECT_EQ(sink->references(), 1U);
    EXPECT_EQ(value_of(stream, &IVexStream::get_QueuedBufferCount), 0U);
}

TEST_F(PipelineEvents, AreTheOnesThatScriptHostsFind)
{
    Ref<IProvideClassInfo2> info = query<IProvideClassInfo2>(pipeline.get());
    ASSERT_TRUE(info);
    GUID events_id{};
    ASSERT_EQ(info->GetGUID(GUIDKIND_DEFAULT_SOURCE_DISP_IID, &events_id), S_OK);
    EXPECT_TRUE(events_id == __uuidof(_IVexPipelineEvents));
}

}  // namespace
