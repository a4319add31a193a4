// What a class derived from the pipeline hears of its buffers.
#include <functional>
#include <memory>
#include <thread>
#include <vector>

#include "tests/sdk/pipeline/pipeline_fixture.h"

namespace {

using namespace pipeline_test;

/// Outlives the pipeline that writes to it.
struct Heard {
    std::vector<PvBuffer*> created;
    std::vector<PvBuffer*> deleted;
    std::vector<std::thread::id> threads;
    std::function<void()> on_created;
    std::function<void()> on_deleted;
};

class Listening final : public PvPipeline {
public:
    Listening(PvStreamBase* stream, Heard& heard) : PvPipeline(stream), heard_(heard) { SetBufferSize(image_bytes); }
    ~Listening() override { Close(); }

protected:
    void OnBufferCreated(PvBuffer* buffer) override
    {
        EXPECT_EQ(buffer->GetSize(), image_bytes);
        heard_.created.push_back(buffer);
        call(heard_.on_created);
    }
    void OnBufferDeleted(PvBuffer* buffer) override
    {
        EXPECT_EQ(buffer->GetSize(), image_bytes);  // still whole
        heard_.deleted.push_back(buffer);
        call(heard_.on_deleted);
    }

private:
    void call(const std::function<void()>& then) const
    {
        heard_.threads.push_back(std::this_thread::get_id());
        const std::function<void()> copy = then;  // it may set another one, or destroy this object
        if (copy) {
            copy();
        }
    }

    Heard& heard_;
};

class PipelineNotifications : public Streaming {
protected:
    void SetUp() override
    {
        Streaming::SetUp();
        ASSERT_TRUE(pipeline->SetBufferCount(3).IsOK());
    }

