#include "genicam/VexGenEnum.h"

using namespace vex;

HRESULT CVexGenEnum::final_construct()
{
    if (const HRESULT created = server::create_object(entry_); FAILED(created)) {
        return created;
    }
    return ParameterObject::final_construct();
}

HRESULT CVexGenEnum::get_ValueInt(__int64* pVal) noexcept { return get<std::int64_t>(pVal, &PvGenEnum::GetValue); }

HRESULT CVexGenEnum::put_ValueInt(__int64 pVal) noexcept
{
    return set([&](PvGenEnum& parameter) { return parameter.SetValue(pVal); });
}

HRESULT CVexGenEnum::get_ValueStr(BSTR* pVal) noexcept { return get<PvString>(pVal, &PvGenEnum::GetValue); }

HRESULT CVexGenEnum::put_ValueStr(BSTR pVal) noexcept
{
    return set([&](PvGenEnum& parameter) { return parameter.SetValue(server::from_bstr(pVal)); });
}

HRESULT CVexGenEnum::get_EntriesCount(__int64* pVal) noexcept { return get(pVal, &PvGenEnum::GetEntriesCount); }

template <class Find>
HRESULT CVexGenEnum::look_up(IVexGenEnumEntry** aEntry, IVexResult** out, Find&& find) noexcept
{
    return server::guarded([&] {
        *server::not_null(aEntry) = nullptr;
        return result(out, [&](const PvGenEnum& parameter) {
            const PvGenEnumEntry* found = nullptr;
            PvResult looked_up = find(parameter, &found);
            if (found != nullptr) {
                entry_->AttachSdkObject(found, parameter.lifetime());
                *aEntry = server::Ref(entry_).detach();
            }
            return looked_up;
        });
    });
}

HRESULT CVexGenEnum::GetEntryByName(BSTR aEntryName, IVexGenEnumEntry** aEntry, IVexResult** out) noexcept
{
    return look_up(aEntry, out, [&](const PvGenEnum& parameter, const PvGenEnumEntry** found) {
        return parameter.GetEntryByName(server::from_bstr(aEntryName), found);
    });
}

HRESULT CVexGenEnum::GetEntryByIndex(__int64 aIndex, IVexGenEnumEntry** aEntry, IVexResult** out) noexcept
{
    return look_up(aEntry, out, [&](const PvGenEnum& parameter, const PvGenEnumEntry** found) {
        return parameter.GetEntryByIndex(aIndex, found);
    });
}

HRESULT CVexGenEnum::GetEntryByValue(__int64 aValue, IVexGenEnumEntry** aEntry, IVexResult** out) noexcept
{
    return look_up(aEntry, out, [&](const PvGenEnum& parameter, const PvGenEnumEntry** found) {
        return parameter.GetEntryByValue(aValue, found);
    });
}
