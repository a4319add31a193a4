#include "genicam/VexGenParameterList.h"

#include "genicam/parameter_kinds.h"

using namespace vex;

PvGenParameter* CVexGenParameterList::living(PvGenParameter* entry) const
{
    const auto found = added_.find(entry);
    return found != added_.end() && found->second.expired() ? nullptr : entry;
}

HRESULT CVexGenParameterList::Clear() noexcept
{
    return set([&](PvGenParameterList& list) {
        list.Clear();
        added_.clear();
    });
}

HRESULT CVexGenParameterList::Add(IVexGenParameter* aParameter) noexcept
{
    return set([&](PvGenParameterList& list) {
        PvGenParameter* parameter = sdk_parameter_of(aParameter);
        if (parameter != nullptr) {
            added_[parameter] = parameter->lifetime();
        }
        list.Add(parameter);
    });
}

HRESULT CVexGenParameterList::GetItem(unsigned int aIndex, IVexGenParameter** result) noexcept
{
    return guarded([&] {
        *server::not_null(result) = nullptr;
        items_.look_up(aIndex, living(attached_sdk().GetItem(aIndex)), result);
    });
}

HRESULT CVexGenParameterList::fresh(IVexGenParameter** out,
                                    PvGenParameter* (PvGenParameterList::*step)() noexcept) noexcept
{
    return guarded([&] {
        *server::not_null(out) = nullptr;
        *out = make_parameter(living((attached_sdk().*step)())).detach();
    });
}
