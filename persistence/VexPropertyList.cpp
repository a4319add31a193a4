#include "persistence/VexPropertyList.h"

#include <utility>
#include <vector>

#include "server/enumerator.h"

using namespace vex;

using server::not_null;
using server::Ref;

namespace {

/// Points an object at an item, for as long as the list keeps that.
void show(CVexProperty& object, PvProperty* item, const PvPropertyList& list)
{
    object.AttachSdkObject(item, list.items_lifetime());
}

Ref<CVexProperty> fresh(PvProperty* item, const PvPropertyList& list)
{
    Ref<CVexProperty> made = server::make<CVexProperty>();
    show(*made, item, list);
    return made;
}

struct CopyProperty {
    using Out = VARIANT;
    static VARIANT copy(const Ref<CVexProperty>& property) noexcept
    {
        VARIANT made{};
        server::set_argument(made, property.get());
        return made;
    }
};

}  // namespace

void CVexPropertyList::final_construct()
{
    first_ = server::make<CVexProperty>();
    own_new();
}

HRESULT CVexPropertyList::GetFirst(IVexProperty** result) noexcept
{
    return guarded([&] {
        *not_null(result) = nullptr;
        PvPropertyList& list = attached_sdk();
        if (PvProperty* item = list.GetFirst(); item != nullptr) {
            show(*first_, item, list);
            first_.copy_to(result);
        }
    });
}

HRESULT CVexPropertyList::GetItem(unsigned int aIndex, IVexProperty** result) noexcept
{
    return guarded([&] {
        *not_null(result) = nullptr;
        PvPropertyList& list = attached_sdk();
        PvProperty* item = list.GetItem(aIndex);
        if (item == nullptr) {
            return;
        }
        Ref<CVexProperty>& cached = items_[aIndex];
        if (!cached) {
            cached = server::make<CVexProperty>();
        }
        show(*cached, item, list);
        cached.copy_to(result);
    });
}

HRESULT CVexPropertyList::GetNext(IVexProperty** result) noexcept
{
    return guarded([&] {
        *not_null(result) = nullptr;
        PvPropertyList& list = attached_sdk();
        if (PvProperty* item = list.GetNext(); item != nullptr) {
            *result = fresh(item, list).detach();
        }
    });
}

Ref<IEnumVARIANT> CVexPropertyList::enumerator()
{
    PvPropertyList& list = attached_sdk();
    std::vector<Ref<CVexProperty>> items;
    items.reserve(list.GetSize());
    for (std::uint32_t index = 0; index < list.GetSize(); ++index) {
        items.push_back(fresh(list.GetItem(index), list));
    }
    return server::Enumerator<IEnumVARIANT, Ref<CVexProperty>, CopyProperty>::create(std::move(items));
}
