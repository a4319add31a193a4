#include <d2d1.h>

#include <utility>

#include "sdk/gui/painter.h"

namespace vex::gui {

namespace {

/// An interface of the system's, released with this object.
template <class Interface>
class Held {
public:
    Held() = default;
    Held(const Held&) = delete;
    Held& operator=(const Held&) = delete;
    ~Held() { reset(); }

    void reset() noexcept
    {
        if (Interface* const held = std::exchange(interface_, nullptr)) {
            held->Release();
        }
    }
    [[nodiscard]] Interface** out() noexcept
    {
        reset();
        return &interface_;
    }
    [[nodiscard]] Interface* operator->() const noexcept { return interface_; }
    [[nodiscard]] Interface* get() const noexcept { return interface_; }
    [[nodiscard]] explicit operator bool() const noexcept { return interface_ != nullptr; }

private:
    Interface* interface_ = nullptr;
};

/// A library of the system's that may be missing; it stays loaded.
template <class Function>
Function function_of(const wchar_t* library, const char* name) noexcept
{
    const HMODULE module = LoadLibraryExW(library, nullptr, LOAD_LIBRARY_SEARCH_SYSTEM32);
    return module != nullptr ? reinterpret_cast<Function>(reinterpret_cast<void*>(GetProcAddress(module, name)))
                             : nullptr;
}

/// Wine draws by OpenGL: nothing of it is seen in a control, GDI is slower in the window from then on, and where OpenGL
/// is software, as without a screen, it takes several times as long as GDI.
bool is_wine() noexcept
{
    const HMODULE system = GetModuleHandleW(L"ntdll.dll");
    return system != nullptr && GetProcAddress(system, "wine_get_version") != nullptr;
}

D2D1_COLOR_F color_of(COLORREF color) noexcept
{
    return {static_cast<float>(GetRValue(color)) / 255.0F, static_cast<float>(GetGValue(color)) / 255.0F,
            static_cast<float>(GetBValue(color)) / 255.0F, 1.0F};
}

class Direct2dPainter final : public Painter {
public:
    explicit Direct2dPainter(HWND window) : window_(window) {}

    [[nodiscard]] bool begin()
    {
        using Create2d = HRESULT(WINAPI*)(D2D1_FACTORY_TYPE, REFIID, const D2D1_FACTORY_OPTIONS*, void**);
        const auto create_2d = function_of<Create2d>(L"d2d1.dll", "D2D1CreateFactory");
        return create_2d != nullptr && SUCCEEDED(create_2d(D2D1_FACTORY_TYPE_SINGLE_THREADED, __uuidof(ID2D1Factory),
                                                           nullptr, reinterpret_cast<void**>(factory_.out())));
    }

    bool draw(HDC /*dc*/, display::Size window, const Scene& scene) override
    {
        const auto width = static_cast<UINT32>(window.width);
        const auto height = static_cast<UINT32>(window.height);
        if (!target_ && !make_target(width, height)) {
            return false;
        }
        const D2D1_SIZE_U now = target_->GetPixelSize();
        if ((now.width != width || now.height != height) && FAILED(target_->Resize({width, height}))) {
            return false;
        }
        if (!upload(scene)) {
            return false;
        }
        target_->BeginDraw();
        const D2D1_COLOR_F background = color_of(scene.background);
        target_->Clear(&background);
        draw_image(scene);
        if (SUCCEEDED(target_->EndDraw())) {
            return true;
        }
        // the card was lost or changed: another target may do, and if not, another painter
        bitmap_.reset();
        target_.reset();
        return ++losses_ < most_losses;
    }

private:
    static constexpr int most_losses = 3;

    [[nodiscard]] bool make_target(UINT32 width, UINT32 height)
    {
        D2D1_RENDER_TARGET_PROPERTIES properties{};
        properties.pixelFormat = {DXGI_FORMAT_B8G8R8A8_UNORM, D2D1_ALPHA_MODE_IGNORE};
        properties.dpiX = properties.dpiY = 96;  // a unit is a pixel
        D2D1_HWND_RENDER_TARGET_PROPERTIES of_window{};
        of_window.hwnd = window_;
        of_window.pixelSize = {width, height};
        of_window.presentOptions = D2D1_PRESENT_OPTIONS_IMMEDIATELY;
        return SUCCEEDED(factory_->CreateHwndRenderTarget(&properties, &of_window, target_.out()));
    }

    /// The picture's pixels to the card. False for an image that is too large for it.
    [[nodiscard]] bool upload(const Scene& scene)
    {
        const display::Size size = scene.picture != nullptr ? scene.picture->size() : display::Size{};
        if (size.empty()) {
            return true;
        }
        const D2D1_SIZE_U wanted{static_cast<UINT32>(size.width), static_cast<UINT32>(size.height)};
        const UINT32 most = target_->GetMaximumBitmapSize();
        if (wanted.width > most || wanted.height > most) {
            return false;
        }
        const std::uint8_t* const bytes = scene.picture->pixels.GetDataPointer();
        const UINT32 stride = scene.picture->pixels.GetImage()->GetLineStride();
        if (bitmap_) {
            const D2D1_SIZE_U now = bitmap_->GetPixelSize();
            if (now.width == wanted.width && now.height == wanted.height) {
                return SUCCEEDED(bitmap_->CopyFromMemory(nullptr, bytes, stride));
            }
        }
        D2D1_BITMAP_PROPERTIES properties{};
        properties.pixelFormat = {DXGI_FORMAT_B8G8R8A8_UNORM, D2D1_ALPHA_MODE_IGNORE};
        properties.dpiX = properties.dpiY = 96;
        return SUCCEEDED(target_->CreateBitmap(wanted, bytes, stride, &properties, bitmap_.out()));
    }

    void draw_image(const Scene& scene)
    {
        if (!bitmap_ || scene.picture == nullptr || scene.picture->size().empty()) {
            return;
        }
        const auto& [corner, scale] = scene.placement;
        const display::Size image = scene.picture->size();
        const D2D1_RECT_F place{static_cast<float>(corner.x), static_cast<float>(corner.y),
                                static_cast<float>(corner.x + image.width * scale),
                                static_cast<float>(corner.y + image.height * scale)};
        // enlarged pixels stay squares, as whoever looks at single ones expects
        const auto mode =
            scale >= 1 ? D2D1_BITMAP_INTERPOLATION_MODE_NEAREST_NEIGHBOR : D2D1_BITMAP_INTERPOLATION_MODE_LINEAR;
        target_->DrawBitmap(bitmap_.get(), &place, 1.0F, mode, nullptr);
    }

    HWND window_;
    Held<ID2D1Factory> factory_;
    Held<ID2D1HwndRenderTarget> target_;
    Held<ID2D1Bitmap> bitmap_;
    int losses_ = 0;
};

}  // namespace

std::unique_ptr<Painter> make_direct2d_painter(HWND window)
{
    if (is_wine()) {
        return nullptr;
    }
    auto painter = std::make_unique<Direct2dPainter>(window);
    return painter->begin() ? std::move(painter) : nullptr;
}

}  // namespace vex::gui
