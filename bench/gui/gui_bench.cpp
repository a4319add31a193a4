// Images a second in a display window, beside a bare loop that draws the same images, which are converted already, into
// a window of the same size by StretchDIBits. In each round both are measured, the one or the other first.
#include <algorithm>
#include <array>
#include <atomic>
#include <chrono>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <thread>
#include <vector>

#include "bench/gui/images.h"
#include "bench/processor_time.h"
#include "sdk/convert/PvBufferConverter.h"
#include "sdk/gui/PvDisplayWnd.h"
#include "sdk/gui/win32.h"

namespace {

using Clock = std::chrono::steady_clock;
using Images = std::vector<std::unique_ptr<PvBuffer>>;

constexpr unsigned rounds = 21;
constexpr std::chrono::milliseconds round_time{500};  ///< short: what else the machine does is then the same for all
constexpr int first_images = 10;                      ///< not measured: what is made once is made then
constexpr int window_width = 1300;
constexpr int window_height = 780;
constexpr double target = 0.9;

[[noreturn]] void stop(const char* what)
{
    std::fprintf(stderr, "%s\n", what);
    std::exit(1);
}

void handle_messages()
{
    MSG message;
    while (PeekMessageW(&message, nullptr, 0, 0, PM_REMOVE)) {
        TranslateMessage(&message);
        DispatchMessageW(&message);
    }
}

/// Shows one image after the other in a window.
class Contestant {
public:
    Contestant() = default;
    Contestant(const Contestant&) = delete;
    Contestant& operator=(const Contestant&) = delete;
    virtual ~Contestant() = default;
    /// Comes back when one more image has been drawn, or several.
    virtual void show_next() = 0;
    /// Different images that have been drawn so far.
    [[nodiscard]] virtual std::uint64_t shown() const = 0;
};

/// Every image is drawn by one call, converted before; whoever draws must at least do this.
class BareLoop final : public Contestant {
public:
    explicit BareLoop(const Images& images)
    {
        PvBufferConverter converter;
        for (const auto& image : images) {
            PvBuffer& picture = *pictures_.emplace_back(std::make_unique<PvBuffer>());
            if (!picture.GetImage()->Alloc(bench::image_width, bench::image_height, PvPixelWinRGB32).IsOK() ||
                !converter.Convert(image.get(), &picture, true).IsOK()) {
                stop("An image cannot be converted");
            }
        }
        WNDCLASSW facts{};
        facts.lpfnWndProc = &BareLoop::procedure;
        facts.hInstance = GetModuleHandleW(nullptr);
        facts.lpszClassName = L"VexBenchBareLoop";
        RegisterClassW(&facts);
        window_ = CreateWindowExW(0, facts.lpszClassName, L"Bare loop", WS_OVERLAPPEDWINDOW, 10, 10, window_width,
                                  window_height, nullptr, nullptr, facts.hInstance, nullptr);
        if (window_ == nullptr) {
            stop("A window cannot be made");
        }
        SetWindowLongPtrW(window_, GWLP_USERDATA, reinterpret_cast<LONG_PTR>(this));
        ShowWindow(window_, SW_SHOW);
    }
    ~BareLoop() override { DestroyWindow(window_); }

    void show_next() override
    {
        ++shown_;
        InvalidateRect(window_, nullptr, FALSE);
        UpdateWindow(window_);
        handle_messages();
    }
    [[nodiscard]] std::uint64_t shown() const override { return shown_; }

private:
    static LRESULT CALLBACK procedure(HWND window, UINT message, WPARAM wparam, LPARAM lparam) noexcept
    {
        auto* const bare = reinterpret_cast<BareLoop*>(GetWindowLongPtrW(window, GWLP_USERDATA));
        if (message == WM_ERASEBKGND) {
            return 1;
        }
        if (message == WM_PAINT && bare != nullptr) {
            PAINTSTRUCT paint;
            bare->draw(BeginPaint(window, &paint));
            EndPaint(window, &paint);
            return 0;
        }
        return DefWindowProcW(window, message, wparam, lparam);
    }

