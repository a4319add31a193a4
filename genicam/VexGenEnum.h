// VexGenEnum: one choice out of several.
#pragma once

#include "genicam/VexGenEnumEntry.h"
#include "genicam/parameter_object.h"
#include "sdk/genicam/PvGenEnum.h"

/// Has one entry object, which every look-up points at the entry found.
class CVexGenEnum : public ParameterObject<CVexGenEnum, PvGenEnum> {
public:
    void final_construct()
    {
        entry_ = vex::server::make<CVexGenEnumEntry>();
        ParameterObject::final_construct();
    }

    STDMETHODIMP get_ValueInt(__int64* pVal) noexcept override
    {
        return get(pVal, overload<PvResult(std::int64_t&) const>(&PvGenEnum::GetValue));
    }
    STDMETHODIMP put_ValueInt(__int64 pVal) noexcept override
    {
        return set(overload<PvResult(std::int64_t)>(&PvGenEnum::SetValue), pVal);
    }
    STDMETHODIMP get_ValueStr(BSTR* pVal) noexcept override
    {
        return get(pVal, overload<PvResult(PvString&) const>(&PvGenEnum::GetValue));
    }
    STDMETHODIMP put_ValueStr(BSTR pVal) noexcept override
    {
        return set(overload<PvResult(const PvString&)>(&PvGenEnum::SetValue), pVal);
    }
    STDMETHODIMP get_EntriesCount(__int64* pVal) noexcept override { return get(pVal, &PvGenEnum::GetEntriesCount); }
    STDMETHODIMP GetEntryByName(BSTR aEntryName, IVexGenEnumEntry** aEntry, IVexResult** result) noexcept override
    {
        return look_up(&PvGenEnum::GetEntryByName, aEntryName, aEntry, result);
    }
    STDMETHODIMP GetEntryByIndex(__int64 aIndex, IVexGenEnumEntry** aEntry, IVexResult** result) noexcept override
    {
        return look_up(&PvGenEnum::GetEntryByIndex, aIndex, aEntry, result);
    }
    STDMETHODIMP GetEntryByValue(__int64 aValue, IVexGenEnumEntry** aEntry, IVexResult** result) noexcept override
    {
        return look_up(&PvGenEnum::GetEntryByValue, aValue, aEntry, result);
    }

private:
    template <class Asked, class Key>
    HRESULT look_up(PvResult (PvGenEnum::*find)(Asked, const PvGenEnumEntry**) const, Key key,
                    IVexGenEnumEntry** aEntry, IVexResult** result) noexcept
    {
        if (aEntry != nullptr) {
            *aEntry = nullptr;
        }
        const auto find_and_show = [&](const PvGenEnum& parameter, Asked asked) {
            *vex::server::not_null(aEntry, 2) = nullptr;
            const PvGenEnumEntry* found = nullptr;
            PvResult looked_up = (parameter.*find)(asked, &found);
            if (found != nullptr) {
                entry_->AttachSdkObject(found, parameter.lifetime());
                entry_.copy_to(aEntry);
            }
            return looked_up;
        };
        return report(result, find_and_show, key);
    }

    vex::server::Ref<CVexGenEnumEntry> entry_;
};
