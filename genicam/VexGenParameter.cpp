#include "genicam/VexGenParameter.h"

using namespace vex;

void CVexGenParameter::final_release() noexcept
{
    // a client may keep a list for longer than the parameter that fills it
    for (const ShownList* list : {&selected_, &selecting_}) {
        if (list->object) {
            list->object->AttachSdkObject(nullptr, {});
        }
    }
}

HRESULT CVexGenParameter::get_Name(BSTR* pVal) noexcept
{
    return value(pVal, [](const PvGenParameter& parameter) {
        PvString name;
        parameter.GetName(name);
        return name;
    });
}

HRESULT CVexGenParameter::get_Type(VexGenType* pVal) noexcept { return get(pVal, &PvGenParameter::GetType); }

HRESULT CVexGenParameter::get_Category(BSTR* pVal) noexcept { return get(pVal, &PvGenParameter::GetCategory); }

HRESULT CVexGenParameter::get_ToolTip(BSTR* pVal) noexcept { return get(pVal, &PvGenParameter::GetToolTip); }

HRESULT CVexGenParameter::get_Description(BSTR* pVal) noexcept { return get(pVal, &PvGenParameter::GetDescription); }

HRESULT CVexGenParameter::get_DisplayName(BSTR* pVal) noexcept { return get(pVal, &PvGenParameter::GetDisplayName); }

HRESULT CVexGenParameter::get_NameSpace(VexGenNameSpace* pVal) noexcept
{
    return get(pVal, &PvGenParameter::GetNameSpace);
}

HRESULT CVexGenParameter::get_Visibility(VexGenVisibility* pVal) noexcept
{
    return get(pVal, &PvGenParameter::GetVisibility);
}

HRESULT CVexGenParameter::get_SelectedParameters(IVexGenParameterList** pVal) noexcept
{
    return show(pVal, selected_, &PvGenParameter::GetSelectedParameters);
}

HRESULT CVexGenParameter::get_SelectingParameters(IVexGenParameterList** pVal) noexcept
{
    return show(pVal, selecting_, &PvGenParameter::GetSelectingParameters);
}

HRESULT CVexGenParameter::get_PollingTime(__int64* pVal) noexcept { return get(pVal, &PvGenParameter::GetPollingTime); }

HRESULT CVexGenParameter::get_LastErrorMsg(BSTR* pVal) noexcept
{
    return value(pVal, &PvGenParameter::GetLastErrorMsg);
}

HRESULT CVexGenParameter::get_Node(INT_PTR* pVal) noexcept { return value(pVal, &PvGenParameter::GetNode); }

HRESULT CVexGenParameter::get_IsValueCached(VARIANT_BOOL* pVal) noexcept
{
    return value(pVal, &PvGenParameter::IsValueCached);
}

HRESULT CVexGenParameter::get_IsPersistent(VARIANT_BOOL* pVal) noexcept
{
    return value(pVal, &PvGenParameter::IsPersistent);
}

HRESULT CVexGenParameter::get_IsAvailable(VARIANT_BOOL* pVal) noexcept
{
    return value(pVal, &PvGenParameter::IsAvailable);
}

HRESULT CVexGenParameter::get_IsWritable(VARIANT_BOOL* pVal) noexcept
{
    return value(pVal, &PvGenParameter::IsWritable);
}

HRESULT CVexGenParameter::get_IsReadable(VARIANT_BOOL* pVal) noexcept
{
    return value(pVal, &PvGenParameter::IsReadable);
}

HRESULT CVexGenParameter::get_IsSelector(VARIANT_BOOL* pVal) noexcept { return get(pVal, &PvGenParameter::IsSelector); }

HRESULT CVexGenParameter::get_IsStreamable(VARIANT_BOOL* pVal) noexcept
{
    return value(pVal, &PvGenParameter::IsStreamable);
}

HRESULT CVexGenParameter::IsVisible(VexGenVisibility aCurrentVisibility, VARIANT_BOOL* visible) noexcept
{
    return value(visible, [&](const PvGenParameter& parameter) {
        return parameter.IsVisible(static_cast<PvGenVisibility>(aCurrentVisibility));
    });
}

HRESULT CVexGenParameter::ValueToString(BSTR* aValue, IVexResult** out) noexcept
{
    return result_with<PvString>(out, aValue, &PvGenParameter::ToString);
}

HRESULT CVexGenParameter::ValueFromString(BSTR aValue, IVexResult** out) noexcept
{
    return result(out, [&](PvGenParameter& parameter) { return parameter.FromString(server::from_bstr(aValue)); });
}

HRESULT CVexGenParameter::RegisterEventSink(IVexGenEventSink* aEventSink) noexcept
{
    return client_sink_.set(aEventSink);
}

HRESULT CVexGenParameter::UnregisterEventSink(IVexGenEventSink* /*aEventSink*/) noexcept
{
    return client_sink_.clear();
}

HRESULT CVexGenParameter::show(IVexGenParameterList** out, ShownList& list,
                               PvResult (PvGenParameter::*fill)(PvGenParameterList&) const) noexcept
{
    return server::guarded([&]() -> HRESULT {
        *server::not_null(out) = nullptr;
        const PvGenParameter& parameter = *server::not_null(sdk());
        const PvResult filled = (parameter.*fill)(list.items);
        if (!list.object) {
            if (const HRESULT created = server::create_object(list.object); FAILED(created)) {
                return created;
            }
        }
        list.object->AttachSdkObject(&list.items, parameter.lifetime());
        list.object->AddRef();
        *out = list.object.get();
        return filled.IsOK() ? S_OK : raise(filled);
    });
}
