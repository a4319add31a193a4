#include "genicam/VexGenParameter.h"

using namespace vex;

void CVexGenParameter::final_release() noexcept
{
    // a client may keep a list for longer than the parameter that fills it
    for (const ShownList* list : {&selected_, &selecting_}) {
        if (list->object) {
            list->object->AttachSdkObject(nullptr);
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

HRESULT CVexGenParameter::show(IVexGenParameterList** out, ShownList& list,
                               PvResult (PvGenParameter::*fill)(PvGenParameterList&) const) noexcept
{
    return guarded([&] {
        *server::not_null(out) = nullptr;
        const PvGenParameter& parameter = attached_sdk();
        const PvResult filled = (parameter.*fill)(list.items);
        if (!list.object) {
            list.object = server::make<CVexGenParameterList>();
        }
        list.object->AttachSdkObject(&list.items, parameter.lifetime());
        list.object.copy_to(out);
        return raised(filled);
    });
}
