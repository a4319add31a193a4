// PvStream: a stream channel whose settings and statistics are GenICam parameters.
#pragma once

#include <memory>

#include "sdk/stream_core/PvStreamBase.h"

class PvGenParameterArray;

/// A stream channel with a parameter array. The array exists as long as the stream; its settings may be changed at any
/// time and its statistics change by themselves.
///
/// Thread safety: as PvStreamBase; the parameter array as its own class says.
class PvStream : public PvStreamBase {
public:
    PvStream();
    ~PvStream() override;

    /// Settings and statistics of this stream, owned by the stream; never null.
    [[nodiscard]] PvGenParameterArray* GetParameters() noexcept;

private:
    struct Parameters;
    std::unique_ptr<Parameters> parameters_;
};
