#include "server/VexResult.h"

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
