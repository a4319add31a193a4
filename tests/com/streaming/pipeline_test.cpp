// VexPipeline as clients use it: its stream, its members, blocks from a software camera.
#include <atomic>
#include <string>
#include <thread>
#include <vector>

#include "generated/interface_stubs.h"
#include "tests/com/streaming/pipeline_client.h"

namespace {

using namespace client;

class Pipeline : public PipelineClient {};

TEST_F(Pipeline, HasNoStreamAtFirst)
{
    EXPECT_FALSE(object_of(pipeline, &IVexPipeline::get_StreamBase));
    EXPECT_TRUE(create<IVexPipeline>(L"VexKamCOMWrapper.VexPipeline"));
    EXPECT_EQ(pipeline->get_StreamBase(nullptr), E_POINTER);
}

TEST_F(Pipeline, AnswersEveryMemberWithAFailureWithoutAStream)
{
    unsigned int number = 7;
    VARIANT_BOOL truth = 7;
    EXPECT_EQ(pipeline->get_BufferSize(&number), E_POINTER);
    EXPECT_EQ(pipeline->put_BufferSize(1), E_POINTER);
    EXPECT_EQ(pipeline->get_BufferCount(&number), E_POINTER);
    EXPECT_EQ(pipeline->put_BufferCount(1), E_POINTER);
    EXPECT_EQ(pipeline->get_OutputQueueSize(&number), E_POINTER);
    EXPECT_EQ(pipeline->get_OutputQueueMaxSize(&number), E_POINTER);
    EXPECT_EQ(pipeline->put_OutputQueueMaxSize(1), E_POINTER);
    EXPECT_EQ(pipeline->get_IsStarted(&truth), E_POINTER);
    EXPECT_EQ(last_error().source, L"VexKamCOMWrapper.VexPipeline.1");
    EXPECT_EQ(stop(), VexNotInitialized);
    EXPECT_EQ(reset(), VexNotInitialized);
    EXPECT_EQ(release(new_buffer().get()), VexNotInitialized);
    const Retrieved retrieved = retrieve(0);
    EXPECT_EQ(retrieved.call, VexNotInitialized);
    EXPECT_EQ(retrieved.operation, VexNotInitialized);
    EXPECT_FALSE(retrieved.buffer);
}

TEST_F(Pipeline, KeepsTheAssignedStreamAndGivesItBack)
{
    const ULONG before = references(stream.get());
    ASSERT_EQ(pipeline->put_StreamBase(stream.get()), S_OK);
    EXPECT_EQ(references(stream.get()), before + 1);
    const auto base = query<IVexStreamBase>(stream.get());
    EXPECT_EQ(object_of(pipeline, &IVexPipeline::get_StreamBase).get(), base.get());
    EXPECT_EQ(is_started(), 0);
    ASSERT_EQ(pipeline->put_StreamBase(nullptr), S_OK);
    EXPECT_FALSE(object_of(pipeline, &IVexPipeline::get_StreamBase));
    VARIANT_BOOL started = 0;
    EXPECT_EQ(pipeline->get_IsStarted(&started), E_POINTER);
    ASSERT_EQ(pipeline->put_StreamBase(stream.get()), S_OK);
    pipeline = {};
    EXPECT_EQ(references(stream.get()), before + 1);  // with `base`
}

TEST_F(Pipeline, TakesAStreamOfEitherKind)
{
    ASSERT_EQ(pipeline->put_StreamBase(stream.get()), S_OK);
    EXPECT_EQ(is_started(), 0);
    const auto raw = create<IVexStreamRaw>(L"VexKamCOMWrapper.VexStreamRaw.1");
    ASSERT_EQ(pipeline->put_StreamBase(raw.get()), S_OK);
    EXPECT_EQ(is_started(), 0);
    ASSERT_EQ(open(raw.get()), VexOK);
    EXPECT_EQ(start(), VexOK);
    EXPECT_EQ(is_started(), 1);  // not VARIANT_TRUE
    EXPECT_NE(value_of(raw, &IVexStreamRaw::get_QueuedBufferCount), 0U);
}

TEST_F(Pipeline, LosesSizeAndCountWithItsStream)
{
    ASSERT_EQ(pipeline->put_StreamBase(stream.get()), S_OK);
    const unsigned int first_count = count();
    const unsigned int first_size = value_of(pipeline, &IVexPipeline::get_BufferSize);
    EXPECT_EQ(pipeline->put_BufferCount(3), S_OK);
    EXPECT_EQ(pipeline->put_BufferSize(1000), S_OK);
    EXPECT_EQ(count(), 3U);
    EXPECT_EQ(value_of(pipeline, &IVexPipeline::get_BufferSize), 1000U);
    ASSERT_EQ(pipeline->put_StreamBase(stream.get()), S_OK);  // the same one again
    EXPECT_EQ(count(), first_count);
    EXPECT_EQ(value_of(pipeline, &IVexPipeline::get_BufferSize), first_size);
}

TEST_F(Pipeline, KeepsAForeignStreamAndWorksWithNone)
{
    ForeignObject<vex::idl::Stub<IVexStream>> foreign;
    ASSERT_EQ(pipeline->put_StreamBase(stream.get()), S_OK);
    EXPECT_EQ(pipeline->put_StreamBase(&foreign), E_INVALIDARG);
    const LastError error = last_error();
    EXPECT_EQ(error.source, L"VexKamCOMWrapper.VexPipeline.1");
    EXPECT_NE(error.description.find(L"stream"), std::wstring::npos) << "a text that names what is wrong";
    EXPECT_EQ(object_of(pipeline, &IVexPipeline::get_StreamBase).get(), &foreign);
    VARIANT_BOOL started = 0;
    EXPECT_EQ(pipeline->get_IsStarted(&started), E_POINTER);
    ASSERT_EQ(pipeline->put_StreamBase(stream.get()), S_OK);
    EXPECT_EQ(is_started(), 0);
}

TEST_F(Pipeline, RaisesWhatTheSetterOfACountRefuses)
{
    ASSERT_EQ(pipeline->put_StreamBase(stream.get()), S_OK);
    const unsigned int most = value_of(stream, &IVexStream::get_QueuedBufferMaximum);
    for (const unsigned int refused : {0U, most + 1}) {
        EXPECT_EQ(pipeline->put_BufferCount(refused), DISP_E_EXCEPTION);
        const LastError error = last_error();
        EXPECT_NE(error.description.find(std::to_wstring(most)), std::wstring::npos);
        EXPECT_EQ(error.source, L"VexKamCOMWrapper.VexPipeline.1");
        EXPECT_TRUE(error.interface_id == __uuidof(IVexPipeline));
        EXPECT_EQ(pipeline->put_OutputQueueMaxSize(refused), DISP_E_EXCEPTION);
        EXPECT_NE(last_error().description.find(std::to_wstring(most)), std::wstring::npos);
    }
    EXPECT_EQ(pipeline->put_BufferCount(most), S_OK);
    EXPECT_EQ(pipeline->put_OutputQueueMaxSize(1), S_OK);
    EXPECT_EQ(value_of(pipeline, &IVexPipeline::get_OutputQueueMaxSize), 1U);
}

TEST_F(Pipeline, ReportsAStreamThatIsNotOpenOrNotItsAlone)
{
    ASSERT_EQ(pipeline->put_StreamBase(stream.get()), S_OK);
    EXPECT_EQ(start(), VexNotConnected);
    ASSERT_EQ(open(stream.get()), VexOK);
    ASSERT_EQ(start(), VexOK);
    EXPECT_EQ(start(), VexStateError);
    const auto second = create<IVexPipeline>(L"VexKamCOMWrapper.VexPipeline.1");
    ASSERT_EQ(second->put_StreamBase(stream.get()), S_OK);
    EXPECT_EQ(code_of(second, &IVexPipeline::Start), VexStateError);
    EXPECT_EQ(stop(), VexOK);
    EXPECT_EQ(code_of(second, &IVexPipeline::Start), VexOK);
}

TEST_F(Pipeline, TimesOutWithNoBufferAndBothResults)
{
    ASSERT_EQ(pipeline->put_StreamBase(stream.get()), S_OK);
    ASSERT_EQ(open(stream.get()), VexOK);
    ASSERT_EQ(start(), VexOK);
    auto* stale = reinterpret_cast<IVexBuffer*>(static_cast<INT_PTR>(0x1234));
    Ref<IVexResult> operation;
    EXPECT_EQ(
        code_of([&](IVexResult** result) { return pipeline->RetrieveNextBuffer(&stale, 0, operation.put(), result); }),
        VexTimeout);
    EXPECT_EQ(stale, nullptr);
    EXPECT_EQ(value_of(operation, &IVexResult::get_Code), VexTimeout);
    Ref<IVexResult> result;
    EXPECT_EQ(pipeline->RetrieveNextBuffer(nullptr, 0, operation.put(), result.put()), E_POINTER);
}

TEST_F(Pipeline, RefusesForeignBuffers)
{
    ASSERT_EQ(pipeline->put_StreamBase(stream.get()), S_OK);
    EXPECT_EQ(release(new_buffer().get()), VexInvalidParameter);
    Ref<IVexResult> result;
    EXPECT_EQ(pipeline->ReleaseBuffer(nullptr, result.put()), E_POINTER);
    ForeignObject<vex::idl::Stub<IVexBuffer>> foreign;
    EXPECT_EQ(pipeline->ReleaseBuffer(&foreign, result.put()), E_INVALIDARG);
}

/// Counts the message boxes of this process and answers each, until its end.
class BoxAnswerer {
public:
    explicit BoxAnswerer(const wchar_t* text) : text_(text), thread_([this] { watch(); }) {}
    ~BoxAnswerer() { end(); }
    BoxAnswerer(const BoxAnswerer&) = delete;
    BoxAnswerer& operator=(const BoxAnswerer&) = delete;