    /// As large as the window allows, as the display does.
    void draw(HDC dc) const
    {
        RECT inside{};
        GetClientRect(window_, &inside);
        const double scale = std::min(static_cast<double>(inside.right) / bench::image_width,
                                      static_cast<double>(inside.bottom) / bench::image_height);
        const int width = static_cast<int>(bench::image_width * scale);
        const int height = static_cast<int>(bench::image_height * scale);
        BITMAPINFO info{};
        info.bmiHeader.biSize = sizeof info.bmiHeader;
        info.bmiHeader.biWidth = static_cast<LONG>(bench::image_width);
        info.bmiHeader.biHeight = -static_cast<LONG>(bench::image_height);
        info.bmiHeader.biPlanes = 1;
        info.bmiHeader.biBitCount = 32;
        info.bmiHeader.biCompression = BI_RGB;
        SetStretchBltMode(dc, COLORONCOLOR);
        StretchDIBits(dc, (static_cast<int>(inside.right) - width) / 2, (static_cast<int>(inside.bottom) - height) / 2,
                      width, height, 0, 0, static_cast<int>(bench::image_width), static_cast<int>(bench::image_height),
                      pictures_[static_cast<std::size_t>(shown_ % pictures_.size())]->GetDataPointer(), &info,
                      DIB_RGB_COLORS, SRCCOPY);
    }

    Images pictures_;
    std::uint64_t shown_ = 0;
    HWND window_ = nullptr;
};

/// The display, whose window tells how often it draws.
class Display : public Contestant {
public:
    Display()
    {
        window_.SetPosition(10, 10, window_width, window_height);
        if (!window_.ShowModeless().IsOK() ||
            !SetWindowSubclass(static_cast<HWND>(window_.GetHandle()), &Display::count, 1,
                               reinterpret_cast<DWORD_PTR>(this))) {
            stop("The display cannot be shown");
        }
    }

protected:
    void show(const PvBuffer& image)
    {
        // it only reads the buffer
        if (!window_.Display(const_cast<PvBuffer*>(&image), false).IsOK()) {
            stop("An image cannot be shown");
        }
    }
    [[nodiscard]] std::uint64_t drawn() const { return drawn_.load(std::memory_order_acquire); }
    virtual void begins_to_draw() noexcept {}

private:
    static LRESULT CALLBACK count(HWND window, UINT message, WPARAM wparam, LPARAM lparam, UINT_PTR /*id*/,
                                  DWORD_PTR display) noexcept
    {
        auto* const counting = reinterpret_cast<Display*>(display);
        if (message == WM_PAINT) {
            counting->begins_to_draw();
        }
        const LRESULT answer = DefSubclassProc(window, message, wparam, lparam);
        if (message == WM_PAINT) {
            counting->drawn_.fetch_add(1, std::memory_order_release);
        }
        return answer;
    }

    std::atomic<std::uint64_t> drawn_{0};
    PvDisplayWnd window_;
};

/// Images come from the window's own thread, which converts them, too.
class SameThread final : public Display {
public:
    explicit SameThread(const Images& images) : images_(images) {}

    void show_next() override
    {
        const std::uint64_t before = drawn();
        show(*images_[static_cast<std::size_t>(next_++ % images_.size())]);
        while (drawn() == before) {
            handle_messages();
        }
    }
    [[nodiscard]] std::uint64_t shown() const override { return std::min(drawn(), next_); }

private:
    const Images& images_;
    std::uint64_t next_ = 0;
};

/// Images come from another thread, as from one that receives them; it converts one while another is drawn.
class OtherThread final : public Display {
public:
    explicit OtherThread(const Images& images) : sender_([this, &images] { send(images); }) {}
    ~OtherThread() override
    {
        ended_ = true;
        SetEvent(next_wanted_);
        sender_.join();
        CloseHandle(next_wanted_);
    }

