#include "sdk/description/http_answer.h"

#include <algorithm>
#include <charconv>
#include <system_error>
#include <utility>

#include "sdk/description/url_text.h"

namespace vex::description {

namespace {

constexpr std::size_t largest_head = std::size_t{16} << 10;
constexpr int found = 200;

template <class Number>
std::optional<Number> decimal(std::string_view text)
{
    Number value = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
    if (text.empty() || error != std::errc() || end != text.data() + text.size()) {
        return std::nullopt;
    }
    return value;
}

struct HeadEnd {
    std::size_t at = std::string_view::npos;  ///< of the blank line
    std::size_t body = 0;                     ///< of what follows it
};

/// The first blank line from `begin` on, whichever way the server ends its lines. The other way may be found in the
/// body.
HeadEnd find_head_end(std::string_view text, std::size_t begin)
{
    for (std::size_t at = text.find('\n', begin); at != std::string_view::npos; at = text.find('\n', at + 1)) {
        const std::string_view rest = text.substr(at + 1, 2);
        if (rest.starts_with('\n')) {
            return {at, at + 2};
        }
        if (rest == "\r\n") {
            return {at, at + 3};
        }
    }
    return {};
}

}  // namespace

std::optional<HttpAddress> parse_http_address(std::string_view url)
{
    if (!starts_with_word(url, "http://") ||
        std::any_of(url.begin(), url.end(), [](char c) { return c <= ' ' || c > '~'; })) {
        return std::nullopt;
    }
    url.remove_prefix(7);
    url = url.substr(0, url.find('#'));
    const std::size_t end = std::min(url.find_first_of("/?"), url.size());
    std::string_view authority = url.substr(0, end);
    HttpAddress address;
    address.path = url.substr(end);
    if (!address.path.starts_with('/')) {
        address.path.insert(0, "/");
    }
    if (authority.find_first_of("@[") != std::string_view::npos) {
        return std::nullopt;
    }
    if (const std::size_t colon = authority.find(':'); colon != std::string_view::npos) {
        const auto port = decimal<std::uint16_t>(authority.substr(colon + 1));
        if (!port || *port == 0) {
            return std::nullopt;
        }
        address.port = *port;
        authority = authority.substr(0, colon);
    }
    address.host = authority;
    return address.host.empty() ? std::nullopt : std::optional(address);
}

std::string redirected(const HttpAddress& from, std::string_view location)
{
    if (location.starts_with("//")) {
        return "http:" + std::string(location);
    }
    if (!location.starts_with('/')) {
        return std::string(location);
    }
    return "http://" + from.host + ":" + std::to_string(from.port) + std::string(location);
}

HttpAnswer::State HttpAnswer::take(std::span<const std::uint8_t> bytes)
{
    if (state_ != State::incomplete) {
        return state_;
    }
    received_.insert(received_.end(), bytes.begin(), bytes.end());
    if (!in_body_) {
        take_head();
    }
    if (in_body_ && state_ == State::incomplete) {
        take_body();
    }
    return state_;
}

HttpAnswer::State HttpAnswer::end()
{
    if (state_ != State::incomplete) {
        return state_;
    }
    if (!in_body_) {
        fail(PvResult::NetworkError, "the server does not speak HTTP");
    } else if (length_) {
        fail(PvResult::NetworkError,
             "the server sent " + std::to_string(received_.size()) + " of " + std::to_string(*length_) + " bytes");
    } else {
        state_ = State::complete;
    }
    return state_;
}

void HttpAnswer::take_head()
{
    const std::string_view text(reinterpret_cast<const char*>(received_.data()), received_.size());
    const HeadEnd end = find_head_end(text.substr(0, largest_head), searched_);
    if (end.at == std::string_view::npos) {
        // a line's end and half of the next may have been looked at already
        searched_ = std::max<std::size_t>(text.size(), 2) - 2;
        if (text.size() >= largest_head) {
            fail(PvResult::NetworkError, "the server does not speak HTTP");
        }
        return;
    }
    if (!parse_head(text.substr(0, end.at))) {
        fail(PvResult::NetworkError, "the server does not speak HTTP");
        return;
    }
    received_.erase(received_.begin(), received_.begin() + static_cast<std::ptrdiff_t>(end.body));
    in_body_ = true;
    if (status_ != found) {
        received_.clear();
        state_ = State::complete;
    } else if (encoded_) {
        fail(PvResult::NetworkError, "the server encodes its answer");
    } else if (length_ && *length_ > largest_body_) {
        fail_as_too_large(*length_);
    }
}

/// The status, and the fields that matter. False when it is none of HTTP.
bool HttpAnswer::parse_head(std::string_view head)
{
    const auto next_line = [&head] {
        const std::size_t end = std::min(head.find('\n'), head.size());
        const std::string_view line = head.substr(0, end);
        head.remove_prefix(std::min(end + 1, head.size()));
        return trimmed(line);
    };
    const std::string_view status = next_line();
    const std::size_t blank = status.find(' ');
    if (!starts_with_word(status, "http/1.") || blank == std::string_view::npos) {
        return false;
    }
    const auto code = decimal<std::uint16_t>(status.substr(blank + 1, 3));
    if (!code) {
        return false;
    }
    status_ = *code;
    while (!head.empty()) {
        parse_field(next_line());
    }
    return true;
}

void HttpAnswer::parse_field(std::string_view line)
{
    const std::size_t colon = line.find(':');
    if (colon == std::string_view::npos) {
        return;
    }
    const std::string_view value = trimmed(line.substr(colon + 1));
    if (starts_with_word(line, "location:")) {
        location_ = value;
    } else if (starts_with_word(line, "content-length:")) {
        length_ = decimal<std::size_t>(value);
    } else if (starts_with_word(line, "transfer-encoding:") || starts_with_word(line, "content-encoding:")) {
        encoded_ = encoded_ || !starts_with_word(value, "identity");
    }
}

void HttpAnswer::take_body()
{
    if (length_ && received_.size() >= *length_) {
        received_.resize(*length_);
        state_ = State::complete;
    } else if (received_.size() > largest_body_) {
        fail_as_too_large(received_.size());
    }
}

void HttpAnswer::fail(PvResult::Code code, std::string reason)
{
    received_.clear();
    code_ = code;
    reason_ = std::move(reason);
    state_ = State::failed;
}

void HttpAnswer::fail_as_too_large(std::size_t size)
{
    fail(PvResult::GenICamXMLError, std::to_string(size) + " bytes are more than the " + std::to_string(largest_body_) +
                                        " that a description may have");
}

}  // namespace vex::description