    int end()
    {
        over_ = true;
        if (thread_.joinable()) {
            thread_.join();
        }
        return answered_;
    }

private:
    static BOOL CALLBACK has_text(HWND child, LPARAM self)
    {
        auto& answerer = *reinterpret_cast<BoxAnswerer*>(self);
        wchar_t text[64] = L"";
        GetWindowTextW(child, text, 64);
        answerer.found_ = answerer.found_ || answerer.text_ == text;
        return TRUE;
    }
    static BOOL CALLBACK answer(HWND window, LPARAM self)
    {
        auto& answerer = *reinterpret_cast<BoxAnswerer*>(self);
        DWORD process = 0;
        GetWindowThreadProcessId(window, &process);
        wchar_t name[16] = L"";
        GetClassNameW(window, name, 16);
        if (process != GetCurrentProcessId() || std::wstring_view(name) != L"#32770" || window == answerer.last_) {
            return TRUE;
        }
        answerer.found_ = false;
        EnumChildWindows(window, has_text, self);
        if (answerer.found_) {
            answerer.last_ = window;
            ++answerer.answered_;
            PostMessageW(window, WM_COMMAND, IDOK, 0);
        }
        return TRUE;
    }
    void watch()
    {
        while (!over_) {
            EnumWindows(answer, reinterpret_cast<LPARAM>(this));
            Sleep(5);
        }
    }

