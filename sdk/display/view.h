// Where an image stands in a window that shows it: fitted, or as far in and wherever the user went.
#pragma once

#include <optional>

namespace vex::display {

struct Size {
    int width = 0;
    int height = 0;

    [[nodiscard]] bool empty() const noexcept { return width <= 0 || height <= 0; }
    friend bool operator==(const Size&, const Size&) = default;
};

/// A place in the window or in the image; pixels, from the upper left corner.
struct Point {
    double x = 0;
    double y = 0;
};

/// The image's upper left corner in the window, and window pixels for each pixel of the image.
struct Placement {
    Point corner{};
    double scale = 1;
};

struct Pixel {
    int x = 0;
    int y = 0;

    friend bool operator==(const Pixel&, const Pixel&) = default;
};

/// Fitted means as large as the window allows, in the middle. Elsewhere, an image that is smaller than the window
/// stands in the middle, and one that is larger covers it: no border is dragged inwards.
///
/// A new size of the window keeps what is in its middle there; an image of another size is fitted.
///
/// Thread safety: none.
class View {
public:
    /// Window pixels for one pixel of the image, at most; at least, the image is as large as it is when fitted, or one
    /// to one where that is smaller.
    static constexpr double largest_scale = 64;

    void set_window(Size size) noexcept;
    void set_image(Size size) noexcept;

    void fit() noexcept;
    [[nodiscard]] bool is_fitted() const noexcept { return fitted_; }
    /// One pixel for one, what is at `fixed` in the window staying there.
    void show_one_to_one(Point fixed) noexcept { zoom_to(1, fixed); }
    /// `factor` times as large, what is at `fixed` in the window staying there.
    void zoom(double factor, Point fixed) noexcept { zoom_to(placement().scale * factor, fixed); }
    /// Moves the image by so many window pixels; nothing for one that is fitted.
    void move(double dx, double dy) noexcept;

    [[nodiscard]] Placement placement() const noexcept;
    /// The image's pixel at a place in the window; nothing beside the image.
    [[nodiscard]] std::optional<Pixel> pixel_at(Point place) const noexcept;

private:
    void zoom_to(double scale, Point fixed) noexcept;
    [[nodiscard]] double fitted_scale() const noexcept;
    /// Keeps the image where it may be.
    void confine() noexcept;

    Size window_{};
    Size image_{};
    bool fitted_ = true;
    double scale_ = 1;
    Point middle_{};  ///< of the image's pixels, what is in the window's middle
};

}  // namespace vex::display
