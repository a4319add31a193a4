#include "persistence/VexStringList.h"

#include <utility>
#include <vector>

#include "server/enumerator.h"

using namespace vex;

using server::not_null;

namespace {

/// A copy for the caller; null where there is no text.
void hand_out(BSTR* out, const PvString* text) { *out = text != nullptr ? server::to_bstr(*text) : nullptr; }

struct CopyText {
    using Out = VARIANT;
    static VARIANT copy(const PvString& text) noexcept
    {
        VARIANT made{};
        V_VT(&made) = VT_BSTR;
        V_BSTR(&made) = server::to_bstr(text);
        return made;
    }
};

}  // namespace

HRESULT CVexStringList::GetFirst(BSTR* result) noexcept
{
    return guarded([&] {
        *not_null(result) = nullptr;
        hand_out(result, attached_sdk().GetFirst());
    });
}

HRESULT CVexStringList::GetItem(unsigned int aIndex, BSTR* result) noexcept
{
    return guarded([&] {
        *not_null(result) = nullptr;
        hand_out(result, attached_sdk().GetItem(aIndex));
    });
}

HRESULT CVexStringList::GetNext(BSTR* result) noexcept
{
    return guarded([&] {
        *not_null(result) = nullptr;
        hand_out(result, attached_sdk().GetNext());
    });
}

server::Ref<IEnumVARIANT> CVexStringList::enumerator()
{
    const PvStringList& list = attached_sdk();
    std::vector<PvString> texts;
    texts.reserve(list.GetSize());
    for (std::uint32_t index = 0; index < list.GetSize(); ++index) {
        texts.push_back(*list.GetItem(index));
    }
    return server::Enumerator<IEnumVARIANT, PvString, CopyText>::create(std::move(texts));
}
