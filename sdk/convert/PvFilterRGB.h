// PvFilterRGB: gain and offset for each colour, and white balance.
#pragma once

#include "sdk/convert/PvFilter.h"

/// Multiplies each colour by a gain and adds an offset: value * gain + offset, rounded, limited to the type's range.
///
/// Gains act in steps of 1/4096 from 0 to just below 16; what lies outside acts as the nearest of these, what is no
/// number as 0. Offsets are in steps of an 8-bit image (-255 to 255, limited) and are scaled up for deeper ones. The
/// getters return what was set. A new filter changes nothing: gains 1, offsets 0.
///
/// Thread safety: not synchronised.
class PvFilterRGB : public PvFilter {
public:
    [[nodiscard]] double GetGainR() const noexcept { return gain_r_; }
    [[nodiscard]] double GetGainG() const noexcept { return gain_g_; }
    [[nodiscard]] double GetGainB() const noexcept { return gain_b_; }
    void SetGainR(double gain) noexcept { gain_r_ = gain; }
    void SetGainG(double gain) noexcept { gain_g_ = gain; }
    void SetGainB(double gain) noexcept { gain_b_ = gain; }
    [[nodiscard]] int GetOffsetR() const noexcept { return offset_r_; }
    [[nodiscard]] int GetOffsetG() const noexcept { return offset_g_; }
    [[nodiscard]] int GetOffsetB() const noexcept { return offset_b_; }
    void SetOffsetR(int offset) noexcept { offset_r_ = offset; }
    void SetOffsetG(int offset) noexcept { offset_g_ = offset; }
    void SetOffsetB(int offset) noexcept { offset_b_ = offset; }

    /// Back to gains 1 and offsets 0.
    void Reset() noexcept;

    /// Sets the gains so that the image's average becomes grey, counting only pixels of which no colour is saturated
    /// (at or above 250/255 of the range). The smallest gain becomes 1, so that saturated white stays white; offsets
    /// become 0. Works on RGB, YUV and Bayer images; of the latter, whole two by two cells are counted.
    ///
    /// Fails and changes nothing: NotSupported for other images, ImageError when no pixel can be counted or one colour
    /// is absent, InvalidParameter for a buffer without an image.
    PvResult WhiteBalance(const PvBuffer* buffer);

    /// On RGB and Bayer images of any layout; alpha is left alone. NotSupported for others.
    PvResult Apply(PvBuffer* buffer) override;
    PvResult Apply(const PvBuffer* in, PvBuffer* out) override;

private:
    double gain_r_ = 1.0;
    double gain_g_ = 1.0;
    double gain_b_ = 1.0;
    int offset_r_ = 0;
    int offset_g_ = 0;
    int offset_b_ = 0;
};
