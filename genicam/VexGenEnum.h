// VexGenEnum: one choice out of several.
#pragma once

#include "genicam/VexGenEnumEntry.h"
#include "genicam/parameter_object.h"
#include "sdk/genicam/PvGenEnum.h"

/// Has one entry object, which every look-up points at the entry found.
class CVexGenEnum : public ParameterObject<CVexGenEnum, PvGenEnum> {
public:
    HRESULT final_construct();

    HRESULT STDMETHODCALLTYPE get_ValueInt(__int64* pVal) noexcept override;
    HRESULT STDMETHODCALLTYPE put_ValueInt(__int64 pVal) noexcept override;
    HRESULT STDMETHODCALLTYPE get_ValueStr(BSTR* pVal) noexcept override;
    HRESULT STDMETHODCALLTYPE put_ValueStr(BSTR pVal) noexcept override;
    HRESULT STDMETHODCALLTYPE get_EntriesCount(__int64* pVal) noexcept override;
    HRESULT STDMETHODCALLTYPE GetEntryByName(BSTR aEntryName, IVexGenEnumEntry** aEntry,
                                             IVexResult** out) noexcept override;
    HRESULT STDMETHODCALLTYPE GetEntryByIndex(__int64 aIndex, IVexGenEnumEntry** aEntry,
                                              IVexResult** out) noexcept override;
    HRESULT STDMETHODCALLTYPE GetEntryByValue(__int64 aValue, IVexGenEnumEntry** aEntry,
                                              IVexResult** out) noexcept override;

private:
    template <class Find>
    HRESULT look_up(IVexGenEnumEntry** aEntry, IVexResult** out, Find&& find) noexcept;

    vex::server::Ref<CVexGenEnumEntry> entry_;
};