    Heard heard;
    std::unique_ptr<Listening> pipeline = std::make_unique<Listening>(&stream, heard);
};

TEST_F(PipelineNotifications, TellEachBufferThatStartMakesOnce)
{
    EXPECT_TRUE(heard.created.empty());
    ASSERT_TRUE(pipeline->Start().IsOK());
    EXPECT_EQ(heard.created.size(), 3U);
    ASSERT_TRUE(pipeline->Stop().IsOK());
    ASSERT_TRUE(pipeline->Start().IsOK());
    EXPECT_EQ(heard.created.size(), 3U);  // the same ones
    EXPECT_TRUE(heard.deleted.empty());
}

TEST_F(PipelineNotifications, TellNothingOfAStartThatIsRefused)
{
    ASSERT_TRUE(stream.Close().IsOK());
    EXPECT_EQ(pipeline->Start().GetCode(), PvResult::NotConnected);
    EXPECT_TRUE(heard.created.empty());
}

TEST_F(PipelineNotifications, TellOfBuffersThatAnotherCountMakesAndDeletes)
{
    ASSERT_TRUE(pipeline->Start().IsOK());
    ASSERT_TRUE(pipeline->SetBufferCount(5).IsOK());
    EXPECT_EQ(heard.created.size(), 5U);
    ASSERT_TRUE(pipeline->Stop().IsOK());
    ASSERT_TRUE(pipeline->SetBufferCount(2).IsOK());
    EXPECT_EQ(heard.deleted.size(), 3U);
}

TEST_F(PipelineNotifications, TellOfBuffersThatResetDeletesWhenItIsStopped)
{
    ASSERT_TRUE(pipeline->Start().IsOK());
    ASSERT_TRUE(pipeline->Reset().IsOK());
    EXPECT_TRUE(heard.deleted.empty());
    ASSERT_TRUE(pipeline->Stop().IsOK());
    ASSERT_TRUE(pipeline->Reset().IsOK());
    EXPECT_EQ(heard.deleted, heard.created);
    ASSERT_TRUE(pipeline->Start().IsOK());
    EXPECT_EQ(heard.created.size(), 6U);
}

TEST_F(PipelineNotifications, TellOfBuffersThatResetDeletesWhenTheStreamHasClosed)
{
    ASSERT_TRUE(pipeline->Start().IsOK());
    ASSERT_TRUE(stream.Close().IsOK());
    ASSERT_EQ(pipeline->RetrieveNextBuffer(&retrieved, ample, &operation_result).GetCode(), PvResult::NotConnected);
    ASSERT_TRUE(pipeline->Reset().IsOK());
    EXPECT_EQ(heard.deleted, heard.created);
}

TEST_F(PipelineNotifications, TellOfAllBuffersAtTheEndThoseOfTheClientIncluded)
{
    ASSERT_TRUE(pipeline->Start().IsOK());
    send_image(1, packets::Bytes(image_bytes, 1));
    ASSERT_TRUE(pipeline->RetrieveNextBuffer(&retrieved, ample, &operation_result).IsOK());
    pipeline.reset();
    EXPECT_EQ(heard.deleted, heard.created);
    EXPECT_EQ(heard.deleted.size(), 3U);
}

TEST_F(PipelineNotifications, AreMadeOnTheThreadThatCalls)
{
    ASSERT_TRUE(pipeline->Start().IsOK());
    ASSERT_TRUE(pipeline->SetBufferCount(1).IsOK());
    for (std::uint64_t id = 1; id <= 6; ++id) {
        send_image(id, packets::Bytes(image_bytes, 1));
        ASSERT_TRUE(pipeline->RetrieveNextBuffer(&retrieved, ample, &operation_result).IsOK());
        ASSERT_TRUE(pipeline->ReleaseBuffer(retrieved).IsOK());
    }
    EXPECT_EQ(heard.deleted.size(), 2U);
    for (const std::thread::id thread : heard.threads) {
        EXPECT_EQ(thread, std::this_thread::get_id());
    }
}

TEST_F(PipelineNotifications, MayUseThePipeline)
{
    heard.on_created = [&] {
        EXPECT_FALSE(pipeline->IsStarted());
        EXPECT_TRUE(pipeline->Stop().IsOK());
        EXPECT_EQ(pipeline->GetBufferCount(), 3U);
    };
    EXPECT_TRUE(pipeline->Start().IsOK());
    EXPECT_TRUE(pipeline->IsStarted());
    heard.on_deleted = [&] { EXPECT_TRUE(pipeline->Reset().IsOK()); };
    EXPECT_TRUE(pipeline->Stop().IsOK());
    EXPECT_TRUE(pipeline->Reset().IsOK());
    EXPECT_EQ(heard.deleted.size(), 3U);
}

TEST_F(PipelineNotifications, MayDestroyThePipelineInEachCallThatMakesThem)
{
    heard.on_created = [&] { pipeline.reset(); };
    Listening* const started = pipeline.get();
    EXPECT_EQ(started->Start().GetCode(), PvResult::Aborted);
    EXPECT_EQ(heard.created.size(), 1U);
    EXPECT_EQ(heard.deleted, heard.created);

    using Member = PvResult (*)(PvPipeline&);
    const Member members[] = {
        [](PvPipeline& gone) { return gone.Reset(); },
        [](PvPipeline& gone) { return gone.SetBufferCount(1); },
    };
    for (const Member member : members) {
        heard = {};
        pipeline = std::make_unique<Listening>(&stream, heard);
        ASSERT_TRUE(pipeline->SetBufferCount(3).IsOK());
        ASSERT_TRUE(pipeline->Start().IsOK());
        ASSERT_TRUE(pipeline->Stop().IsOK());
        heard.on_deleted = [&] {
            heard.on_deleted = {};
            pipeline.reset();
        };
        static_cast<void>(member(*pipeline));
        EXPECT_EQ(pipeline, nullptr);
        EXPECT_EQ(heard.deleted.size(), 3U);  // each once
    }
}

TEST(PipelineWithoutListener, DeletesItsBuffersAllTheSame)
{
    Stream stream;
    ASSERT_TRUE(stream.Open(camera_ip, 0, 0, "127.0.0.1").IsOK());
    std::weak_ptr<const void> buffer;
    {
        class Watching : public PvPipeline {
        public:
            Watching(PvStreamBase* on, std::weak_ptr<const void>& made) : PvPipeline(on), made_(made) {}

        protected:
            void OnBufferCreated(PvBuffer* created) override { made_ = created->lifetime(); }

        private:
            std::weak_ptr<const void>& made_;
        };
        Watching pipeline(&stream, buffer);
        ASSERT_TRUE(pipeline.Start().IsOK());
        EXPECT_FALSE(buffer.expired());
    }
    EXPECT_TRUE(buffer.expired());
    EXPECT_EQ(stream.GetQueuedBufferCount(), 0U);
}

}  // namespace
