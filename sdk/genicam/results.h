// The wall between the node map's exceptions and the results of the public surface.
#pragma once

#include <exception>
#include <new>
#include <type_traits>
#include <utility>

#include "sdk/base/application_call.h"
#include "sdk/base/failure.h"
#include "sdk/genapi/errors.h"
#include "sdk/genapi/types.h"
#include "sdk/genicam/PvGenTypes.h"

namespace vex::genicam {

/// The result of the exception that is being handled.
inline PvResult result_of_exception() noexcept
{
    try {
        throw;
    } catch (const GenApi::Error& error) {
        return failure(error.code(), error.what());
    } catch (const std::bad_alloc&) {
        return PvResult::NotEnoughMemory;
    } catch (const std::exception& error) {
        return failure(PvResult::GenericError, error.what());
    } catch (...) {
        return PvResult::GenericError;
    }
}

/// OK when the work returns, the exception's result when it throws.
template <class Work>
PvResult result_of(Work&& work) noexcept
{
    try {
        std::forward<Work>(work)();
        return PvResult::OK;
    } catch (...) {
        return result_of_exception();
    }
}

/// A predicate's answer; false when it cannot be found out.
template <class Work>
bool holds(Work&& work) noexcept
{
    bool answer = false;
    try {
        answer = std::forward<Work>(work)();
    } catch (...) {
        answer = false;
    }
    ApplicationCall::operation_ends();
    return answer;
}

inline PvGenVisibility visibility_of(GenApi::Visibility visibility) noexcept
{
    return static_cast<PvGenVisibility>(visibility);
}
static_assert(static_cast<int>(GenApi::Visibility::invisible) == PvGenVisibilityInvisible);

inline bool is_visible(GenApi::Visibility visibility, PvGenVisibility level) noexcept
{
    return level != PvGenVisibilityUndefined && visibility_of(visibility) <= level;
}

inline PvGenNameSpace name_space_of(GenApi::NameSpace name_space) noexcept
{
    return name_space == GenApi::NameSpace::standard ? PvGenNameSpaceStandard : PvGenNameSpaceCustom;
}

inline PvGenRepresentation representation_of(GenApi::Representation representation) noexcept
{
    switch (representation) {
    case GenApi::Representation::linear: return PvGenRepresentationLinear;
    case GenApi::Representation::logarithmic: return PvGenRepresentationLogarithmic;
    case GenApi::Representation::boolean: return PvGenRepresentationBoolean;
    case GenApi::Representation::pure_number: return PvGenRepresentationPureNumber;
    case GenApi::Representation::hex_number:
    case GenApi::Representation::ipv4_address:
    case GenApi::Representation::mac_address: return PvGenRepresentationHexNumber;
    }
    return PvGenRepresentationUndefined;
}

}  // namespace vex::genicam
