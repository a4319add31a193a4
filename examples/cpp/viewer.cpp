// A viewer for one camera: the server's device finder, display and feature browser in a program's own window, live
// images, recording to files, and the bridges from the camera's serial ports.
//
//   viewer [IP-ADDRESS [FOLDER]]
//
// With an address it connects and starts at once. FOLDER takes the recorded images (default: the current folder).
//
// Run in the tests, with mouse and keyboard under Wine: ./run test gui.
//
// Plain Win32, one thread. What to look at first: Viewer::choose() shows the finder, Viewer::show_image() the display,
// Viewer::run() how live images and a message loop go together. How images get here is in live_camera.cpp.
#include "live_camera.h"

#include <shellapi.h>

#include <string>
#include <vector>

using automation::attempt;
using automation::Failure;
using automation::Ref;
using automation::require;
using automation::Text;

namespace {

// 1 and 2 are what Enter and Escape mean in dialogs
enum Control : int { id_choose = 101, id_live, id_record, id_ports, id_status, id_display, id_features };

// lengths on a screen of 96 pixels to the inch
constexpr int margin = 8;
constexpr int button_width = 120;
constexpr int line_height = 26;
constexpr int features_width = 500;

class Viewer {
public:
    explicit Viewer(std::wstring folder) : folder_(std::move(folder)) {}
    Viewer(const Viewer&) = delete;
    Viewer& operator=(const Viewer&) = delete;
    ~Viewer();

    /// Throws automation::Failure.
    void open();
    /// Connects to a camera and shows its images, or tells why not.
    void begin(const std::wstring& ip_address);
    /// Until the window is closed.
    void run();

private:
    static LRESULT CALLBACK procedure(HWND window, UINT message, WPARAM wparam, LPARAM lparam);
    HWND add(const wchar_t* kind, const wchar_t* words, int id, DWORD style);
    [[nodiscard]] int scaled(int length) const;
    void set_font();
    void arrange();
    void update_buttons();
    void tell(const std::wstring& words) { SetWindowTextW(status_, words.c_str()); }
    /// Does what may fail and tells of it.
    template <class Action>
    void guarded(const wchar_t* what, Action&& action);

    void command(int id);
    void choose();
    void toggle_live();
    void toggle_recording();
    void show_camera();
    void show_ports();
    void show_next();
    void show_image(IVexBuffer* buffer);
    void record(IVexBuffer* buffer);
    void tell_progress();

    LiveCamera camera_;
    Ref<IVexDisplayWnd> display_;
    Ref<IVexGenBrowserWnd> features_;
    Ref<IVexSerialBridgeManagerWnd> ports_;
    Ref<IVexBufferWriter> writer_;

    std::wstring folder_;
    bool recording_ = false;
    unsigned int recorded_ = 0;
    unsigned int shown_ = 0;  ///< since `counted_since_`
    ULONGLONG counted_since_ = 0;
    std::wstring rate_;