    std::wstring text_;
    std::atomic<bool> over_{false};
    std::atomic<int> answered_{0};
    bool found_ = false;
    HWND last_ = nullptr;
    std::thread thread_;
};

TEST_F(Pipeline, SaysInOneMessageBoxThatItIsStartedWithoutAStreamAndThenFails)
{
    BoxAnswerer box(L"m_pipeline=0");
    EXPECT_EQ(start(), VexNotInitialized);
    EXPECT_EQ(box.end(), 1);
}

TEST_F(Pipeline, ShowsNoMessageBoxWithAStream)
{
    ASSERT_EQ(pipeline->put_StreamBase(stream.get()), S_OK);
    BoxAnswerer box(L"m_pipeline=0");
    EXPECT_EQ(start(), VexNotConnected);
    EXPECT_EQ(box.end(), 0);
}

/// With a camera that sends to the stream.
class RunningPipeline : public Pipeline {
protected:
    void SetUp() override
    {
        camera.connect(address);
        ASSERT_EQ(open(stream.get()), VexOK);
        camera.send_to(stream.get());
        ASSERT_EQ(pipeline->put_StreamBase(stream.get()), S_OK);
        ASSERT_EQ(pipeline->put_BufferSize(CameraControl::image_bytes), S_OK);
        ASSERT_EQ(pipeline->put_BufferCount(4), S_OK);
        ASSERT_EQ(start(), VexOK);
        camera.execute(L"AcquisitionStart");
    }
    void TearDown() override { camera.execute(L"AcquisitionStop"); }

