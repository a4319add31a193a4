#include "genicam/VexGenParameterArrayCL.h"

#include "persistence/VexStringList.h"

using namespace vex;

using server::not_null;

void CVexGenParameterArrayCL::final_construct()
{
    own_new();
    plain_ = server::make<CVexGenParameterArray>();
    attached(sdk());
}

HRESULT CVexGenParameterArrayCL::hand_out_templates(IVexStringList** list) noexcept
{
    return guarded([&] {
        *not_null(list) = nullptr;
        PvGenParameterArrayCL::GetDeviceTemplates(templates_);
        server::wrap<CVexStringList>(&templates_, list);
    });
}

HRESULT CVexGenParameterArrayCL::GetXMLIDs(IVexStringList** aXMLIDList, IVexResult** result) noexcept
{
    return guarded([&]() -> HRESULT {
        *not_null(aXMLIDList) = nullptr;
        const server::Ref<CVexStringList> list = server::make<CVexStringList>();
        list->AttachSdkObject(&xml_ids_);
        const HRESULT done = report(result, [this](PvGenParameterArrayCL& array) { return array.GetXMLIDs(xml_ids_); });
        if (SUCCEEDED(done)) {
            list.copy_to(aXMLIDList);
        }
        return done;
    });
}
