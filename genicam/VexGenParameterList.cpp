#include "genicam/VexGenParameterList.h"

#include <utility>

#include "genicam/parameter_kinds.h"

using namespace vex;

HRESULT CVexGenParameterList::final_construct()
{
    own_new<PvGenParameterList>();
    return S_OK;
}

void CVexGenParameterList::final_release() noexcept { items_.clear(); }

PvGenParameterList* CVexGenParameterList::sdk() const noexcept
{
    return owns_sdk_object() || !lifetime_.expired() ? SdkObject::sdk() : nullptr;
}

void CVexGenParameterList::AttachSdkObject(PvGenParameterList* borrowed, std::weak_ptr<const void> lifetime) noexcept
{
    SdkObject::AttachSdkObject(borrowed);
    lifetime_ = std::move(lifetime);
}

PvGenParameter* CVexGenParameterList::living(PvGenParameter* entry) const
{
    const auto found = added_.find(entry);
    return found != added_.end() && found->second.expired() ? nullptr : entry;
}

HRESULT CVexGenParameterList::get_Size(unsigned int* pVal) noexcept
{
    return value(pVal, &PvGenParameterList::GetSize);
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

HRESULT CVexGenParameterList::GetItem(unsigned int aIndex, IVexGenParameter** out) noexcept
{
    return server::guarded([&] {
        *server::not_null(out) = nullptr;
        return items_.look_up(aIndex, living(server::not_null(sdk())->GetItem(aIndex)), out);
    });
}

HRESULT CVexGenParameterList::GetFirst(IVexGenParameter** out) noexcept
{
    return fresh(out, &PvGenParameterList::GetFirst);
}

HRESULT CVexGenParameterList::GetNext(IVexGenParameter** out) noexcept
{
    return fresh(out, &PvGenParameterList::GetNext);
}

HRESULT CVexGenParameterList::fresh(IVexGenParameter** out,
                                    PvGenParameter* (PvGenParameterList::*step)() noexcept) noexcept
{
    return server::guarded([&] {
        *server::not_null(out) = nullptr;
        server::Ref<IVexGenParameter> made;
        const HRESULT created = make_parameter(living((server::not_null(sdk())->*step)()), made);
        *out = made.detach();
        return created;
    });
}
