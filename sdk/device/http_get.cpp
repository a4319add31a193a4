#include "sdk/device/http_get.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <optional>
#include <string>
#include <system_error>

#include "sdk/device/url_text.h"
#include "sdk/net/tcp_connection.h"

namespace device {

namespace {

using Clock = std::chrono::steady_clock;
using std::chrono::milliseconds;

constexpr std::size_t largest_head = std::size_t{16} << 10;
constexpr std::size_t block_size = std::size_t{16} << 10;
constexpr std::uint16_t default_port = 80;

struct Address {
    std::string host;
    std::uint16_t port = default_port;
    std::string path;  ///< with the query
};

struct Answer {
    int status = 0;
    std::string location;
    std::optional<std::size_t> length;
    bool encoded = false;
    std::vector<std::uint8_t> body;
};

PvResult failure(PvResult::Code code, std::string_view url, const std::string& why)
{
    return {code, "\"" + std::string(url) + "\" cannot be downloaded: " + why};
}

PvResult failure(const std::error_code& error, std::string_view url, const std::string& why)
{
    return failure(error == std::errc::timed_out ? PvResult::Timeout : PvResult::NetworkError, url, why);
}

template <class Number>
std::optional<Number> decimal(std::string_view text)
{
    Number value = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
    if (text.empty() || error != std::errc() || end != text.data() + text.size())
        return std::nullopt;
    return value;
}

/// Empty for anything that must not be put into a request: a device chose this text.
std::optional<Address> parse_address(std::string_view url)
{
    if (!starts_with_word(url, "http://") ||
        std::any_of(url.begin(), url.end(), [](char c) { return c <= ' ' || c > '~'; }))
        return std::nullopt;
    url.remove_prefix(7);
    url = url.substr(0, url.find('#'));
    const std::size_t end = std::min(url.find_first_of("/?"), url.size());
    std::string_view authority = url.substr(0, end);
    Address address;
    address.path = url.substr(end);
    if (!address.path.starts_with('/'))
        address.path.insert(0, "/");
    if (authority.find_first_of("@[") != std::string_view::npos)
        return std::nullopt;
    if (const std::size_t colon = authority.find(':'); colon != std::string_view::npos) {
        const auto port = decimal<std::uint16_t>(authority.substr(colon + 1));
        if (!port || *port == 0)
            return std::nullopt;
        address.port = *port;
        authority = authority.substr(0, colon);
    }
    address.host = authority;
    return address.host.empty() ? std::nullopt : std::optional(address);
}

/// The head's lines: status, and the three fields that matter. False when it is none of HTTP.
bool parse_head(std::string_view head, Answer& answer)
{
    const auto next_line = [&head] {
        const std::size_t end = std::min(head.find('\n'), head.size());
        std::string_view line = head.substr(0, end);
        head.remove_prefix(std::min(end + 1, head.size()));
        return trimmed(line);
    };
    const std::string_view status = next_line();
    const std::size_t blank = status.find(' ');
    if (!starts_with_word(status, "http/1.") || blank == std::string_view::npos)
        return false;
    const auto code = decimal<int>(status.substr(blank + 1, 3));
    if (!code)
        return false;
    answer.status = *code;
    while (!head.empty()) {
        const std::string_view line = next_line();
        const std::size_t colon = line.find(':');
        if (colon == std::string_view::npos)
            continue;
        const std::string_view value = trimmed(line.substr(colon + 1));
        if (starts_with_word(line, "location:"))
            answer.location = value;
        else if (starts_with_word(line, "content-length:"))
            answer.length = decimal<std::size_t>(value);
        else if (starts_with_word(line, "transfer-encoding:") || starts_with_word(line, "content-encoding:"))
            answer.encoded = !starts_with_word(value, "identity");
    }
    return true;
}

/// One request on a connection of its own, up to `end`.
class Exchange {
public:
    Exchange(std::string_view url, const HttpLimits& limits, Clock::time_point end)
        : url_(url), limits_(limits), end_(end)
    {}

    PvResult run(const Address& address, Answer& answer)
    {
        const auto host = net::address_of_host(address.host);
        if (!host)
            return failure(PvResult::NotFound, url_, "there is no host \"" + address.host + "\"");
        const std::string request = "GET " + address.path + " HTTP/1.0\r\nHost: " + address.host +
                                    (address.port != default_port ? ":" + std::to_string(address.port) : "") +
                                    "\r\nAccept: */*\r\nConnection: close\r\n\r\n";
        try {
            connection_ = net::TcpConnection::open({*host, address.port}, left());
        } catch (const std::system_error& error) {
            return failure(error.code(), url_, error.what());
        }
        if (const auto error = connection_.send(
                std::span(reinterpret_cast<const std::uint8_t*>(request.data()), request.size()), left()))
            return failure(error, url_, "sending the request failed: " + error.message());
        if (PvResult result = read_head(answer); !result.IsOK())
            return result;
        return answer.status == 200 ? read_body(answer) : PvResult(PvResult::OK);
    }

private:
    [[nodiscard]] milliseconds left() const
    {
        return std::max(milliseconds(0), std::chrono::ceil<milliseconds>(end_ - Clock::now()));
    }

