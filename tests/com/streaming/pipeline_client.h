// A pipeline through the registered server, and short ways to call it.
#pragma once

#include <string>

#include "tests/com/streaming/camera_control.h"

namespace client {

constexpr unsigned int ample = 10'000;  // ms

class PipelineClient : public CameraTest {
protected:
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
            return pipeline->RetrieveNextBuffer(retrieved.buffer.put(), timeout, operation.put(), result);
        });
        EXPECT_TRUE(operation);
        if (operation) {
            EXPECT_EQ(operation->get_Code(&retrieved.operation), S_OK);
        }
        return retrieved;
    }
    [[nodiscard]] VexResultCode release(IVexBuffer* buffer) const
    {
        return code_of([&](IVexResult** result) { return pipeline->ReleaseBuffer(buffer, result); });
    }
    [[nodiscard]] VexResultCode start() const { return code_of(pipeline, &IVexPipeline::Start); }
    [[nodiscard]] VexResultCode stop() const { return code_of(pipeline, &IVexPipeline::Stop); }
    [[nodiscard]] VexResultCode reset() const { return code_of(pipeline, &IVexPipeline::Reset); }
    [[nodiscard]] static VexResultCode open(IVexStreamBase* stream)
    {
        return code_of(
            [&](IVexResult** result) { return stream->OpenUnicast(Text(address), 0, 0, Text(L"127.0.0.1"), result); });
    }
    [[nodiscard]] unsigned int count() const { return value_of(pipeline, &IVexPipeline::get_BufferCount); }
    [[nodiscard]] VARIANT_BOOL is_started() const { return value_of(pipeline, &IVexPipeline::get_IsStarted); }

    Ref<IVexPipeline> pipeline = create<IVexPipeline>(L"VexKamCOMWrapper.VexPipeline.1");
    Ref<IVexStream> stream = create<IVexStream>(L"VexKamCOMWrapper.VexStream.1");
};

/// What error information the last failing call on this thread left.
struct LastError {
    std::wstring description;
    std::wstring source;
    IID interface_id{};
};
[[nodiscard]] inline LastError last_error()
{
    LastError error;
    Ref<IErrorInfo> info;
    if (GetErrorInfo(0, info.put()) == S_OK) {
        BSTR text = nullptr;
        EXPECT_EQ(info->GetDescription(&text), S_OK);
        error.description = take(text);
        text = nullptr;
        EXPECT_EQ(info->GetSource(&text), S_OK);
        error.source = take(text);
        EXPECT_EQ(info->GetGUID(&error.interface_id), S_OK);
    }
    return error;
}

}  // namespace client
