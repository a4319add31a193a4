#include "tests/gui/remote.h"

#include <cstdio>
#include <cstdlib>
#include <iostream>
#include <memory>
#include <sstream>
#include <utility>

#include "tests/gui/layout.h"

namespace gui_test {

namespace {

constexpr UINT line_message = WM_APP + 1;  ///< LPARAM: a std::string to delete
constexpr UINT end_message = WM_APP + 2;
constexpr const wchar_t* class_name = L"VexGuiTestRemote";

}  // namespace

Remote::Remote(Run run) : run_(std::move(run))
{
    WNDCLASSW facts{};
    facts.lpfnWndProc = &Remote::procedure;
    facts.hInstance = GetModuleHandleW(nullptr);
    facts.lpszClassName = class_name;
    RegisterClassW(&facts);
    window_ = CreateWindowExW(0, class_name, L"", 0, 0, 0, 0, 0, HWND_MESSAGE, nullptr, facts.hInstance, nullptr);
    if (window_ == nullptr) {
        std::fprintf(stderr, "No window for commands: %lu\n", GetLastError());
        std::exit(1);
    }
    SetWindowLongPtrW(window_, GWLP_USERDATA, reinterpret_cast<LONG_PTR>(this));
}

Remote::~Remote()
{
    if (reader_.joinable()) {
        reader_.join();
    }
    DestroyWindow(window_);
}

void Remote::serve()
{
    reader_ = std::thread(&Remote::read, window_);
    std::printf("ready\n");
    std::fflush(stdout);
    MSG message;
    while (GetMessageW(&message, nullptr, 0, 0) > 0) {
        TranslateMessage(&message);
        DispatchMessageW(&message);
    }
}

void Remote::read(HWND window)
{
    std::string line;
    while (std::getline(std::cin, line)) {
        auto given = std::make_unique<std::string>(line);
        if (PostMessageW(window, line_message, 0, reinterpret_cast<LPARAM>(given.get()))) {
            static_cast<void>(given.release());
        }
    }
    PostMessageW(window, end_message, 0, 0);
}

LRESULT CALLBACK Remote::procedure(HWND window, UINT message, WPARAM wparam, LPARAM lparam) noexcept
{
    auto* const remote = reinterpret_cast<Remote*>(GetWindowLongPtrW(window, GWLP_USERDATA));
    if (message == line_message && remote != nullptr) {
        const std::unique_ptr<std::string> line(reinterpret_cast<std::string*>(lparam));
        remote->take(*line);
        return 0;
    }
    if (message == end_message) {
        PostQuitMessage(0);
        return 0;
    }
    return DefWindowProcW(window, message, wparam, lparam);
}

void Remote::take(const std::string& line)
{
    std::istringstream input(line);
    std::string number;
    input >> number;
    Words words;
    for (std::string word; input >> word;) {
        words.push_back(word);
    }
    if (words.empty()) {
        return;
    }
    std::printf("begin %s\n", number.c_str());
    if (words.front() == "layout") {
        std::fputs(layout().c_str(), stdout);
    } else if (!run_(words)) {
        std::printf("unknown %s\n", words.front().c_str());
    }
    std::printf("done %s\n", number.c_str());
    std::fflush(stdout);
}

}  // namespace gui_test
