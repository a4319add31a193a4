// PvFilterDeinterlace: two fields woven into one frame.
#pragma once

#include "sdk/convert/PvFilter.h"

/// Weaves the lines of an odd and an even field into a frame. The frame's first line is the odd field's first, its
/// second the even field's first; with field inversion the even field comes first. In a frame of an odd number of
/// lines, the field that comes first has one line more. Works on every pixel type.
///
/// Thread safety: not synchronised.
class PvFilterDeinterlace : public PvFilter {
public:
    [[nodiscard]] bool GetFieldInversion() const noexcept { return inversion_; }
    void SetFieldInversion(bool inversion) noexcept { inversion_ = inversion; }

    /// The buffer holds the lines of the odd field and, below them, those of the even field.
    PvResult Apply(PvBuffer* buffer) override;
    /// As in place, from one buffer into another.
    PvResult Apply(const PvBuffer* in, PvBuffer* out) override;
    /// Two fields of the same width and pixel type into a frame as high as both together, in a third buffer.
    ///
    /// InvalidParameter when the fields do not fit each other or `out` is one of them.
    PvResult Apply(const PvBuffer* odd, const PvBuffer* even, PvBuffer* out);

private:
    bool inversion_ = false;
};
