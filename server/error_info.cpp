#include "server/error_info.h"

#include <cstdio>
#include <exception>
#include <new>

#include "server/convert.h"
#include "server/ref.h"
#include "server/wall.h"

namespace vex::server {

namespace {

/// What a failure that nobody described says.
std::string_view text_of(HRESULT failure) noexcept
{
    switch (failure) {
    case E_POINTER: return "A pointer is null";
    case E_INVALIDARG: return "An argument is not what the member takes";
    case E_OUTOFMEMORY: return "Not enough memory";
    case E_UNEXPECTED: return "The object is in a state in which this cannot be done";
    case E_ACCESSDENIED: return "Access is denied";
    case DISP_E_ARRAYISLOCKED: return "The array is locked";
    default: return {};
    }
}

void describe(ICreateErrorInfo& made, HRESULT failure, std::string_view description)
{
    if (description.empty()) {
        description = text_of(failure);
    }
    char number[40];
    if (description.empty()) {
        std::snprintf(number, sizeof number, "The call failed with 0x%08lX", static_cast<unsigned long>(failure));
        description = number;
    }
    if (BSTR text = to_bstr(PvString(description)); text != nullptr) {
        made.SetDescription(text);
        SysFreeString(text);
    }
}

}  // namespace

HRESULT raise_error(HRESULT failure, std::string_view description, const ErrorSource& source) noexcept
{
    // the caller learns of the failure even when the details cannot be made, and of no earlier one's
    SetErrorInfo(0, nullptr);
    Ref<ICreateErrorInfo> made;
    if (FAILED(CreateErrorInfo(made.put()))) {
        return failure;
    }
    try {
        describe(*made, failure, description);
    } catch (...) {
        return failure;
    }
    made->SetGUID(source.iid);
    LPOLESTR registered = nullptr;
    if (SUCCEEDED(ProgIDFromCLSID(source.clsid, &registered)) && registered != nullptr) {
        made->SetSource(registered);
        CoTaskMemFree(registered);
    } else {
        made->SetSource(const_cast<LPOLESTR>(source.prog_id));  // takes a copy
    }
    Ref<IErrorInfo> info;
    if (SUCCEEDED(made->QueryInterface(IID_IErrorInfo, info.put_void()))) {
        SetErrorInfo(0, info.get());
    }
    return failure;
}

HRESULT raise_exception(const ErrorSource& source) noexcept
{
    try {
        throw;
    } catch (const HresultError& error) {
        return raise_error(error.code, error.description, source);
    } catch (const std::bad_alloc&) {
        return raise_error(E_OUTOFMEMORY, {}, source);
    } catch (const std::exception& error) {
        return raise_error(E_FAIL, error.what(), source);
    } catch (...) {
        return raise_error(E_FAIL, "An error of unknown kind", source);
    }
}

}  // namespace vex::server
