#include "genicam/VexGenFile.h"

#include <algorithm>

using namespace vex;

namespace {

/// How many bytes an array has room for, whatever its bounds.
std::int64_t room_of(const SAFEARRAY& array)
{
    std::int64_t room = array.cbElements;
    for (USHORT dimension = 0; dimension < array.cDims; ++dimension) {
        room *= array.rgsabound[dimension].cElements;
    }
    return room;
}

}  // namespace

template <class Transfer>
HRESULT CVexGenFile::transfer(SAFEARRAY* array, __int64 length, __int64* count, IVexResult** result,
                              Transfer move) noexcept
{
    return guarded([&] {
        *server::not_null(result) = nullptr;
        *server::not_null(count, 3) = 0;
        const server::ArrayLock bytes(array, 1);
        const std::int64_t most = std::min<std::int64_t>(length, room_of(*array));
        return report(
            result, [&](PvGenFile& file, std::int64_t& done) { return move(file, bytes.data(), most, done); }, count);
    });
}

HRESULT CVexGenFile::Write(SAFEARRAY* aBuffer, __int64 aLength, __int64* aBytesWritten, IVexResult** result) noexcept
{
    return transfer(aBuffer, aLength, aBytesWritten, result,
                    [](PvGenFile& file, const std::uint8_t* bytes, std::int64_t length, std::int64_t& done) {
                        return file.Write(bytes, length, done);
                    });
}

HRESULT CVexGenFile::Read(SAFEARRAY* aBuffer, __int64 aLength, __int64* aBytesRead, IVexResult** result) noexcept
{
    return transfer(aBuffer, aLength, aBytesRead, result,
                    [](PvGenFile& file, std::uint8_t* bytes, std::int64_t length, std::int64_t& done) {
                        return file.Read(bytes, length, done);
                    });
}
