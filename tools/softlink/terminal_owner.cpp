#include "tools/softlink/terminal_owner.h"

#include <array>
#include <cerrno>
#include <csignal>
#include <system_error>

#include <fcntl.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

namespace softlink {

namespace {

/// The process: takes the terminal, says so, and waits for its parent's end. Only what may be called between fork and
/// exec in a program with threads.
[[noreturn]] void own(const char* terminal, int parent) noexcept
{
    ::signal(SIGHUP, SIG_IGN);
    ::setsid();
    const int line = ::open(terminal, O_RDWR | O_NOCTTY);
    char byte = 0;
    if (line >= 0 && ::ioctl(line, TIOCSCTTY, 0) == 0 && ::write(parent, &byte, 1) == 1) {
        while (::read(parent, &byte, 1) < 0 && errno == EINTR) {
        }
    }
    ::_exit(0);
}

}  // namespace

TerminalOwner::TerminalOwner(const std::string& terminal)
{
    std::array<int, 2> ends{};
    if (::socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends.data()) != 0) {
        throw std::system_error(errno, std::generic_category(), "The terminal's owner cannot be talked to");
    }
    const char* const name = terminal.c_str();
    process_ = ::fork();
    if (process_ == 0) {
        ::close(ends[0]);
        own(name, ends[1]);
    }
    const int error = errno;
    ::close(ends[1]);
    child_.emplace(ends[0]);
    if (process_ < 0) {
        throw std::system_error(error, std::generic_category(), "There is no process to own the terminal");
    }
    char byte = 0;
    if (::read(child_->get(), &byte, 1) != 1) {
        end();
        throw std::system_error(std::make_error_code(std::errc::not_a_stream), "The terminal has another owner");
    }
}

TerminalOwner::~TerminalOwner() { end(); }

void TerminalOwner::end() noexcept
{
    child_.reset();
    ::waitpid(process_, nullptr, 0);
}

}  // namespace softlink
