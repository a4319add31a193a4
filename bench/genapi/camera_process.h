// Cameras in processes of their own, and one core for both sides.
#pragma once

#include <sched.h>
#include <sys/types.h>

#include <functional>

namespace bench {

[[noreturn]] void fail(const char* what);

/// The camera's process and this one take turns on one core: across cores the figures are those of the wake-up. Where
/// that is allowed, nobody else gets a turn in between.
class OneCore {
public:
    OneCore();
    ~OneCore();
    OneCore(const OneCore&) = delete;
    OneCore& operator=(const OneCore&) = delete;

    [[nodiscard]] bool alone() const { return alone_; }

private:
    cpu_set_t before_{};
    bool alone_ = false;
};

/// A camera in a process of its own, which ends with this object. Throws std::system_error or std::runtime_error when
/// it does not start.
class CameraProcess {
public:
    /// `camera` runs in the process: it starts the camera, calls its argument and keeps the camera until that returns,
    /// which it never does.
    using Ready = std::function<void()>;
    explicit CameraProcess(const std::function<void(const Ready&)>& camera);
    ~CameraProcess();
    CameraProcess(const CameraProcess&) = delete;
    CameraProcess& operator=(const CameraProcess&) = delete;

private:
    pid_t process_ = -1;
};

}  // namespace bench
