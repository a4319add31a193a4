#include "tools/softlink/user_file.h"

#include <algorithm>

namespace softlink {

UserFile::Done UserFile::perform(const Request& request, std::span<std::uint8_t> buffer)
{
    if ((request.operation == Operation::open) == is_open_) {
        return {Status::failure};
    }
    switch (request.operation) {
    case Operation::open:
        is_open_ = true;
        mode_ = request.mode;
        open_ = mode_ == Mode::write ? std::vector<std::uint8_t>() : kept_;
        return {};
    case Operation::close:
        is_open_ = false;
        if (mode_ == Mode::write) {
            kept_ = open_;
        }
        return {};
    case Operation::read: return read(request, buffer);
    case Operation::write: return write(request, buffer);
    }
    return {Status::failure};
}

UserFile::Done UserFile::read(const Request& request, std::span<std::uint8_t> buffer) const
{
    if (mode_ != Mode::read || request.offset > open_.size() || request.length > buffer.size()) {
        return {Status::failure};
    }
    const auto bytes = std::span(open_).subspan(request.offset);
    const auto given = bytes.first(std::min(request.length, bytes.size()));
    std::ranges::copy(given, buffer.begin());
    return {Status::success, given.size()};
}

UserFile::Done UserFile::write(const Request& request, std::span<const std::uint8_t> buffer)
{
    if (mode_ != Mode::write || request.offset > open_.size() || request.length > buffer.size()) {
        return {Status::failure};
    }
    const std::size_t taken = std::min(request.length, largest - request.offset);
    open_.resize(std::max(open_.size(), request.offset + taken));
    std::ranges::copy(buffer.first(taken), open_.begin() + static_cast<std::ptrdiff_t>(request.offset));
    return {taken == request.length ? Status::success : Status::overflow, taken};
}

}  // namespace softlink
