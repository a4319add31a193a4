// Does what another program says, on the thread that shows windows.
#pragma once

#include <windows.h>

#include <functional>
#include <string>
#include <thread>
#include <vector>

namespace gui_test {

/// Commands are lines on standard input, a number before each: "7 move 10 20 300 200". What becomes of one stands on
/// standard output between the lines "begin 7" and "done 7". A command may come while another one has a modal window
/// open.
///
/// Known everywhere: "layout", which prints what layout() does. The input's end is the program's.
///
/// Thread safety: for the thread that made it, one for a program.
class Remote {
public:
    using Words = std::vector<std::string>;
    /// Carries a command out and prints what it found; false for a command that it does not know.
    using Run = std::function<bool(const Words& command)>;

    explicit Remote(Run run);
    Remote(const Remote&) = delete;
    Remote& operator=(const Remote&) = delete;
    ~Remote();

    /// Prints "ready" and handles messages until the input ends.
    void serve();

private:
    static LRESULT CALLBACK procedure(HWND window, UINT message, WPARAM wparam, LPARAM lparam) noexcept;
    static void read(HWND window);
    void take(const std::string& line);

    Run run_;
    HWND window_ = nullptr;  ///< gets the commands: messages of a window reach it in every loop, those of a thread not
    std::thread reader_;
};

}  // namespace gui_test
