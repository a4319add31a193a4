#include "streaming/VexStream.h"

using namespace vex;

HRESULT CVexStream::final_construct()
{
    own_new();
    const HRESULT created = create_buffer();
    return SUCCEEDED(created) ? server::create_object(parameters_) : created;
}

void CVexStream::final_release() noexcept
{
    parameters_.reset();
    release_buffer();
    AttachSdkObject(nullptr);
}

HRESULT CVexStream::get_Parameters(IVexGenParameterArray** pVal) noexcept
{
    return child(pVal, parameters_, [](PvStream& stream) { return stream.GetParameters(); });
}
