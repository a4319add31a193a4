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

server::Ref<IVexGenParameter> make_parameter(PvGenParameter* parameter)
{
    server::Ref<IVexGenParameter> object;
    any_kind([&]<class Kind>() {
        auto* typed = dynamic_cast<typename Kind::SdkType*>(parameter);
        if (typed != nullptr) {
            const server::Ref<Kind> made = server::make<Kind>();
            made->AttachSdkObject(typed);
            object = server::Ref<IVexGenParameter>(made.get());
        }
        return typed != nullptr;
    });
    return object;
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
    PvGenParameter* found = nullptr;
    any_kind([&]<class Kind>() {
        found = server::sdk_if<typename Kind::SdkType>(object);
        return found != nullptr;
    });
    return found;
}
