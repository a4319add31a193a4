#include "tools/pvctl/interrupt.h"

#include <pthread.h>
#include <unistd.h>

#include <csignal>
#include <ctime>

namespace pvctl {

namespace {

constexpr int wake_signal = SIGUSR1;

sigset_t all_signals()
{
    sigset_t signals;
    sigemptyset(&signals);
    sigaddset(&signals, SIGINT);
    sigaddset(&signals, SIGTERM);
    sigaddset(&signals, wake_signal);
    return signals;
}

}  // namespace

Interrupt::Interrupt()
{
    const sigset_t signals = all_signals();
    pthread_sigmask(SIG_BLOCK, &signals, nullptr);
}

bool Interrupt::wait(std::chrono::milliseconds time)
{
    const sigset_t signals = all_signals();
    const auto seconds = std::chrono::floor<std::chrono::seconds>(time);
    const timespec limit{seconds.count(), std::chrono::nanoseconds(time - seconds).count()};
    const int signal = ended_ ? SIGINT : sigtimedwait(&signals, nullptr, &limit);
    ended_ = signal == SIGINT || signal == SIGTERM;
    return ended_;
}

void Interrupt::wake() const { kill(getpid(), wake_signal); }

}  // namespace pvctl
