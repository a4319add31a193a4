#include "tools/pvctl/zip_archive.h"

#include <minizip/zip.h>

#include <cstdio>
#include <ctime>
#include <limits>

#include "tools/pvctl/failure.h"

namespace pvctl {

namespace {

using Memory = ZipArchive::Memory;

// What the library reads and writes instead of a file.

void* open_memory(void* memory, const void*, int) { return memory; }

uLong read_memory(void*, void* stream, void* to, uLong size)
{
    auto& memory = *static_cast<Memory*>(stream);
    const std::size_t read = memory.bytes.copy(static_cast<char*>(to), size, memory.position);
    memory.position += read;
    return static_cast<uLong>(read);
}

uLong write_memory(void*, void* stream, const void* from, uLong size)
{
    auto& memory = *static_cast<Memory*>(stream);
    try {
        if (memory.bytes.size() < memory.position + size) {
            memory.bytes.resize(memory.position + size);
        }
    } catch (const std::exception&) {
        return 0;
    }
    memory.bytes.replace(memory.position, size, static_cast<const char*>(from), size);
    memory.position += size;
    return size;
}

ZPOS64_T tell_memory(void*, void* stream) { return static_cast<Memory*>(stream)->position; }

long seek_memory(void*, void* stream, ZPOS64_T offset, int origin)
{
    auto& memory = *static_cast<Memory*>(stream);
    const std::size_t from = origin == ZLIB_FILEFUNC_SEEK_SET   ? 0
                             : origin == ZLIB_FILEFUNC_SEEK_CUR ? memory.position
                                                                : memory.bytes.size();
    if (from + offset > memory.bytes.size()) {
        return -1;
    }
    memory.position = from + offset;
    return 0;
}

int no_error(void*, void*) { return 0; }

void require_zip(int status)
{
    if (status != ZIP_OK) {
        throw CommandFailure("The ZIP archive cannot be made (error " + std::to_string(status) + ")");
    }
}

zip_fileinfo made_now()
{
    const std::time_t now = std::time(nullptr);
    zip_fileinfo info{};
    if (const std::tm* utc = std::gmtime(&now)) {
        info.tmz_date = {static_cast<uInt>(utc->tm_sec),  static_cast<uInt>(utc->tm_min),
                         static_cast<uInt>(utc->tm_hour), static_cast<uInt>(utc->tm_mday),
                         static_cast<uInt>(utc->tm_mon),  static_cast<uInt>(utc->tm_year + 1900)};
    }
    return info;
}

}  // namespace

ZipArchive::ZipArchive()
{
    zlib_filefunc64_def functions{};
    functions.zopen64_file = open_memory;
    functions.zread_file = read_memory;
    functions.zwrite_file = write_memory;
    functions.ztell64_file = tell_memory;
    functions.zseek64_file = seek_memory;
    functions.zclose_file = no_error;
    functions.zerror_file = no_error;
    functions.opaque = &memory_;
    zip_ = zipOpen2_64("", APPEND_STATUS_CREATE, nullptr, &functions);
    if (zip_ == nullptr) {
        throw CommandFailure("The ZIP archive cannot be made: no memory");
    }
}

ZipArchive::~ZipArchive()
{
    if (zip_ != nullptr) {
        zipClose(zip_, nullptr);
    }
}

void ZipArchive::add(const std::string& name, std::string_view contents)
{
    if (contents.size() > std::numeric_limits<unsigned>::max()) {
        throw CommandFailure(name + " is too large for the ZIP archive");
    }
    const zip_fileinfo info = made_now();
    require_zip(zipOpenNewFileInZip(zip_, name.c_str(), &info, nullptr, 0, nullptr, 0, nullptr, Z_DEFLATED,
                                    Z_DEFAULT_COMPRESSION));
    require_zip(zipWriteInFileInZip(zip_, contents.data(), static_cast<unsigned>(contents.size())));
    require_zip(zipCloseFileInZip(zip_));
}

std::string ZipArchive::finish()
{
    const int status = zipClose(zip_, nullptr);
    zip_ = nullptr;
    require_zip(status);
    return std::move(memory_.bytes);
}

}  // namespace pvctl
