// A camera whose images arrive through a pipeline: connecting, starting, fetching, stopping, leaving.
// Run in the tests as a part of the viewer.
#pragma once

#include "automation.h"

#include <functional>
#include <string>

/// Objects of the server belong to the thread that created them: everything here happens on one thread.
class LiveCamera {
public:
    /// Throws automation::Failure.
    LiveCamera();
    LiveCamera(const LiveCamera&) = delete;
    LiveCamera& operator=(const LiveCamera&) = delete;
    ~LiveCamera() { disconnect(); }

    /// To a device that a finder showed, or at an address. What was connected before is left first. Throws.
    void connect(IVexDeviceInfo* chosen);
    void connect(const std::wstring& ip_address);
    void disconnect() noexcept;
    [[nodiscard]] bool is_connected() const;
    [[nodiscard]] const std::wstring& address() const { return address_; }

    /// From now on images arrive. Throws.
    void start();
    void stop() noexcept;
    [[nodiscard]] bool is_live() const { return live_; }

    /// Waits that long, in milliseconds, for an image, and passes it on: it is the pipeline's again when `use` comes
    /// back. False when none came. Throws.
    bool next(unsigned int timeout, const std::function<void(IVexBuffer*)>& use);

    /// For a feature browser and a serial bridge; of a camera that is not connected, too.
    [[nodiscard]] IVexDevice* device() const { return device_.get(); }

private:
    void enter(const std::wstring& ip_address);
    void open_stream();
    void execute(const wchar_t* command);
    void lock_settings(bool locked);

    std::wstring address_;
    automation::Ref<IVexDevice> device_;
    automation::Ref<IVexStream> stream_;
    automation::Ref<IVexPipeline> pipeline_;
    bool live_ = false;
};
