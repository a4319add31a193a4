#include "genicam/VexGenParameterArray.h"

#include "genicam/VexGenBoolean.h"
#include "genicam/VexGenCommand.h"
#include "genicam/VexGenEnum.h"
#include "genicam/VexGenFloat.h"
#include "genicam/VexGenInteger.h"
#include "genicam/VexGenRegister.h"
#include "genicam/VexGenString.h"

using namespace vex;

using server::from_bstr;
using server::guarded;
using server::not_null;

namespace {

/// A name as the caches know it: exactly as the client spelled it.
std::wstring key_of(BSTR name) { return name != nullptr ? std::wstring(name) : std::wstring(); }

}  // namespace

void CVexGenParameterArray::final_release() noexcept
{
    parameters_by_name_.clear();
    parameters_by_index_.clear();
    categories_by_name_.clear();
    categories_by_index_.clear();
}

PvGenParameterArray* CVexGenParameterArray::sdk() const noexcept
{
    return owns_sdk_object() || !lifetime_.expired() ? SdkObject::sdk() : nullptr;
}

void CVexGenParameterArray::AttachSdkObject(PvGenParameterArray* borrowed) noexcept
{
    SdkObject::AttachSdkObject(borrowed);
    lifetime_ = borrowed != nullptr ? borrowed->lifetime() : std::weak_ptr<const void>();
}

HRESULT CVexGenParameterArray::get_Count(unsigned int* pVal) noexcept
{
    return value(pVal, &PvGenParameterArray::GetCount);
}

HRESULT CVexGenParameterArray::get_CategoryCount(unsigned int* pVal) noexcept
{
    return value(pVal, &PvGenParameterArray::GetCategoryCount);
}

HRESULT CVexGenParameterArray::get_NodeMap(INT_PTR* pVal) noexcept
{
    return value(pVal, &PvGenParameterArray::GetNodeMap);
}

// ---- parameter objects ----

HRESULT CVexGenParameterArray::GetByIndex(unsigned int aIndex, IVexGenParameter** out) noexcept
{
    return guarded([&] {
        *not_null(out) = nullptr;
        return parameters_by_index_.look_up(aIndex, not_null(sdk())->Get(aIndex), out);
    });
}

HRESULT CVexGenParameterArray::GetByName(BSTR aName, IVexGenParameter** out) noexcept
{
    return guarded([&] {
        *not_null(out) = nullptr;
        return parameters_by_name_.look_up(key_of(aName), not_null(sdk())->Get(from_bstr(aName)), out);
    });
}

template <class Kind, class Interface>
HRESULT CVexGenParameterArray::typed(BSTR aName, Interface** out,
                                     typename Kind::SdkType* (PvGenParameterArray::*find)(const PvString&)
                                         const) noexcept
{
    return guarded([&] {
        *not_null(out) = nullptr;
        server::Ref<IVexGenParameter> object;
        const HRESULT found =
            parameters_by_name_.look_up(key_of(aName), (not_null(sdk())->*find)(from_bstr(aName)), object.put());
        if (auto* typed_object = dynamic_cast<Kind*>(object.get()); typed_object != nullptr) {
            typed_object->AddRef();
            *out = typed_object;
        }
        return found;
    });
}

HRESULT CVexGenParameterArray::GetInteger(BSTR aName, IVexGenInteger** out) noexcept
{
    return typed<CVexGenInteger>(aName, out, &PvGenParameterArray::GetInteger);
}

HRESULT CVexGenParameterArray::GetFloat(BSTR aName, IVexGenFloat** out) noexcept
{
    return typed<CVexGenFloat>(aName, out, &PvGenParameterArray::GetFloat);
}

HRESULT CVexGenParameterArray::GetEnum(BSTR aName, IVexGenEnum** out) noexcept
{
    return typed<CVexGenEnum>(aName, out, &PvGenParameterArray::GetEnum);
}

HRESULT CVexGenParameterArray::GetBoolean(BSTR aName, IVexGenBoolean** out) noexcept
{
    return typed<CVexGenBoolean>(aName, out, &PvGenParameterArray::GetBoolean);
}

HRESULT CVexGenParameterArray::GetCommand(BSTR aName, IVexGenCommand** out) noexcept
{
    return typed<CVexGenCommand>(aName, out, &PvGenParameterArray::GetCommand);
}

HRESULT CVexGenParameterArray::GetString(BSTR aName, IVexGenString** out) noexcept
{
    return typed<CVexGenString>(aName, out, &PvGenParameterArray::GetString);
}

HRESULT CVexGenParameterArray::GetRegister(BSTR aName, IVexGenRegister** out) noexcept
{
    return typed<CVexGenRegister>(aName, out, &PvGenParameterArray::GetRegister);
}

// ---- categories ----

