// VexStream: a stream channel whose settings and statistics are GenICam parameters.
#pragma once

#include "genicam/VexGenParameterArray.h"
#include "sdk/stream/PvStream.h"
#include "streaming/stream_base_members.h"

/// Owns the SDK stream.
class CVexStream : public StreamBaseMembers<CVexStream>, public vex::server::SdkObject<PvStream, PvStreamBase> {
public:
    void final_construct()
    {
        own_new();
        make_buffer();
        parameters_ = vex::server::make<CVexGenParameterArray>();
    }

    STDMETHODIMP get_Parameters(IVexGenParameterArray** pVal) noexcept override
    {
        return child(pVal, parameters_, &PvStream::GetParameters);
    }

private:
    vex::server::Ref<CVexGenParameterArray> parameters_;
};
