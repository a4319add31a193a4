#include "sdk/description/http_get.h"

#include <algorithm>
#include <array>
#include <string>
#include <system_error>
#include <utility>

#include "sdk/base/failure.h"
#include "sdk/description/http_answer.h"
#include "sdk/description/url_text.h"
#include "sdk/net/tcp_connection.h"

namespace vex::description {

namespace {

using Clock = std::chrono::steady_clock;
using std::chrono::milliseconds;

constexpr std::size_t block_size = std::size_t{16} << 10;

PvResult failed(PvResult::Code code, std::string_view url, std::string_view why)
{
    return failure(code, "\"", url, "\" cannot be downloaded: ", why);
}

PvResult failed(const std::error_code& error, std::string_view url, std::string_view why)
{
    return failed(error == std::errc::timed_out ? PvResult::Timeout : PvResult::NetworkError, url, why);
}

/// One request on a connection of its own, up to `end`.
class Exchange {
public:
    Exchange(std::string_view url, const HttpLimits& limits, Clock::time_point end)
        : url_(url), limits_(limits), end_(end)
    {}

    PvResult run(const HttpAddress& address, HttpAnswer& answer)
    {
        const auto host = net::address_of_host(address.host);
        if (!host) {
            return failed(PvResult::NotFound, url_, "there is no host \"" + address.host + "\"");
        }
        if (limits_.only_from && *host != *limits_.only_from) {
            return failed(PvResult::NotSupported, url_,
                          "the server " + address.host +
                              (address.host == host->to_string() ? "" : " (" + host->to_string() + ")") + " is not " +
                              limits_.only_from->to_string() + std::string(limits_.how_to_allow));
        }
        const std::string request = "GET " + address.path + " HTTP/1.0\r\nHost: " + address.host +
                                    (address.port != default_http_port ? ":" + std::to_string(address.port) : "") +
                                    "\r\nAccept: */*\r\nConnection: close\r\n\r\n";
        try {
            connection_ = net::TcpConnection::open({*host, address.port}, left());
        } catch (const std::system_error& error) {
            return failed(error.code(), url_, error.what());
        }
        if (const auto error = connection_.send(
                std::span(reinterpret_cast<const std::uint8_t*>(request.data()), request.size()), left())) {
            return failed(error, url_, "sending the request failed: " + error.message());
        }
        while (answer.state() == HttpAnswer::State::incomplete) {
            if (PvResult result = read_more(answer); !result.IsOK()) {
                return result;
            }
        }
        return answer.state() == HttpAnswer::State::complete ? PvResult(PvResult::OK)
                                                             : failure(answer.code(), url_, answer.reason());
    }

private:
    [[nodiscard]] milliseconds left() const
    {
        return std::max(milliseconds(0), std::chrono::ceil<milliseconds>(end_ - Clock::now()));
    }

    PvResult read_more(HttpAnswer& answer)
    {
        std::error_code error;
        const std::size_t size = connection_.receive(block_, left(), error);
        if (error) {
            return failed(error, url_, "the server's answer does not arrive: " + error.message());
        }
        // a server that sends a byte at a time never lets a single wait run out
        if (left().count() == 0) {
            return failed(PvResult::Timeout, url_,
                          "the server takes more than " + std::to_string(limits_.time.count()) + " ms");
        }
        if (size == 0) {
            answer.end();
        } else {
            answer.take(std::span(block_).first(size));
        }
        return PvResult::OK;
    }

    std::string_view url_;
    const HttpLimits& limits_;
    Clock::time_point end_;
    net::TcpConnection connection_;
    std::array<std::uint8_t, block_size> block_{};
};

bool is_redirect(int status)
{
    return status == 301 || status == 302 || status == 303 || status == 307 || status == 308;
}

}  // namespace

PvResult http_get(std::string_view url, const HttpLimits& limits, std::vector<std::uint8_t>& body)
{
    const auto end = Clock::now() + limits.time;
    std::string at(url);
    for (int hop = 0; hop <= limits.redirects; ++hop) {
        if (starts_with_word(at, "https:")) {
            return failed(PvResult::NotSupported, url, "encrypted connections (https) are not supported");
        }
        const auto address = parse_http_address(at);
        if (!address) {
            return failed(PvResult::InvalidParameter, url,
                          hop == 0 ? "it is not an address of a file on a server"
                                   : "the server points to \"" + at + "\"");
        }
        HttpAnswer answer(limits.largest_body);
        if (PvResult result = Exchange(url, limits, end).run(*address, answer); !result.IsOK()) {
            return result;
        }
        if (answer.status() == 200) {
            body = std::move(answer.body());
            return PvResult::OK;
        }
        if (!is_redirect(answer.status()) || answer.location().empty()) {
            return failed(answer.status() == 404 || answer.status() == 410 ? PvResult::NotFound
                                                                           : PvResult::NetworkError,
                          url, "the server answers with status " + std::to_string(answer.status()));
        }
        at = redirected(*address, answer.location());
    }
    return failed(PvResult::NetworkError, url, "the server points on and on to other addresses");
}

}  // namespace vex::description
