#include "server/error_info.h"

#include "server/com.h"
#include "server/convert.h"
#include "server/ref.h"

namespace vex::server {

HRESULT raise_error(std::string_view description, const IID& iid, const CLSID& clsid, const wchar_t* prog_id) noexcept
{
    // the caller learns of the failure even when the details cannot be made
    Ref<ICreateErrorInfo> made;
    if (FAILED(CreateErrorInfo(made.put()))) {
        return DISP_E_EXCEPTION;
    }
    try {
        if (BSTR text = to_bstr(PvString(description)); text != nullptr) {
            made->SetDescription(text);
            SysFreeString(text);
        }
    } catch (...) {
        return DISP_E_EXCEPTION;
    }
    made->SetGUID(iid);
    LPOLESTR registered = nullptr;
    if (SUCCEEDED(ProgIDFromCLSID(clsid, &registered)) && registered != nullptr) {
        made->SetSource(registered);
        CoTaskMemFree(registered);
    } else {
        made->SetSource(const_cast<LPOLESTR>(prog_id));  // takes a copy
    }
    Ref<IErrorInfo> info;
    if (SUCCEEDED(made->QueryInterface(IID_IErrorInfo, info.put_void()))) {
        SetErrorInfo(0, info.get());
    }
    return DISP_E_EXCEPTION;
}

}  // namespace vex::server
