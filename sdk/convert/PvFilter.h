// PvFilter: what the image filters have in common.
#pragma once

#include "sdk/base/PvResult.h"

class PvBuffer;

/// A filter that works on the image of a buffer. Buffers that a stream holds cannot be filtered (StateError).
class PvFilter {
public:
    virtual ~PvFilter() = default;

    /// Filters the buffer in place.
    virtual PvResult Apply(PvBuffer* buffer) = 0;
    /// Filters from one buffer into another, which gets the geometry that it needs and, if its memory is too small,
    /// memory of its own. Both may be the same buffer.
    virtual PvResult Apply(const PvBuffer* in, PvBuffer* out) = 0;
};
