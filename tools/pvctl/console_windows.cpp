#include <fcntl.h>
#include <io.h>
#include <windows.h>
// after windows.h
#include <shellapi.h>

#include <algorithm>
#include <cstdio>
#include <string_view>

#include "tools/pvctl/console.h"

namespace pvctl {

namespace {

std::string utf8_of(std::wstring_view text)
{
    const int wide = static_cast<int>(text.size());
    std::string bytes(text.size() * 3, '\0');
    const int size = WideCharToMultiByte(CP_UTF8, 0, text.data(), wide, bytes.data(), static_cast<int>(bytes.size()),
                                         nullptr, nullptr);
    bytes.resize(static_cast<std::size_t>(size));
    return bytes;
}

bool is_console(DWORD which)
{
    DWORD mode = 0;
    return GetConsoleMode(GetStdHandle(which), &mode) != 0;
}

/// Lets a console obey the codes that move its cursor. Its settings before, 0 when it is no console.
DWORD obey_codes(DWORD which)
{
    DWORD mode = 0;
    if (GetConsoleMode(GetStdHandle(which), &mode) != 0) {
        SetConsoleMode(GetStdHandle(which), mode | ENABLE_PROCESSED_OUTPUT | ENABLE_VIRTUAL_TERMINAL_PROCESSING);
    }
    return mode;
}

}  // namespace

struct Console::Before {
    UINT code_page = GetConsoleOutputCP();
    DWORD output = obey_codes(STD_OUTPUT_HANDLE);
    DWORD errors = obey_codes(STD_ERROR_HANDLE);
};

Console::Console() : before_(std::make_unique<Before>())
{
    SetConsoleOutputCP(CP_UTF8);
    _setmode(_fileno(stdout), _O_BINARY);
    _setmode(_fileno(stdin), _O_BINARY);
}

/// The console belongs to whoever started the program, and stays as it was.
Console::~Console()
{
    std::fflush(stdout);
    if (before_->errors != 0) {
        SetConsoleMode(GetStdHandle(STD_ERROR_HANDLE), before_->errors);
    }
    if (before_->output != 0) {
        SetConsoleMode(GetStdHandle(STD_OUTPUT_HANDLE), before_->output);
    }
    if (before_->code_page != 0) {
        SetConsoleOutputCP(before_->code_page);
    }
}

std::vector<std::string> arguments(int argc, const char* const* argv)
{
    int count = 0;
    wchar_t** wide = CommandLineToArgvW(GetCommandLineW(), &count);
    if (wide == nullptr) {
        return {argv, argv + argc};
    }
    std::vector<std::string> all(static_cast<std::size_t>(count));
    std::transform(wide, wide + count, all.begin(), [](const wchar_t* one) { return utf8_of(one); });
    LocalFree(wide);
    return all;
}

bool output_is_terminal() { return is_console(STD_OUTPUT_HANDLE); }

bool error_output_is_terminal() { return is_console(STD_ERROR_HANDLE); }

std::size_t output_width()
{
    CONSOLE_SCREEN_BUFFER_INFO info{};
    return GetConsoleScreenBufferInfo(GetStdHandle(STD_OUTPUT_HANDLE), &info) != 0
               ? static_cast<std::size_t>(info.srWindow.Right - info.srWindow.Left + 1)
               : 0;
}

struct RawInput::Before {
    HANDLE input = GetStdHandle(STD_INPUT_HANDLE);
    DWORD mode = 0;
    std::string pending{};  ///< typed, and not read yet
};

RawInput::RawInput() : before_(std::make_unique<Before>())
{
    is_terminal_ = GetConsoleMode(before_->input, &before_->mode) != 0;
    if (is_terminal_) {
        SetConsoleMode(before_->input, before_->mode & static_cast<DWORD>(~(ENABLE_LINE_INPUT | ENABLE_ECHO_INPUT |
                                                                            ENABLE_PROCESSED_INPUT)));
    }
}

RawInput::~RawInput()
{
    if (is_terminal_) {
        SetConsoleMode(before_->input, before_->mode);
    }
}

std::size_t RawInput::read(std::span<std::uint8_t> bytes)
{
    DWORD got = 0;
    if (!is_terminal_) {
        // a pipe whose other end is closed fails, which is its end
        return ReadFile(before_->input, bytes.data(), static_cast<DWORD>(bytes.size()), &got, nullptr) != 0 ? got : 0;
    }
    std::string& pending = before_->pending;
    if (pending.empty()) {
        wchar_t typed[64];
        if (ReadConsoleW(before_->input, typed, 64, &got, nullptr) == 0) {
            return 0;
        }
        pending = utf8_of({typed, got});
    }
    const std::size_t size = std::min(pending.size(), bytes.size());
    std::copy_n(pending.begin(), size, bytes.begin());
    pending.erase(0, size);
    return size;
}

}  // namespace pvctl