    CameraControl camera;
};

TEST_F(RunningPipeline, HandsOutEachBlockThroughAnObjectOfItsOwn)
{
    unsigned short last = 0;
    for (int i = 0; i < 12; ++i) {
        const Retrieved first = retrieve(ample);
        const Retrieved second = retrieve(ample);
        ASSERT_EQ(first.call, VexOK);
        ASSERT_EQ(first.operation, VexOK);
        ASSERT_EQ(second.call, VexOK);
        ASSERT_TRUE(first.buffer);
        ASSERT_TRUE(second.buffer);
        EXPECT_NE(first.buffer.get(), second.buffer.get());
        EXPECT_EQ(references(first.buffer.get()), 1U);  // the client's alone
        const auto id = value_of(first.buffer, &IVexBuffer::get_BlockID);
        EXPECT_GT(id, last);
        last = value_of(second.buffer, &IVexBuffer::get_BlockID);
        EXPECT_GT(last, id);
        EXPECT_EQ(value_of(first.buffer, &IVexBuffer::get_AcquiredSize), CameraControl::image_bytes);
        const auto image = image_of(first.buffer.get());
        ASSERT_TRUE(image);
        EXPECT_EQ(value_of(image, &IVexImage::get_Width), CameraControl::width);
        EXPECT_EQ(release(first.buffer.get()), VexOK);
        EXPECT_EQ(release(second.buffer.get()), VexOK);
        EXPECT_EQ(release(second.buffer.get()), VexStateError);
    }
}

TEST_F(RunningPipeline, KeepsABufferThatItsClientForgetsUntilItIsReleased)
{
    for (int i = 0; i < 4; ++i) {
        ASSERT_EQ(retrieve(ample).call, VexOK);  // the object goes, the buffer stays away
    }
    EXPECT_EQ(retrieve(100).call, VexTimeout);
    EXPECT_EQ(value_of(stream, &IVexStream::get_QueuedBufferCount), 0U);
}

TEST_F(RunningPipeline, EndsWithItsStream)
{
    ASSERT_EQ(retrieve(ample).call, VexOK);
    ASSERT_EQ(code_of(stream, &IVexStream::Close), VexOK);
    EXPECT_EQ(is_started(), 0);
    VexResultCode ended = VexOK;
    for (int i = 0; i <= 4 && ended == VexOK; ++i) {
        ended = retrieve(ample).call;  // what had arrived comes first
    }
    EXPECT_EQ(ended, VexNotConnected);
    EXPECT_EQ(stop(), VexOK);
}

TEST_F(RunningPipeline, ShowsNothingOfABufferThatWentWithThePipeline)
{
    const Retrieved retrieved = retrieve(ample);
    ASSERT_TRUE(retrieved.buffer);
    ASSERT_EQ(pipeline->put_StreamBase(nullptr), S_OK);
    unsigned int size = 0;
    EXPECT_EQ(retrieved.buffer->get_Size(&size), E_POINTER);
    EXPECT_EQ(value_of(stream, &IVexStream::get_QueuedBufferCount), 0U);
    EXPECT_EQ(release(retrieved.buffer.get()), VexNotInitialized);
}

TEST_F(RunningPipeline, CanBeReleasedWhileBlocksArriveBeforeAndAfterItsStream)
{
    ASSERT_EQ(retrieve(ample).call, VexOK);
    pipeline = {};
    EXPECT_EQ(value_of(stream, &IVexStream::get_QueuedBufferCount), 0U);
    pipeline = create<IVexPipeline>(L"VexKamCOMWrapper.VexPipeline.1");
    ASSERT_EQ(pipeline->put_StreamBase(stream.get()), S_OK);
    ASSERT_EQ(start(), VexOK);
    stream = {};  // the pipeline's reference is the last
    ASSERT_EQ(retrieve(ample).call, VexOK);
    pipeline = {};
}

TEST_F(RunningPipeline, HandsOutTheLatestBlocksOnly)
{
    ASSERT_EQ(pipeline->put_OutputQueueMaxSize(1), S_OK);
    const auto waiting = [&] { return value_of(pipeline, &IVexPipeline::get_OutputQueueSize); };
    ASSERT_TRUE(await([&] { return waiting() == 1; }));
    const Retrieved first = retrieve(ample);
    ASSERT_EQ(first.call, VexOK);
    const auto id = value_of(first.buffer, &IVexBuffer::get_BlockID);
    EXPECT_EQ(release(first.buffer.get()), VexOK);
    // blocks that nobody fetches do not stop the stream
    const auto parameters = object_of(stream, &IVexStream::get_Parameters);
    ASSERT_TRUE(await([&] {
        __int64 blocks = 0;
        EXPECT_EQ(code_of([&](IVexResult** result) {
                      return parameters->GetIntegerValue(Text(L"BlockCount"), &blocks, result);
                  }),
                  VexOK);
        return blocks > id + 10;
    }));
    EXPECT_LE(waiting(), 1U);
    const Retrieved second = retrieve(ample);
    ASSERT_EQ(second.call, VexOK);
    EXPECT_GT(value_of(second.buffer, &IVexBuffer::get_BlockID), id + 5);
    EXPECT_EQ(reset(), VexOK);
}

TEST_F(RunningPipeline, WorksForLateBoundClients)
{
    LateBound script(pipeline.get());
    Variant value;
    ASSERT_EQ(script.get(L"IsStarted", value), S_OK);
    EXPECT_EQ(value->boolVal, 1);
    // outputs stand where the type library has them
    Variant buffer;
    Variant operation;
    Variant result;
    ASSERT_EQ(
        script.call(L"RetrieveNextBuffer",
                    {Variant::by_reference(buffer), Variant(static_cast<int>(ample)), Variant::by_reference(operation)},
                    &result),
        S_OK);
    ASSERT_EQ(buffer.type(), VT_DISPATCH);
    ASSERT_NE(buffer->pdispVal, nullptr);
    Variant ok;
    ASSERT_EQ(LateBound(operation->pdispVal).get(L"IsOK", ok), S_OK);
    EXPECT_EQ(ok->boolVal, 1);
    ASSERT_EQ(LateBound(buffer->pdispVal).get(L"AcquiredSize", value), S_OK);
    EXPECT_EQ(value->ulVal, CameraControl::image_bytes);
    ASSERT_EQ(script.call(L"ReleaseBuffer", {buffer}, &result), S_OK);
    ASSERT_EQ(LateBound(result->pdispVal).get(L"IsOK", ok), S_OK);
    EXPECT_EQ(ok->boolVal, 1);
    EXPECT_EQ(script.put(L"BufferCount", Variant(0)), DISP_E_EXCEPTION);
    EXPECT_EQ(script.source(), L"VexKamCOMWrapper.VexPipeline.1");
    EXPECT_FALSE(script.description().empty());
    ASSERT_EQ(script.call(L"Stop", {}, &result), S_OK);
}

TEST_F(Pipeline, IsAssignedItsStreamByLateBoundClients)
{
    LateBound script(pipeline.get());
    const auto assigned = [&] { return object_of(pipeline, &IVexPipeline::get_StreamBase); };
    const auto raw = create<IVexStreamRaw>(L"VexKamCOMWrapper.VexStreamRaw.1");
    EXPECT_EQ(script.put_reference(L"StreamBase", Variant(stream.get())), S_OK);
    EXPECT_EQ(assigned().get(), query<IVexStreamBase>(stream.get()).get());
    EXPECT_EQ(script.put(L"StreamBase", Variant(raw.get())), S_OK);
    EXPECT_EQ(assigned().get(), query<IVexStreamBase>(raw.get()).get());
    EXPECT_EQ(script.put_reference(L"StreamBase", Variant(static_cast<IDispatch*>(nullptr))), S_OK);
    EXPECT_FALSE(assigned());
    EXPECT_EQ(script.put(L"StreamBase", Variant(stream.get())), S_OK);
    // what is no stream at all does not reach the member
    EXPECT_NE(script.put_reference(L"StreamBase", Variant(new_buffer().get())), S_OK);
    EXPECT_TRUE(assigned());
    Variant shown;
    ASSERT_EQ(script.get(L"StreamBase", shown), S_OK);
    EXPECT_EQ(shown->pdispVal, static_cast<IDispatch*>(query<IVexStreamBase>(stream.get()).get()));
}

}  // namespace
