// The registers behind the camera's features: what they hold, what they refuse and what a write to them does.
#pragma once

#include <array>
#include <functional>
#include <map>
#include <span>
#include <vector>

#include "sdk/virtualdevice/gvcp_responder.h"
#include "tools/softcam/acquisition.h"

namespace softcam {

/// Adds the camera's registers to a responder's map and keeps the acquisition's settings as they say.
///
/// Thread safety: everything happens with the responder's lock held.
class FeatureRegisters {
public:
    /// `reset` is called when an application asks for a restart. The references must outlive the object, and the object
    /// the responder's last datagram. Takes the responder's lock.
    /// `free_geometry`: what images are like may change while frames are taken.
    FeatureRegisters(vex::virtual_device::GvcpResponder& responder, Acquisition& acquisition, CameraEvents& events,
                     std::function<void()> reset, bool free_geometry = false);
    FeatureRegisters(const FeatureRegisters&) = delete;
    FeatureRegisters& operator=(const FeatureRegisters&) = delete;

    /// All settings as after power-on.
    void power_on();
    /// The trigger source that ACTION commands are, if chosen, fires.
    void action();

    /// A user set as a file, and back; false, and nothing has changed, for bytes that are none of this camera's.
    [[nodiscard]] std::vector<std::uint8_t> user_set_file(std::uint32_t set) const;
    [[nodiscard]] bool load_user_set_file(std::uint32_t set, std::span<const std::uint8_t> file);

private:
    using Status = vex::virtual_device::Status;
    using Accept = std::function<Status(std::uint32_t&)>;
    using Bytes = std::vector<std::uint8_t>;
    using UserSet = std::map<std::uint32_t, Bytes>;

    void add_device_registers();
    void add_geometry_registers();
    void add_sampling_registers();
    void add_acquisition_registers();
    void add_analog_registers();
    void add_line_registers();
    void add_user_set_registers();
    void add_user_memory_registers();
    void add_event_registers();
    void add_chunk_registers();

    // A setting that user sets contain. `accept` may refuse or correct; what is stored applies from the next frame on.
    void add_setting(std::uint32_t address, std::uint32_t initial, Accept accept);
    // One that must not change while frames are taken.
    void add_locked_setting(std::uint32_t address, std::uint32_t initial, Accept accept);
    // One of the two, by what the camera was told.
    void add_geometry_setting(std::uint32_t address, std::uint32_t initial, Accept accept);
    void add_wide_setting(std::uint32_t address, std::uint64_t initial, std::function<bool(std::uint64_t)> valid);
    void add_fixed(std::uint32_t address, std::uint32_t value);
    void add_computed(std::uint32_t address, std::function<std::uint32_t()> value);
    void add_command(std::uint32_t address, std::function<Status()> run);
    static Accept at_most(std::uint32_t largest);

    [[nodiscard]] std::uint32_t value(std::uint32_t address) const;
    [[nodiscard]] std::uint64_t wide_value(std::uint32_t address) const;
    void set(std::uint32_t address, std::uint32_t value);
    [[nodiscard]] AcquisitionSettings settings() const;
    [[nodiscard]] vex::test_pattern::FrameSettings frame_settings() const;
    [[nodiscard]] ChunkSettings chunk_settings() const;
    [[nodiscard]] std::uint32_t step_x(std::uint32_t pixel_format) const;
    [[nodiscard]] std::uint32_t step_y(std::uint32_t pixel_format) const;
    void fit_geometry();
    // Lets the camera go by what the registers say.
    void apply();

    [[nodiscard]] UserSet current_settings() const;
    void apply_settings(const UserSet& set);
    [[nodiscard]] Status save_user_set();

    vex::virtual_device::GvcpResponder& responder_;
    vex::virtual_device::RegisterMap& map_;
    Acquisition& acquisition_;
    CameraEvents& events_;
    std::function<void()> reset_;
    const bool free_geometry_;
    std::uint32_t test_events_ = 0;
    std::vector<std::uint32_t> saved_;  // addresses of the regions that user sets contain
    std::array<UserSet, 3> user_sets_;  // the first is what the factory set
};

}  // namespace softcam
