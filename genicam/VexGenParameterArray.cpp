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

// ---- parameter objects ----

HRESULT CVexGenParameterArray::GetByIndex(unsigned int aIndex, IVexGenParameter** result) noexcept
{
    return guarded([&] {
        *not_null(result) = nullptr;
        parameters_by_index_.look_up(aIndex, attached_sdk().Get(aIndex), result);
    });
}

HRESULT CVexGenParameterArray::GetByName(BSTR aName, IVexGenParameter** result) noexcept
{
    return guarded([&] {
        *not_null(result) = nullptr;
        parameters_by_name_.look_up(key_of(aName), attached_sdk().Get(from_bstr(aName)), result);
    });
}

template <class Kind, class Interface>
HRESULT CVexGenParameterArray::typed(BSTR aName, Interface** result,
                                     typename Kind::SdkType* (PvGenParameterArray::*find)(const PvString&)
                                         const) noexcept
{
    return guarded([&] {
        *not_null(result) = nullptr;
        server::Ref<IVexGenParameter> object;
        parameters_by_name_.look_up(key_of(aName), (attached_sdk().*find)(from_bstr(aName)), object.put());
        server::Ref(dynamic_cast<Kind*>(object.get())).copy_to(result);
    });
}

HRESULT CVexGenParameterArray::GetInteger(BSTR aName, IVexGenInteger** result) noexcept
{
    return typed<CVexGenInteger>(aName, result, &PvGenParameterArray::GetInteger);
}

HRESULT CVexGenParameterArray::GetFloat(BSTR aName, IVexGenFloat** result) noexcept
{
    return typed<CVexGenFloat>(aName, result, &PvGenParameterArray::GetFloat);
}

HRESULT CVexGenParameterArray::GetEnum(BSTR aName, IVexGenEnum** result) noexcept
{
    return typed<CVexGenEnum>(aName, result, &PvGenParameterArray::GetEnum);
}

HRESULT CVexGenParameterArray::GetBoolean(BSTR aName, IVexGenBoolean** result) noexcept
{
    return typed<CVexGenBoolean>(aName, result, &PvGenParameterArray::GetBoolean);
}

HRESULT CVexGenParameterArray::GetCommand(BSTR aName, IVexGenCommand** result) noexcept
{
    return typed<CVexGenCommand>(aName, result, &PvGenParameterArray::GetCommand);
}

HRESULT CVexGenParameterArray::GetString(BSTR aName, IVexGenString** result) noexcept
{
    return typed<CVexGenString>(aName, result, &PvGenParameterArray::GetString);
}

HRESULT CVexGenParameterArray::GetRegister(BSTR aName, IVexGenRegister** result) noexcept
{
    return typed<CVexGenRegister>(aName, result, &PvGenParameterArray::GetRegister);
}

// ---- categories ----

template <class Key>
void CVexGenParameterArray::category(std::map<Key, server::Ref<CVexGenCategory>>& cache, const Key& key,
                                     PvGenCategory* found, IVexGenCategory** result)
{
    if (found == nullptr) {
        return;
    }
    server::Ref<CVexGenCategory>& cached = cache[key];
    if (!cached) {
        cached = server::make<CVexGenCategory>();
    }
    show_part(*cached, found);
    cached.copy_to(result);
}

HRESULT CVexGenParameterArray::GetCategoryByIndex(unsigned int aIndex, IVexGenCategory** result) noexcept
{
    return guarded([&] {
        *not_null(result) = nullptr;
        category(categories_by_index_, std::uint32_t{aIndex}, attached_sdk().GetCategory(aIndex), result);
    });
}

HRESULT CVexGenParameterArray::GetCategoryByName(BSTR aName, IVexGenCategory** result) noexcept
{
    return guarded([&] {
        *not_null(result) = nullptr;
        category(categories_by_name_, key_of(aName), attached_sdk().GetCategory(from_bstr(aName)), result);
    });
}
