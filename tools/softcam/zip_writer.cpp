#include "tools/softcam/zip_writer.h"

#include <zlib.h>

#include <cstdint>
#include <stdexcept>

namespace softcam {

namespace {

// ZIP is little-endian throughout.
class Record {
public:
    Record& u16(std::uint32_t value)
    {
        bytes_ += static_cast<char>(value & 0xFF);
        bytes_ += static_cast<char>((value >> 8) & 0xFF);
        return *this;
    }
    Record& u32(std::size_t value)
    {
        u16(static_cast<std::uint32_t>(value & 0xFFFF));
        return u16(static_cast<std::uint32_t>((value >> 16) & 0xFFFF));
    }
    Record& text(std::string_view value)
    {
        bytes_ += value;
        return *this;
    }
    [[nodiscard]] const std::string& bytes() const { return bytes_; }

private:
    std::string bytes_;
};

std::string raw_deflate(std::string_view contents)
{
    z_stream stream{};
    // negative window bits: without zlib's own header, as ZIP wants it
    if (deflateInit2(&stream, Z_BEST_COMPRESSION, Z_DEFLATED, -MAX_WBITS, 8, Z_DEFAULT_STRATEGY) != Z_OK) {
        throw std::runtime_error("the description cannot be compressed: no memory");
    }
    std::string out(deflateBound(&stream, static_cast<uLong>(contents.size())), '\0');
    std::string in(contents);
    stream.next_in = reinterpret_cast<Bytef*>(in.data());
    stream.avail_in = static_cast<uInt>(in.size());
    stream.next_out = reinterpret_cast<Bytef*>(out.data());
    stream.avail_out = static_cast<uInt>(out.size());
    const int status = deflate(&stream, Z_FINISH);
    out.resize(stream.total_out);
    deflateEnd(&stream);
    if (status != Z_STREAM_END) {
        throw std::runtime_error("the description cannot be compressed");
    }
    return out;
}

constexpr std::uint32_t version_needed = 20;
constexpr std::uint32_t method_deflate = 8;
// The date of every archive made from the same description is the same, so that hosts may cache by content.
constexpr std::uint32_t dos_date_1980_01_01 = 0x0021;

}  // namespace

std::string zip_one_file(std::string_view name, std::string_view contents)
{
    const std::string packed = raw_deflate(contents);
    const std::size_t checksum =
        crc32(0, reinterpret_cast<const Bytef*>(contents.data()), static_cast<uInt>(contents.size()));

    const auto common = [&](Record& record) {
        record.u16(version_needed).u16(0).u16(method_deflate).u16(0).u16(dos_date_1980_01_01);
        record.u32(checksum).u32(packed.size()).u32(contents.size());
        record.u16(static_cast<std::uint32_t>(name.size())).u16(0);
    };
    Record local;
    local.u32(0x04034B50);
    common(local);
    local.text(name);
    local.text(packed);

    Record central;
    central.u32(0x02014B50).u16(version_needed);
    common(central);
    central.u16(0).u16(0).u16(0).u32(0).u32(0);
    central.text(name);

    Record end;
    end.u32(0x06054B50).u16(0).u16(0).u16(1).u16(1);
    end.u32(central.bytes().size()).u32(local.bytes().size()).u16(0);
    return local.bytes() + central.bytes() + end.bytes();
}

}  // namespace softcam
