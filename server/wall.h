// The wall between the SDK's C++ and COM: no exception crosses an interface.
#pragma once

#include <string>
#include <type_traits>

#include "sdk/base/PvResult.h"
#include "server/com.h"

namespace vex::server {

/// Thrown inside the wall for a call that cannot be made: what the member answers, and which argument or object is to
/// blame.
struct HresultError {
    HRESULT code;
    std::string description = {};  // for the client's error information; empty for the code's own text
};

/// Throws for an HRESULT that is a failure.
inline void require(HRESULT done)
{
    if (FAILED(done)) {
        throw HresultError{done};
    }
}

/// The HRESULT that fits the exception being handled: an HresultError's own code, E_OUTOFMEMORY for bad_alloc,
/// E_FAIL for anything else. Call from a catch block only.
[[nodiscard]] HRESULT hresult_of_exception() noexcept;

/// The result that fits the exception being handled where a member reports by result object: GenericError with the
/// exception's text. HresultError and bad_alloc have no result; they stay exceptions and are thrown on.
[[nodiscard]] PvResult result_of_exception();

/// A failure without error information of its own: takes back what an earlier failure on this thread may have left, so
/// that no client reads that into this one.
HRESULT failed_plainly(HRESULT failure) noexcept;

/// Runs body, which returns an HRESULT or nothing, and turns an exception into one. For what belongs to no class;
/// members of a class have Wrapper::guarded, which also says why.
template <class Body>
[[nodiscard]] HRESULT guarded(Body&& body) noexcept
{
    try {
        if constexpr (std::is_void_v<decltype(body())>) {
            body();
            return S_OK;
        } else {
            const HRESULT done = body();
            return SUCCEEDED(done) || done == DISP_E_EXCEPTION ? done : failed_plainly(done);
        }
    } catch (...) {
        return failed_plainly(hresult_of_exception());
    }
}

}  // namespace vex::server
