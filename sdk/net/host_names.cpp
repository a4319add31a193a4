#include "sdk/net/host_names.h"

#include <algorithm>
#include <atomic>
#include <condition_variable>
#include <memory>
#include <mutex>
#include <system_error>
#include <utility>

#include "sdk/net/loose_thread.h"
#include "sdk/net/tcp_connection.h"

namespace vex::net {

namespace {

constexpr std::size_t longest_name = 253;
bool is_digit(char c) noexcept { return c >= '0' && c <= '9'; }

bool is_allowed(char c) noexcept
{
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || is_digit(c) || c == '-' || c == '_' || c == '.';
}

/// Decimal, or hexadecimal with "0x".
bool is_number(std::string_view text) noexcept
{
    const auto is_hex_digit = [](char c) { return is_digit(c) || (c >= 'a' && c <= 'f') || (c >= 'A' && c <= 'F'); };
    if (text.starts_with("0x") || text.starts_with("0X")) {
        return std::all_of(text.begin() + 2, text.end(), is_hex_digit);
    }
    return std::all_of(text.begin(), text.end(), is_digit);
}

/// Shared by whoever asks and the thread that waits for the resolver.
struct Question {
    std::mutex mutex;
    std::condition_variable changed;
    bool answered = false;
    std::optional<Ipv4Address> address;
};

}  // namespace

struct BoundedHostNames::Shared {
    Resolver resolver;
    std::atomic<int> under_way{0};
};

BoundedHostNames::BoundedHostNames(Resolver resolver) : shared_(std::make_shared<Shared>())
{
    shared_->resolver = std::move(resolver);
}

HostAddress BoundedHostNames::find(const std::string& host, std::chrono::milliseconds timeout)
{
    if (shared_->under_way.fetch_add(1) >= most_questions) {
        shared_->under_way.fetch_sub(1);
        return {std::nullopt, false};
    }
    const auto question = std::make_shared<Question>();
    try {
        run_loose([shared = shared_, question, host] {
            const auto address = shared->resolver(host);
            shared->under_way.fetch_sub(1);
            const std::scoped_lock lock(question->mutex);
            question->address = address;
            question->answered = true;
            question->changed.notify_all();
        });
    } catch (const std::system_error&) {
        shared_->under_way.fetch_sub(1);
        return {std::nullopt, false};
    }
    std::unique_lock lock(question->mutex);
    const bool in_time = question->changed.wait_for(lock, timeout, [&] { return question->answered; });
    return {question->address, in_time};
}

HostNames& HostNames::system() noexcept
{
    // never destroyed: connections may be made as long as the process runs
    static auto* const names = new BoundedHostNames(&address_of_host);
    return *names;
}

bool is_host_name(std::string_view text) noexcept
{
    if (text.size() > longest_name || !std::all_of(text.begin(), text.end(), is_allowed)) {
        return false;
    }
    const std::string_view last = text.substr(text.rfind('.') + 1);
    return !last.empty() && !is_number(last);
}

}  // namespace vex::net
