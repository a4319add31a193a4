#include "genicam/VexGenParameterList.h"

#include "genicam/parameter_kinds.h"

HRESULT CVexGenParameterList::final_construct()
{
    own_new<PvGenParameterList>();
    return S_OK;
}

void CVexGenParameterList::final_release() noexcept { items_.clear(); }

HRESULT CVexGenParameterList::get_Size(unsigned int* pVal) noexcept
{
    return value(pVal, &PvGenParameterList::GetSize);
}

HRESULT CVexGenParameterList::Clear() noexcept { return set(&PvGenParameterList::Clear); }

HRESULT CVexGenParameterList::Add(IVexGenParameter* aParameter) noexcept
{
    return set([&](PvGenParameterList& list) { list.Add(sdk_parameter_of(aParameter)); });
}

HRESULT CVexGenParameterList::GetItem(unsigned int aIndex, IVexGenParameter** out) noexcept
{
    return server::guarded([&] {
        *server::not_null(out) = nullptr;
        return items_.look_up(aIndex, server::not_null(sdk())->GetItem(aIndex), out);
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
        const HRESULT created = make_parameter((server::not_null(sdk())->*step)(), made);
        *out = made.detach();
        return created;
    });
}