    HWND window_ = nullptr;
    HWND status_ = nullptr;
    HFONT font_ = nullptr;
    unsigned int dpi_ = 96;
};

// ---- the window ----

Viewer::~Viewer()
{
    if (window_ != nullptr) {  // something failed while it was made
        SetWindowLongPtrW(window_, GWLP_USERDATA, 0);
        DestroyWindow(window_);
    }
    if (font_ != nullptr) {
        DeleteObject(font_);
    }
}

void Viewer::open()
{
    create(display_, CLSID_VexDisplayWnd);
    create(features_, CLSID_VexGenBrowserWnd);
    create(ports_, CLSID_VexSerialBridgeManagerWnd);
    create(writer_, CLSID_VexBufferWriter);

    WNDCLASSW facts{};
    facts.lpfnWndProc = &Viewer::procedure;
    facts.hInstance = GetModuleHandleW(nullptr);
    facts.lpszClassName = L"VexViewer";
    facts.hCursor = LoadCursorW(nullptr, IDC_ARROW);
    facts.hbrBackground = GetSysColorBrush(COLOR_BTNFACE);
    RegisterClassW(&facts);
    CreateWindowExW(WS_EX_CONTROLPARENT, facts.lpszClassName, L"Viewer", WS_OVERLAPPEDWINDOW | WS_CLIPCHILDREN,
                    CW_USEDEFAULT, CW_USEDEFAULT, CW_USEDEFAULT, CW_USEDEFAULT, nullptr, nullptr, facts.hInstance,
                    this);
    if (window_ == nullptr) {
        throw Failure{L"making the window"};
    }
    dpi_ = GetDpiForWindow(window_);
    SetWindowPos(window_, nullptr, 0, 0, scaled(1180), scaled(720), SWP_NOMOVE | SWP_NOZORDER);
    add(L"BUTTON", L"&Choose camera\u2026", id_choose, WS_TABSTOP);
    add(L"BUTTON", L"&Start", id_live, WS_TABSTOP);
    add(L"BUTTON", L"R&ecord", id_record, WS_TABSTOP);
    add(L"BUTTON", L"Serial &ports\u2026", id_ports, WS_TABSTOP);
    status_ = add(L"STATIC", L"Choose a camera.", id_status, SS_NOPREFIX);
    set_font();

    // The display becomes a control of this window, with an identifier like any other. From now on the program only
    // says where it stands; zooming, moving and drawing are its own.
    require(L"making the display", [&](IVexResult** result) {
        return display_->Create(reinterpret_cast<INT_PTR>(window_), id_display, result);
    });
    update_buttons();
    arrange();
    ShowWindow(window_, SW_SHOW);
}

HWND Viewer::add(const wchar_t* kind, const wchar_t* words, int id, DWORD style)
{
    return CreateWindowExW(0, kind, words, WS_CHILD | WS_VISIBLE | style, 0, 0, 0, 0, window_,
                           reinterpret_cast<HMENU>(static_cast<INT_PTR>(id)), GetModuleHandleW(nullptr), nullptr);
}

int Viewer::scaled(int length) const { return MulDiv(length, static_cast<int>(dpi_), 96); }

/// The system's font for dialogs, in the size of the screen that the window is on.
void Viewer::set_font()
{
    NONCLIENTMETRICSW metrics{};
    metrics.cbSize = sizeof metrics;
    SystemParametersInfoForDpi(SPI_GETNONCLIENTMETRICS, sizeof metrics, &metrics, 0, dpi_);
    const HFONT before = std::exchange(font_, CreateFontIndirectW(&metrics.lfMessageFont));
    for (const int id : {id_choose, id_live, id_record, id_ports, id_status}) {
        SendDlgItemMessageW(window_, id, WM_SETFONT, reinterpret_cast<WPARAM>(font_), TRUE);
    }
    if (before != nullptr) {
        DeleteObject(before);
    }
}

void Viewer::arrange()
{
    RECT inside{};
    GetClientRect(window_, &inside);
    const int width = static_cast<int>(inside.right);
    const int height = static_cast<int>(inside.bottom);
    const int gap = scaled(margin);
    const int line = scaled(line_height);
    int x = gap;
    for (const int id : {id_choose, id_live, id_record, id_ports}) {
        MoveWindow(GetDlgItem(window_, id), x, gap, scaled(button_width), line, TRUE);
        x += scaled(button_width) + gap;
    }
    MoveWindow(status_, gap, height - line, width - 2 * gap, line, TRUE);

    const int top = line + 2 * gap;
    const int room = height - top - line - gap;
    // features stand beside the image as soon as there is a camera
    const HWND features = GetDlgItem(window_, id_features);
    const int beside = features != nullptr ? scaled(features_width) + gap : 0;
    display_->SetPosition(gap, top, width - 2 * gap - beside, room);
    if (features != nullptr) {
        features_->SetPosition(width - scaled(features_width) - gap, top, scaled(features_width), room);
    }
}

void Viewer::update_buttons()
{
    const bool connected = camera_.is_connected();
    EnableWindow(GetDlgItem(window_, id_live), connected);
    EnableWindow(GetDlgItem(window_, id_record), camera_.is_live());
    EnableWindow(GetDlgItem(window_, id_ports), connected);
    SetDlgItemTextW(window_, id_live, camera_.is_live() ? L"&Stop" : L"&Start");
    SetDlgItemTextW(window_, id_record, recording_ ? L"End r&ecording" : L"R&ecord");
    std::wstring title = L"Viewer";
    if (connected) {
        title += L" - " + camera_.address();
    }
    if (camera_.is_live() && !rate_.empty()) {
        title += L", live";
    }
    SetWindowTextW(window_, title.c_str());
}

LRESULT CALLBACK Viewer::procedure(HWND window, UINT message, WPARAM wparam, LPARAM lparam)
{
    if (message == WM_NCCREATE) {
        auto* const made = static_cast<Viewer*>(reinterpret_cast<CREATESTRUCTW*>(lparam)->lpCreateParams);
        made->window_ = window;
        SetWindowLongPtrW(window, GWLP_USERDATA, reinterpret_cast<LONG_PTR>(made));
    }
    auto* const viewer = reinterpret_cast<Viewer*>(GetWindowLongPtrW(window, GWLP_USERDATA));
    if (viewer == nullptr) {
        return DefWindowProcW(window, message, wparam, lparam);
    }
    switch (message) {
    case WM_COMMAND: viewer->command(LOWORD(wparam)); return 0;
    case WM_SIZE: viewer->arrange(); return 0;
    case WM_DPICHANGED: {
        const RECT& wanted = *reinterpret_cast<const RECT*>(lparam);
        viewer->dpi_ = HIWORD(wparam);
        viewer->set_font();
        SetWindowPos(window, nullptr, wanted.left, wanted.top, wanted.right - wanted.left, wanted.bottom - wanted.top,
                     SWP_NOZORDER | SWP_NOACTIVATE);
        return 0;
    }
    case WM_DESTROY: PostQuitMessage(0); return 0;
    case WM_NCDESTROY: viewer->window_ = nullptr; [[fallthrough]];
    default: return DefWindowProcW(window, message, wparam, lparam);
    }
}

// ---- commands ----

template <class Action>
void Viewer::guarded(const wchar_t* what, Action&& action)
{
    try {
        action();
    } catch (const Failure& failure) {
        tell(std::wstring(what) + L" failed: " + failure.text);
    }
    update_buttons();
}

void Viewer::command(int id)
{
    switch (id) {
    case id_choose: guarded(L"Connecting", [&] { choose(); }); break;
    case id_live: guarded(L"Starting", [&] { toggle_live(); }); break;
    case id_record: toggle_recording(); break;
    case id_ports: guarded(L"Showing serial ports", [&] { show_ports(); }); break;
    default: break;
    }
}

/// The finder searches while it is shown, and comes back when the user has chosen or left it. This window takes no
/// input meanwhile.
void Viewer::choose()
{
    Ref<IVexDeviceFinderWnd> finder;
    create(finder, CLSID_VexDeviceFinderWnd);
    attempt([&](IVexResult** result) { finder->ShowModal(reinterpret_cast<INT_PTR>(window_), result); });
    Ref<IVexDeviceInfo> chosen;
    finder->get_Selected(chosen.out());
    if (!chosen) {
        return;  // left without a choice: what was connected stays so
    }
    recording_ = false;
    camera_.connect(chosen.get());
    show_camera();
    toggle_live();
}

void Viewer::begin(const std::wstring& ip_address)
{
    guarded(L"Connecting", [&] {
        camera_.connect(ip_address);
        show_camera();
        toggle_live();
    });
}

void Viewer::toggle_live()
{
    recording_ = false;
    if (camera_.is_live()) {
        camera_.stop();
        tell(L"Stopped.");
        return;
    }
    camera_.start();
    shown_ = 0;
    counted_since_ = GetTickCount64();
    rate_.clear();
    tell(L"Waiting for images\u2026");
}

void Viewer::toggle_recording()
{
    recording_ = !recording_ && camera_.is_live();
    if (recording_) {
        recorded_ = 0;
    }
    update_buttons();
    tell_progress();
}

/// The browser goes where arrange() finds it by its identifier. The bridge manager gets the camera here and once:
/// bridges run whether its window is shown or not, and end when it is given a device again.
void Viewer::show_camera()
{
    attempt([&](IVexResult** result) { ports_->SetDevice(camera_.device(), result); });
    Ref<IVexGenParameterArray> features;
    camera_.device()->get_GenParameters(features.out());
    if (FAILED(features_->put_GenParameterArray(features.get()))) {
        return;
    }
    if (GetDlgItem(window_, id_features) == nullptr) {
        attempt(
            [&](IVexResult** result) { features_->Create(reinterpret_cast<INT_PTR>(window_), id_features, result); });
    }
    arrange();
}

void Viewer::show_ports()
{
    INT_PTR shown = 0;
    ports_->get_Handle(&shown);
    if (shown != 0) {
        SetForegroundWindow(reinterpret_cast<HWND>(shown));
        return;
    }
    require(L"opening its window",
            [&](IVexResult** result) { return ports_->ShowModeless(reinterpret_cast<INT_PTR>(window_), result); });
}

// ---- images ----

/// Messages first, then an image if one has come: the window answers its user however fast the camera is. While the
/// user moves the window or looks at a dialog, another loop runs, and the image stands still; the pipeline then drops
/// what nobody fetches.
void Viewer::run()
{
    for (;;) {
        MSG message;
        while (PeekMessageW(&message, nullptr, 0, 0, PM_REMOVE)) {
            if (message.message == WM_QUIT) {
                return;
            }
            if (!IsDialogMessageW(window_, &message)) {  // tabs and the keys of buttons
                TranslateMessage(&message);
                DispatchMessageW(&message);
            }
        }
        if (camera_.is_live()) {
            show_next();
        } else {
            WaitMessage();
        }
    }
}

void Viewer::show_next()
{
    constexpr unsigned int patience = 10;  // ms; as long a message may have to wait
    try {
        camera_.next(patience, [&](IVexBuffer* buffer) { show_image(buffer); });
    } catch (const Failure& failure) {
        recording_ = false;
        tell(L"Failed: " + failure.text);
        update_buttons();
    }
}

/// Display copies what it shows: the buffer goes back to the pipeline at once.
void Viewer::show_image(IVexBuffer* buffer)
{
    attempt([&](IVexResult** result) { display_->Display(buffer, VARIANT_FALSE, result); });
    if (recording_) {
        record(buffer);
    }
    ++shown_;
    const ULONGLONG now = GetTickCount64();
    if (now - counted_since_ >= 1000) {
        const ULONGLONG tenths = 10'000 * ULONGLONG{shown_} / (now - counted_since_);
        rate_ = std::to_wstring(tenths / 10) + L"." + std::to_wstring(tenths % 10) + L" images a second";
        shown_ = 0;
        counted_since_ = now;
        tell_progress();
        update_buttons();
    }
}

/// The writer converts what a bitmap cannot hold, Bayer images for instance, to colours.
void Viewer::record(IVexBuffer* buffer)
{
    const std::wstring digits = std::to_wstring(++recorded_);
    const std::wstring zeros(digits.size() < 6 ? 6 - digits.size() : 0, L'0');
    const Text path(folder_ + L"\\image_" + zeros + digits + L".bmp");
    require(L"saving " + path.str(),
            [&](IVexResult** result) { return writer_->Store(buffer, path.in(), VexBufferFormatBMP, result); });
}

void Viewer::tell_progress()
{
    tell(recording_ || recorded_ != 0 ? rate_ + L", " + std::to_wstring(recorded_) + L" recorded in " + folder_
                                      : rate_);
}

/// What stands behind the program's name, in wide characters.
std::vector<std::wstring> arguments()
{
    int count = 0;
    wchar_t** const words = CommandLineToArgvW(GetCommandLineW(), &count);
    std::vector<std::wstring> given(words + 1, words + count);
    LocalFree(words);
    return given;
}

}  // namespace

int main()
{
    // the window says itself how large things are on its screen
    SetProcessDpiAwarenessContext(DPI_AWARENESS_CONTEXT_PER_MONITOR_AWARE_V2);
    // windows want a single-threaded apartment: one thread has the objects and the message loop
    if (FAILED(CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED))) {
        return 1;
    }
    int code = 0;
    try {
        const auto given = arguments();
        Viewer viewer(given.size() > 1 ? given[1] : L".");
        viewer.open();
        if (!given.empty()) {
            viewer.begin(given[0]);
        }
        viewer.run();
    } catch (const Failure& failure) {
        MessageBoxW(nullptr, failure.text.c_str(), L"Viewer", MB_ICONERROR);
        code = 1;
    }
    CoUninitialize();
    return code;
}
