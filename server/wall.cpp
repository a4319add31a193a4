#include "server/wall.h"

#include <exception>
#include <new>

namespace vex::server {

HRESULT hresult_of_exception() noexcept
{
    try {
        throw;
    } catch (const HresultError& error) {
        return error.code;
    } catch (const std::bad_alloc&) {
        return E_OUTOFMEMORY;
    } catch (...) {
        return E_FAIL;
    }
}

HRESULT failed_plainly(HRESULT failure) noexcept
{
    SetErrorInfo(0, nullptr);
    return failure;
}

PvResult result_of_exception()
{
    try {
        throw;
    } catch (const HresultError&) {
        throw;
    } catch (const std::bad_alloc&) {
        throw;
    } catch (const std::exception& error) {
        return {PvResult::GenericError, error.what()};
    } catch (...) {
        return PvResult::GenericError;
    }
}

}  // namespace vex::server
