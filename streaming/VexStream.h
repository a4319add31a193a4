// VexStream: a stream channel whose settings and statistics are GenICam parameters.
#pragma once

#include "genicam/VexGenParameterArray.h"
#include "sdk/stream/PvStream.h"
#include "streaming/stream_base_members.h"

/// Owns the SDK stream.
class CVexStream : public StreamBaseMembers<CVexStream>, public vex::server::SdkObject<PvStream> {
public:
    HRESULT final_construct();
    void final_release() noexcept;

    HRESULT STDMETHODCALLTYPE get_Parameters(IVexGenParameterArray** pVal) noexcept override;

private:
    vex::server::Ref<CVexGenParameterArray> parameters_;
};
