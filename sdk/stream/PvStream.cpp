#include "sdk/stream/PvStream.h"

#include "sdk/genicam/software_parameters.h"
#include "sdk/stream/stream_parameters.h"
#include "sdk/stream_core/stream_channel.h"

using namespace vex;

struct PvStream::Parameters {
    std::unique_ptr<SoftwareParameterArray> array;
};

PvStream::PvStream() : parameters_(new Parameters{stream::make_parameters(channel())}) {}

PvStream::~PvStream() = default;

PvGenParameterArray* PvStream::GetParameters() noexcept { return parameters_->array.get(); }