template <class Key>
HRESULT CVexGenParameterArray::category(std::map<Key, server::Ref<CVexGenCategory>>& cache, const Key& key,
                                        PvGenCategory* found, IVexGenCategory** out)
{
    if (found == nullptr) {
        return S_OK;
    }
    server::Ref<CVexGenCategory>& cached = cache[key];
    if (!cached) {
        if (const HRESULT created = server::create_object(cached); FAILED(created)) {
            return created;
        }
    }
    cached->AttachSdkObject(found, sdk()->lifetime());
    *out = server::Ref(cached).detach();
    return S_OK;
}

HRESULT CVexGenParameterArray::GetCategoryByIndex(unsigned int aIndex, IVexGenCategory** out) noexcept
{
    return guarded([&] {
        *not_null(out) = nullptr;
        return category(categories_by_index_, std::uint32_t{aIndex}, not_null(sdk())->GetCategory(aIndex), out);
    });
}

HRESULT CVexGenParameterArray::GetCategoryByName(BSTR aName, IVexGenCategory** out) noexcept
{
    return guarded([&] {
        *not_null(out) = nullptr;
        return category(categories_by_name_, key_of(aName), not_null(sdk())->GetCategory(from_bstr(aName)), out);
    });
}

// ---- values by name ----

HRESULT CVexGenParameterArray::InvalidateCache(IVexResult** out) noexcept
{
    return result(out, &PvGenParameterArray::InvalidateCache);
}

HRESULT CVexGenParameterArray::GetIntegerValue(BSTR aName, __int64* aValue, IVexResult** out) noexcept
{
    return result_with<std::int64_t>(out, aValue, [&](const PvGenParameterArray& array, std::int64_t& left) {
        return array.GetIntegerValue(from_bstr(aName), left);
    });
}

HRESULT CVexGenParameterArray::SetIntegerValue(BSTR aName, __int64 aValue, IVexResult** out) noexcept
{
    return result(out, [&](PvGenParameterArray& array) { return array.SetIntegerValue(from_bstr(aName), aValue); });
}

HRESULT CVexGenParameterArray::GetFloatValue(BSTR aName, double* aValue, IVexResult** out) noexcept
{
    return result_with<double>(out, aValue, [&](const PvGenParameterArray& array, double& left) {
        return array.GetFloatValue(from_bstr(aName), left);
    });
}

HRESULT CVexGenParameterArray::SetFloatValue(BSTR aName, double aValue, IVexResult** out) noexcept
{
    return result(out, [&](PvGenParameterArray& array) { return array.SetFloatValue(from_bstr(aName), aValue); });
}

HRESULT CVexGenParameterArray::GetEnumValueStr(BSTR aName, BSTR* aValue, IVexResult** out) noexcept
{
    return result_with<PvString>(out, aValue, [&](const PvGenParameterArray& array, PvString& left) {
        return array.GetEnumValue(from_bstr(aName), left);
    });
}

HRESULT CVexGenParameterArray::GetEnumValueInt(BSTR aName, __int64* aValue, IVexResult** out) noexcept
{
    return result_with<std::int64_t>(out, aValue, [&](const PvGenParameterArray& array, std::int64_t& left) {
        return array.GetEnumValue(from_bstr(aName), left);
    });
}

HRESULT CVexGenParameterArray::SetEnumValueStr(BSTR aName, BSTR aValue, IVexResult** out) noexcept
{
    return result(out,
                  [&](PvGenParameterArray& array) { return array.SetEnumValue(from_bstr(aName), from_bstr(aValue)); });
}

HRESULT CVexGenParameterArray::SetEnumValueInt(BSTR aName, __int64 aValue, IVexResult** out) noexcept
{
    return result(
        out, [&](PvGenParameterArray& array) { return array.SetEnumValue(from_bstr(aName), std::int64_t{aValue}); });
}

HRESULT CVexGenParameterArray::GetBooleanValue(BSTR aName, VARIANT_BOOL* aValue, IVexResult** out) noexcept
{
    return result_with<bool>(out, aValue, [&](const PvGenParameterArray& array, bool& left) {
        return array.GetBooleanValue(from_bstr(aName), left);
    });
}

HRESULT CVexGenParameterArray::SetBooleanValue(BSTR aName, VARIANT_BOOL aValue, IVexResult** out) noexcept
{
    return result(out, [&](PvGenParameterArray& array) {
        return array.SetBooleanValue(from_bstr(aName), server::from_variant_bool(aValue));
    });
}

HRESULT CVexGenParameterArray::GetStringValue(BSTR aName, BSTR* aValue, IVexResult** out) noexcept
{
    return result_with<PvString>(out, aValue, [&](const PvGenParameterArray& array, PvString& left) {
        return array.GetString(from_bstr(aName), left);
    });
}

HRESULT CVexGenParameterArray::SetStringValue(BSTR aName, BSTR aValue, IVexResult** out) noexcept
{
    return result(out,
                  [&](PvGenParameterArray& array) { return array.SetString(from_bstr(aName), from_bstr(aValue)); });
}

HRESULT CVexGenParameterArray::ExecuteCommand(BSTR aName, IVexResult** out) noexcept
{
    return result(out, [&](PvGenParameterArray& array) { return array.ExecuteCommand(from_bstr(aName)); });
}
