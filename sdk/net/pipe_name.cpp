#include "sdk/net/pipe_name.h"

#include <algorithm>
#include <charconv>
#include <cstdint>
#include <cstdlib>
#include <system_error>

#ifndef _WIN32
#include <unistd.h>
#endif

namespace vex::net {

namespace {

constexpr std::size_t longest_name = 64;

/// The rest of a text that begins with a word in lower case; empty where it does not.
std::optional<std::string_view> after_word(std::string_view text, std::string_view word)
{
    const auto same = [](char given, char wanted) {
        return given == wanted || (given >= 'A' && given <= 'Z' && given - 'A' + 'a' == wanted);
    };
    if (text.size() < word.size() || !std::equal(word.begin(), word.end(), text.begin(),
                                                 [same](char wanted, char given) { return same(given, wanted); })) {
        return std::nullopt;
    }
    return text.substr(word.size());
}

bool is_name(std::string_view text)
{
    return !text.empty() && text.size() <= longest_name && text != "." && text != ".." &&
           std::all_of(text.begin(), text.end(), [](char each) {
               return (each >= '0' && each <= '9') || (each >= 'A' && each <= 'Z') || (each >= 'a' && each <= 'z') ||
                      each == '.' || each == '_' || each == '-';
           });
}

std::optional<Endpoint> parse_tcp(std::string_view text)
{
    Endpoint endpoint{loopback_address, 0};
    if (const std::size_t colon = text.rfind(':'); colon != std::string_view::npos) {
        const auto address = Ipv4Address::parse(text.substr(0, colon));
        if (!address) {
            return std::nullopt;
        }
        endpoint.address = *address;
        text.remove_prefix(colon + 1);
    }
    const char* const end = text.data() + text.size();
    const auto [stopped, error] = std::from_chars(text.data(), end, endpoint.port);
    if (error != std::errc() || stopped != end) {
        return std::nullopt;
    }
    return endpoint;
}

}  // namespace

std::optional<PipeName> PipeName::parse(std::string_view text)
{
    if (const auto tcp = after_word(text, "tcp:")) {
        const auto endpoint = parse_tcp(*tcp);
        return endpoint ? std::optional(PipeName{{}, endpoint}) : std::nullopt;
    }
    const std::string_view name = after_word(text, "pipe:").value_or(text);
    return is_name(name) ? std::optional(PipeName{std::string(name), {}}) : std::nullopt;
}

std::string PipeName::to_string() const
{
    if (!tcp) {
        return "pipe:" + name;
    }
    return "tcp:" + (tcp->address == loopback_address ? std::to_string(tcp->port) : tcp->to_string());
}

std::string PipeName::path() const
{
#ifdef _WIN32
    return R"(\\.\pipe\)" + name;
#else
    const char* const folder = std::getenv("XDG_RUNTIME_DIR");
    return folder != nullptr && *folder != '\0' ? std::string(folder) + "/vex-" + name + ".sock"
                                                : "/tmp/vex-" + std::to_string(::getuid()) + "-" + name + ".sock";
#endif
}

}  // namespace vex::net
