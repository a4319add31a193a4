// A device of a process that is really debugged.
#include <gtest/gtest.h>

#ifdef __linux__
#include <sys/prctl.h>
#include <sys/ptrace.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <chrono>
#include <stdexcept>
#include <thread>

#include "tests/sdk/device/device_fixture.h"

using namespace vex;

namespace {

/// A process that attaches to this one when told, and goes when told again.
class Debugger {
public:
    Debugger()
    {
        if (::pipe(to_.data()) != 0 || ::pipe(from_.data()) != 0) {
            throw std::runtime_error("no pipe");
        }
        child_ = ::fork();
        if (child_ == 0) {
            ::close(to_[1]);
            char command = 0;
            char done = 'n';
            if (::read(to_[0], &command, 1) == 1 && ::ptrace(PTRACE_SEIZE, ::getppid(), nullptr, nullptr) == 0) {
                done = 'y';
            }
            const bool told = ::write(from_[1], &done, 1) == 1;
            // until the other end is closed; then the end of this process detaches it
            ::_exit(told && ::read(to_[0], &command, 1) == 0 ? 0 : 1);
        }
        // where only descendants may be debugged
        ::prctl(PR_SET_PTRACER, child_, 0, 0, 0);
    }
    ~Debugger()
    {
        detach();
        for (const int end : {to_[0], from_[0], from_[1]}) {
            ::close(end);
        }
    }
    Debugger(const Debugger&) = delete;
    Debugger& operator=(const Debugger&) = delete;

    bool attach()
    {
        char answer = 'n';
        return ::write(to_[1], "a", 1) == 1 && ::read(from_[0], &answer, 1) == 1 && answer == 'y';
    }
    void detach()
    {
        if (child_ > 0) {
            ::close(to_[1]);
            ::waitpid(child_, nullptr, 0);
            child_ = -1;
        }
    }

private:
    std::array<int, 2> to_{};
    std::array<int, 2> from_{};
    pid_t child_ = -1;
};

using DebuggedDevice = device_test::DeviceTest;

TEST_F(DebuggedDevice, KeepsItsControllerForLongerWhileTheDebuggerIsThere)
{
    Debugger debugger;
    start_and_connect();
    constexpr std::uint32_t heartbeat_timeout = 0x0938;
    PvGenParameterArray& link = *device->GetGenLink();
    EXPECT_TRUE(link.SetBooleanValue("HeartbeatDebugger", true).IsOK());
    EXPECT_TRUE(link.SetIntegerValue("HeartbeatInterval", 20).IsOK());
    const auto becomes = [&](std::uint32_t value) {
        const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(20);
        while (camera->reg(heartbeat_timeout) != value && std::chrono::steady_clock::now() < end) {
            std::this_thread::yield();
        }
        return camera->reg(heartbeat_timeout) == value;
    };
    EXPECT_TRUE(becomes(sound().heartbeat_timeout));
    if (!debugger.attach()) {
        GTEST_SKIP() << "nobody may be debugged here";
    }
    EXPECT_TRUE(becomes(600'000));
    debugger.detach();
    EXPECT_TRUE(becomes(sound().heartbeat_timeout));
}

}  // namespace
#endif
