#include "sdk/display/view.h"

#include <algorithm>
#include <cmath>

namespace vex::display {

namespace {

/// What may be in the middle of a window: of an image that does not fill it, the image's own middle.
double confined(double middle, int image, int window, double scale) noexcept
{
    const double half = window / scale / 2;
    return image <= 2 * half ? image / 2.0 : std::clamp(middle, half, image - half);
}

}  // namespace

void View::set_window(Size size) noexcept
{
    window_ = size;
    if (!fitted_ && !window_.empty()) {
        confine();
    }
}

void View::set_image(Size size) noexcept
{
    if (size != image_) {
        image_ = size;
        fit();
    }
}

void View::fit() noexcept { fitted_ = true; }

double View::fitted_scale() const noexcept
{
    if (window_.empty() || image_.empty()) {
        return 1;
    }
    return std::min(static_cast<double>(window_.width) / image_.width,
                    static_cast<double>(window_.height) / image_.height);
}

Placement View::placement() const noexcept
{
    const double scale = fitted_ ? fitted_scale() : scale_;
    const Point middle = fitted_ ? Point{image_.width / 2.0, image_.height / 2.0} : middle_;
    // whole pixels, so that an image which moves by one pixel is not blurred
    return {{std::round(window_.width / 2.0 - middle.x * scale), std::round(window_.height / 2.0 - middle.y * scale)},
            scale};
}

void View::zoom_to(double scale, Point fixed) noexcept
{
    if (window_.empty() || image_.empty()) {
        return;
    }
    const Placement now = placement();
    const double least = std::min(fitted_scale(), 1.0);
    scale_ = std::clamp(scale, least, std::max(largest_scale, least));
    const Point under{(fixed.x - now.corner.x) / now.scale, (fixed.y - now.corner.y) / now.scale};
    middle_ = {under.x + (window_.width / 2.0 - fixed.x) / scale_, under.y + (window_.height / 2.0 - fixed.y) / scale_};
    fitted_ = false;
    confine();
}

void View::move(double dx, double dy) noexcept
{
    if (fitted_) {
        return;
    }
    middle_ = {middle_.x - dx / scale_, middle_.y - dy / scale_};
    confine();
}

void View::confine() noexcept
{
    middle_ = {confined(middle_.x, image_.width, window_.width, scale_),
               confined(middle_.y, image_.height, window_.height, scale_)};
}

std::optional<Pixel> View::pixel_at(Point place) const noexcept
{
    const Placement now = placement();
    const Pixel pixel{static_cast<int>(std::floor((place.x - now.corner.x) / now.scale)),
                      static_cast<int>(std::floor((place.y - now.corner.y) / now.scale))};
    if (pixel.x < 0 || pixel.y < 0 || pixel.x >= image_.width || pixel.y >= image_.height) {
        return std::nullopt;
    }
    return pixel;
}

}  // namespace vex::display
