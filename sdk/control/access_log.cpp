#include "sdk/control/access_log.h"

#include <array>
#include <new>
#include <utility>

#include "sdk/wire/bytes.h"

namespace vex::control {

namespace {

thread_local AccessLog* current = nullptr;

}  // namespace

std::atomic<unsigned> AccessLog::logs_{0};

AccessLog::AccessLog(bool is_wanted) noexcept : outer_(current), ended_(!is_wanted)
{
    if (is_wanted) {
        current = this;
        ++logs_;
    }
}

AccessLog::~AccessLog() { static_cast<void>(end()); }

std::vector<LoggedAccess> AccessLog::end() noexcept
{
    if (!std::exchange(ended_, true)) {
        current = outer_;
        --logs_;
    }
    return std::exchange(accesses_, {});
}

void AccessLog::note_in_current(bool is_write, std::uint32_t address, std::span<const std::uint8_t> bytes) noexcept
{
    if (current == nullptr) {
        return;
    }
    try {
        current->accesses_.push_back({is_write, address, {bytes.begin(), bytes.end()}});
    } catch (const std::bad_alloc&) {
        // the access counts more than that it is told
    }
}

void AccessLog::note_in_current(bool is_write, std::uint32_t address, std::uint32_t value) noexcept
{
    std::array<std::uint8_t, 4> bytes{};
    wire::store_be32(bytes.data(), value);
    note_in_current(is_write, address, bytes);
}

}  // namespace vex::control