    void show_next() override
    {
        const std::uint64_t before = drawn();
        handle_messages();
        while (drawn() == before) {
            SetEvent(next_wanted_);  // all that was given is drawn
            MsgWaitForMultipleObjects(0, nullptr, FALSE, 100, QS_ALLINPUT);
            handle_messages();
        }
    }
    /// One that was given while another was being drawn may be drawn twice.
    [[nodiscard]] std::uint64_t shown() const override { return std::min(drawn(), sent_.load()); }

private:
    void begins_to_draw() noexcept override { SetEvent(next_wanted_); }
    /// Gives an image whenever the one before is about to be drawn.
    void send(const Images& images)
    {
        while (!ended_) {
            show(*images[static_cast<std::size_t>(sent_++ % images.size())]);
            while (!ended_ && WaitForSingleObject(next_wanted_, 100) != WAIT_OBJECT_0) {
            }
        }
    }

    std::atomic<bool> ended_{false};
    std::atomic<std::uint64_t> sent_{0};
    HANDLE next_wanted_ = CreateEventW(nullptr, FALSE, FALSE, nullptr);
    std::thread sender_;
};

// ---- figures ----

/// Images a second.
double rate(Contestant& contestant)
{
    for (int image = 0; image < first_images; ++image) {
        contestant.show_next();
    }
    const std::uint64_t before = contestant.shown();
    const auto begin = Clock::now();
    std::chrono::duration<double> took{};
    do {
        contestant.show_next();
        took = Clock::now() - begin;
    } while (took < round_time);
    return static_cast<double>(contestant.shown() - before) / took.count();
}

/// How much of a processor 60 images a second take; the rest is waited away. Above 1 where they cannot be had.
double share_at_60(Contestant& contestant)
{
    constexpr std::chrono::microseconds period{1'000'000 / 60};
    for (int image = 0; image < first_images; ++image) {
        contestant.show_next();
    }
    const double before = bench::processor_seconds();
    const auto begin = Clock::now();
    auto next = begin;
    std::chrono::duration<double> took{};
    do {
        contestant.show_next();
        next += period;
        std::this_thread::sleep_until(next);
        took = Clock::now() - begin;
    } while (took < round_time);
    return (bench::processor_seconds() - before) / took.count();
}

double median(std::vector<double> values)
{
    std::nth_element(values.begin(), values.begin() + static_cast<std::ptrdiff_t>(values.size() / 2), values.end());
    return values[values.size() / 2];
}

enum class Way { bare, same_thread, other_thread };
constexpr std::array<Way, 3> ways{Way::bare, Way::same_thread, Way::other_thread};

std::unique_ptr<Contestant> make(Way way, const Images& images)
{
    switch (way) {
    case Way::same_thread: return std::make_unique<SameThread>(images);
    case Way::other_thread: return std::make_unique<OtherThread>(images);
    default: return std::make_unique<BareLoop>(images);
    }
}

}  // namespace

int main()
{
    const Images images = bench::bayer_images();
    if (images.empty()) {
        stop("There is no memory for the images");
    }
    std::array<std::vector<double>, ways.size()> rates;
    std::array<std::vector<double>, ways.size()> ratios;
    for (unsigned round = 0; round < rounds; ++round) {
        std::array<double, ways.size()> of_round{};
        for (std::size_t turn = 0; turn < ways.size(); ++turn) {
            const std::size_t way = (round + turn) % ways.size();
            of_round[way] = rate(*make(ways[way], images));
        }
        for (std::size_t way = 0; way < ways.size(); ++way) {
            rates[way].push_back(of_round[way]);
            ratios[way].push_back(of_round[way] / of_round[0]);
        }
    }
    std::printf("1920x1080 BayerRG8 in a window of %d x %d; medians of %u rounds of %lld ms\n", window_width,
                window_height, rounds, static_cast<long long>(round_time.count()));
    std::printf("  bare StretchDIBits loop, converted before     %7.1f images/s\n", median(rates[0]));
    std::printf("  display, images from its own thread           %7.1f images/s  x%.2f\n", median(rates[1]),
                median(ratios[1]));
    const double ratio = median(ratios[2]);
    std::printf("  display, images from another thread           %7.1f images/s  x%.2f%s\n", median(rates[2]), ratio,
                ratio < target ? "  below 0.90" : "");
    std::printf("  display at 60 images/s: %.0f %% of a processor (this process; what draws the screen is not in it)\n",
                share_at_60(*make(Way::same_thread, images)) * 100);
    return ratio < target ? 1 : 0;
}
