#include "server/VexResult.h"

using namespace vex;

HRESULT CVexResult::get_Code(VexResultCode* pVal) noexcept
{
    return value(pVal, [](PvResult& result) { return result.GetCode(); });
}

HRESULT CVexResult::put_Code(VexResultCode pVal) noexcept
{
    return set([&](PvResult& result) { result.SetCode(static_cast<PvResult::Code>(pVal)); });
}

HRESULT CVexResult::get_Description(BSTR* pVal) noexcept
{
    return value(pVal, [](PvResult& result) { return result.GetDescription(); });
}

HRESULT CVexResult::put_Description(BSTR pVal) noexcept
{
    return set(
        [&](PvResult& result) { result.SetDescription(pVal != nullptr ? server::from_bstr(pVal) : PvString()); });
}

HRESULT CVexResult::get_IsFailure(VARIANT_BOOL* pVal) noexcept
{
    return value(pVal, [](PvResult& result) { return result.IsFailure(); });
}

HRESULT CVexResult::get_IsOK(VARIANT_BOOL* pVal) noexcept
{
    return value(pVal, [](PvResult& result) { return result.IsOK(); });
}

HRESULT CVexResult::get_IsPending(VARIANT_BOOL* pVal) noexcept
{
    return value(pVal, [](PvResult& result) { return result.IsPending(); });
}

HRESULT CVexResult::get_IsSuccess(VARIANT_BOOL* pVal) noexcept
{
    return value(pVal, [](PvResult& result) { return result.IsSuccess(); });
}

namespace vex::server {

HRESULT CreateResultObject(PvResult result, IVexResult** object) noexcept
{
    if (object == nullptr) {
        return E_POINTER;
    }
    Ref<CVexResult> made;
    const HRESULT created = create_object(made);
    if (SUCCEEDED(created)) {
        *made->sdk() = std::move(result);
        *object = made.detach();
    }
    return created;
}

}  // namespace vex::server
