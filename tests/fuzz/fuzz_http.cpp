// HTTP: whatever a server sends, in whatever pieces it arrives, its answer ends the same way and within its bounds, and
// where it points to can be asked for or is refused.
#include <algorithm>
#include <string>

#include "sdk/description/http_answer.h"
#include "tests/fuzz/input.h"

using namespace vex;

namespace {

using description::HttpAnswer;
using fuzz::require;
using State = HttpAnswer::State;

/// Pieces of the sizes that `sizes` tells, over and over.
HttpAnswer answer_of(fuzz::View bytes, fuzz::View sizes, std::size_t largest_body)
{
    HttpAnswer answer(largest_body);
    for (std::size_t i = 0; !bytes.empty(); ++i) {
        const std::size_t wanted = sizes.empty() ? bytes.size() : std::size_t{1} + sizes[i % sizes.size()];
        const fuzz::View piece = bytes.first(std::min(bytes.size(), wanted));
        bytes = bytes.subspan(piece.size());
        const State before = answer.state();
        const State after = answer.take(piece);
        require(after == answer.state() && (before == State::incomplete || before == after));
    }
    require(answer.end() != State::incomplete);
    return answer;
}

void check_address(const std::string& url)
{
    const auto address = description::parse_http_address(url);
    if (!address) {
        return;
    }
    const auto is_printable = [](char c) { return c > ' ' && c <= '~'; };
    require(!address->host.empty() && address->port != 0 && address->path.starts_with('/'));
    require(std::all_of(address->host.begin(), address->host.end(), is_printable));
    require(std::all_of(address->path.begin(), address->path.end(), is_printable));
    require(address->host.find_first_of("/?#@:") == std::string::npos);
    // said again it is the same address
    const auto again = description::parse_http_address("http://" + address->host + ":" + std::to_string(address->port) +
                                                       address->path);
    require(again && again->host == address->host && again->port == address->port && again->path == address->path);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    constexpr std::size_t settings = 4;
    if (size < settings) {
        return 0;
    }
    const fuzz::View sizes(data, settings - 1);
    const std::size_t largest_body = data[settings - 1] * std::size_t{16};
    const fuzz::View bytes(data + settings, size - settings);

    HttpAnswer whole = answer_of(bytes, {}, largest_body);
    HttpAnswer pieces = answer_of(bytes, sizes, largest_body);
    require(whole.state() == pieces.state() && whole.code() == pieces.code() && whole.status() == pieces.status());
    require(whole.location() == pieces.location() && whole.body() == pieces.body());
    require(whole.body().size() <= largest_body);
    require((whole.state() == State::failed) == !whole.reason().empty());
    check_address(description::redirected({"host", 8080, "/path"}, whole.location()));
    check_address({bytes.begin(), bytes.end()});
    return 0;
}
