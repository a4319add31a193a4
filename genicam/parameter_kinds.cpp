#include "genicam/parameter_kinds.h"

#include "genicam/VexGenBoolean.h"
#include "genicam/VexGenCommand.h"
#include "genicam/VexGenEnum.h"
#include "genicam/VexGenFloat.h"
#include "genicam/VexGenInteger.h"
#include "genicam/VexGenRegister.h"
#include "genicam/VexGenString.h"

using namespace vex;

namespace {

/// Calls visit.operator()<Kind>() for each kind, in the order in which they are tested, until one answers true.
template <class Visit>
bool any_kind(Visit&& visit)
{
    const auto any_of = [&]<class... Kinds>() { return (visit.template operator()<Kinds>() || ...); };
    return any_of.template operator()<CVexGenInteger, CVexGenFloat, CVexGenCommand, CVexGenBoolean, CVexGenRegister,
                                      CVexGenString, CVexGenEnum>();
}

}  // namespace

HRESULT make_parameter(PvGenParameter* parameter, server::Ref<IVexGenParameter>& object) noexcept
{
    object.reset();
    HRESULT made = S_OK;
    any_kind([&]<class Kind>() {
        auto* typed = dynamic_cast<typename Kind::SdkType*>(parameter);
        if (typed == nullptr) {
            return false;
        }
        server::Ref<Kind> created;
        made = server::create_object(created);
        if (SUCCEEDED(made)) {
            created->AttachSdkObject(typed);
            object = server::Ref<IVexGenParameter>(created.get());
        }
        return true;
    });
    return made;
}

bool rebind_parameter(IVexGenParameter* object, PvGenParameter* parameter) noexcept
{
    bool same_kind = false;
    any_kind([&]<class Kind>() {
        auto* wrapper = dynamic_cast<Kind*>(object);
        auto* typed = dynamic_cast<typename Kind::SdkType*>(parameter);
        if (wrapper != nullptr && typed != nullptr) {
            wrapper->AttachSdkObject(typed);
            same_kind = true;
        }
        return wrapper != nullptr || typed != nullptr;
    });
    return same_kind;
}

PvGenParameter* sdk_parameter_of(IVexGenParameter* object) noexcept
{
    // another module's object may not know C++ casts
    if (!server::Module::implements(object)) {
        return nullptr;
    }
    PvGenParameter* found = nullptr;
    any_kind([&]<class Kind>() {
        auto* wrapper = dynamic_cast<Kind*>(object);
        if (wrapper != nullptr) {
            found = wrapper->sdk();
        }
        return wrapper != nullptr;
    });
    return found;
}