    /// Appends what comes next; `ended` when the server has closed the connection.
    PvResult read_more(bool& ended)
    {
        std::error_code error;
        const std::size_t size = connection_.receive(block_, left(), error);
        if (error)
            return failure(error, url_, "the server's answer does not arrive: " + error.message());
        // a server that sends a byte at a time never lets a single wait run out
        if (left().count() == 0)
            return failure(PvResult::Timeout, url_,
                           "the server takes more than " + std::to_string(limits_.time.count()) + " ms");
        ended = size == 0;
        received_.insert(received_.end(), block_.begin(), block_.begin() + static_cast<std::ptrdiff_t>(size));
        return PvResult::OK;
    }

    PvResult read_head(Answer& answer)
    {
        for (;;) {
            const std::string_view text(reinterpret_cast<const char*>(received_.data()), received_.size());
            std::size_t end = text.find("\r\n\r\n");
            std::size_t separator = 4;
            if (end == std::string_view::npos) {
                end = text.find("\n\n");
                separator = 2;
            }
            if (end != std::string_view::npos) {
                if (!parse_head(text.substr(0, end), answer))
                    break;
                received_.erase(received_.begin(), received_.begin() + static_cast<std::ptrdiff_t>(end + separator));
                return PvResult::OK;
            }
            bool ended = false;
            if (PvResult result = read_more(ended); !result.IsOK())
                return result;
            if (ended || received_.size() > largest_head)
                break;
        }
        return failure(PvResult::NetworkError, url_, "the server does not speak HTTP");
    }

    PvResult read_body(Answer& answer)
    {
        if (answer.encoded)
            return failure(PvResult::NetworkError, url_, "the server encodes its answer");
        const auto too_large = [&](std::size_t size) {
            return failure(PvResult::GenICamXMLError, url_,
                           std::to_string(size) + " bytes are more than the " + std::to_string(limits_.largest_body) +
                               " that a description may have");
        };
        if (answer.length && *answer.length > limits_.largest_body)
            return too_large(*answer.length);
        bool ended = false;
        while (!ended && !(answer.length && received_.size() >= *answer.length)) {
            if (PvResult result = read_more(ended); !result.IsOK())
                return result;
            if (received_.size() > limits_.largest_body)
                return too_large(received_.size());
        }
        if (answer.length && received_.size() < *answer.length)
            return failure(PvResult::NetworkError, url_,
                           "the server sent " + std::to_string(received_.size()) + " of " +
                               std::to_string(*answer.length) + " bytes");
        if (answer.length)
            received_.resize(*answer.length);
        answer.body = std::move(received_);
        return PvResult::OK;
    }

    std::string_view url_;
    const HttpLimits& limits_;
    Clock::time_point end_;
    net::TcpConnection connection_;
    std::array<std::uint8_t, block_size> block_{};
    std::vector<std::uint8_t> received_;
};

bool is_redirect(int status)
{
    return status == 301 || status == 302 || status == 303 || status == 307 || status == 308;
}

/// Where a redirect leads: an address, or a path on the same server.
std::string redirected(const Address& from, const std::string& location)
{
    if (!location.starts_with('/'))
        return location;
    return "http://" + from.host + ":" + std::to_string(from.port) + location;
}

}  // namespace

PvResult http_get(std::string_view url, const HttpLimits& limits, std::vector<std::uint8_t>& body)
{
    const auto end = Clock::now() + limits.time;
    std::string at(url);
    for (int hop = 0; hop <= limits.redirects; ++hop) {
        if (starts_with_word(at, "https:"))
            return failure(PvResult::NotSupported, url, "encrypted connections (https) are not supported");
        const auto address = parse_address(at);
        if (!address)
            return failure(PvResult::InvalidParameter, url,
                           hop == 0 ? "it is not an address of a file on a server"
                                    : "the server points to \"" + at + "\"");
        Answer answer;
        if (PvResult result = Exchange(url, limits, end).run(*address, answer); !result.IsOK())
            return result;
        if (answer.status == 200) {
            body = std::move(answer.body);
            return PvResult::OK;
        }
        if (!is_redirect(answer.status) || answer.location.empty())
            return failure(answer.status == 404 || answer.status == 410 ? PvResult::NotFound : PvResult::NetworkError,
                           url, "the server answers with status " + std::to_string(answer.status));
        at = redirected(*address, answer.location);
    }
    return failure(PvResult::NetworkError, url, "the server points on and on to other addresses");
}

}  // namespace device
