#include "bench/genapi/camera_process.h"

#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <exception>
#include <stdexcept>
#include <system_error>

namespace bench {

void fail(const char* what) { throw std::system_error(errno, std::generic_category(), what); }

OneCore::OneCore()
{
    if (::sched_getaffinity(0, sizeof before_, &before_) != 0) {
        fail("sched_getaffinity");
    }
    cpu_set_t one;
    CPU_ZERO(&one);
    CPU_SET(0, &one);
    if (::sched_setaffinity(0, sizeof one, &one) != 0) {
        fail("sched_setaffinity");
    }
    const sched_param parameters{.sched_priority = 1};
    alone_ = ::sched_setscheduler(0, SCHED_FIFO, &parameters) == 0;
}

OneCore::~OneCore()
{
    const sched_param parameters{};
    ::sched_setscheduler(0, SCHED_OTHER, &parameters);
    ::sched_setaffinity(0, sizeof before_, &before_);
}

CameraProcess::CameraProcess(const std::function<void(const Ready&)>& camera)
{
    std::array<int, 2> ready{};
    if (::pipe(ready.data()) != 0) {
        fail("pipe");
    }
    process_ = ::fork();
    if (process_ < 0) {
        fail("fork");
    }
    if (process_ == 0) {
        ::prctl(PR_SET_PDEATHSIG, SIGKILL);
        try {
            camera([&] {
                if (::write(ready[1], "r", 1) != 1) {
                    ::_exit(1);
                }
                for (;;) {
                    ::pause();
                }
            });
        } catch (const std::exception& error) {
            std::fprintf(stderr, "genapi_bench: the camera: %s\n", error.what());
        }
        ::_exit(1);
    }
    ::close(ready[1]);
    char told = 0;
    const bool started = ::read(ready[0], &told, 1) == 1;
    ::close(ready[0]);
    if (!started) {
        ::waitpid(process_, nullptr, 0);
        throw std::runtime_error("the camera does not start");
    }
}

CameraProcess::~CameraProcess()
{
    ::kill(process_, SIGKILL);
    ::waitpid(process_, nullptr, 0);
}

}  // namespace bench
