// Properties and lists as clients make and read them.
#pragma once

#include <initializer_list>
#include <string>
#include <utility>

#include "tests/com/com_client.h"

namespace client {

/// A BSTR for the length of an expression.
class Text {
public:
    explicit Text(const wchar_t* text) : text_(SysAllocString(text)) {}
    Text(const Text&) = delete;
    Text& operator=(const Text&) = delete;
    ~Text() { SysFreeString(text_); }

    operator BSTR() const noexcept { return text_; }  // NOLINT(google-explicit-constructor)

private:
    BSTR text_;
};

[[nodiscard]] inline Ref<IVexProperty> new_property(const wchar_t* name, const wchar_t* value)
{
    auto made = create<IVexProperty>(__uuidof(VexProperty));
    EXPECT_EQ(made->put_Name(Text(name)), S_OK);
    EXPECT_EQ(made->put_Value(Text(value)), S_OK);
    return made;
}

/// "name=value".
[[nodiscard]] inline std::wstring shown(const Ref<IVexProperty>& property)
{
    return property ? text_of(property, &IVexProperty::get_Name) + L"=" + text_of(property, &IVexProperty::get_Value)
                    : L"null";
}

/// What a step of a walk gives. The output stands on something else before, so that a step must write it.
[[nodiscard]] inline Ref<IVexProperty> walk(const Ref<IVexPropertyList>& list,
                                            HRESULT (STDMETHODCALLTYPE IVexPropertyList::*step)(IVexProperty**))
{
    IVexProperty* found = reinterpret_cast<IVexProperty*>(1);
    EXPECT_EQ((list.get()->*step)(&found), S_OK);
    Ref<IVexProperty> owned;
    *owned.put() = found;
    return owned;
}
[[nodiscard]] inline Ref<IVexProperty> first(const Ref<IVexPropertyList>& list)
{
    return walk(list, &IVexPropertyList::GetFirst);
}
[[nodiscard]] inline Ref<IVexProperty> next(const Ref<IVexPropertyList>& list)
{
    return walk(list, &IVexPropertyList::GetNext);
}
[[nodiscard]] inline Ref<IVexProperty> item(const Ref<IVexPropertyList>& list, unsigned int index)
{
    IVexProperty* found = reinterpret_cast<IVexProperty*>(1);
    EXPECT_EQ(list->GetItem(index, &found), S_OK);
    Ref<IVexProperty> owned;
    *owned.put() = found;
    return owned;
}

/// A list with these names and values.
[[nodiscard]] inline Ref<IVexPropertyList>
new_properties(std::initializer_list<std::pair<const wchar_t*, const wchar_t*>> items)
{
    auto made = create<IVexPropertyList>(__uuidof(VexPropertyList));
    for (const auto& [name, value] : items) {
        EXPECT_EQ(made->Add(new_property(name, value).get()), S_OK);
    }
    return made;
}

[[nodiscard]] inline Ref<IVexStringList> new_strings(std::initializer_list<const wchar_t*> items)
{
    auto made = create<IVexStringList>(__uuidof(VexStringList));
    for (const wchar_t* text : items) {
        EXPECT_EQ(made->Add(Text(text)), S_OK);
    }
    return made;
}

/// The text that a step gives, "(null)" for a null BSTR.
[[nodiscard]] inline std::wstring taken(BSTR text) { return text != nullptr ? take(text) : L"(null)"; }
[[nodiscard]] inline std::wstring walk(const Ref<IVexStringList>& list,
                                       HRESULT (STDMETHODCALLTYPE IVexStringList::*step)(BSTR*))
{
    BSTR found = reinterpret_cast<BSTR>(1);
    EXPECT_EQ((list.get()->*step)(&found), S_OK);
    return taken(found);
}
[[nodiscard]] inline std::wstring first(const Ref<IVexStringList>& list)
{
    return walk(list, &IVexStringList::GetFirst);
}
[[nodiscard]] inline std::wstring next(const Ref<IVexStringList>& list) { return walk(list, &IVexStringList::GetNext); }
[[nodiscard]] inline std::wstring item(const Ref<IVexStringList>& list, unsigned int index)
{
    BSTR found = reinterpret_cast<BSTR>(1);
    EXPECT_EQ(list->GetItem(index, &found), S_OK);
    return taken(found);
}

/// The description that a failed early-bound call left, and the class in whose name.
struct LastError {
    std::wstring source;
    std::wstring description;
    GUID iid{};
};
[[nodiscard]] inline LastError last_error()
{
    LastError last;
    Ref<IErrorInfo> info;
    if (GetErrorInfo(0, info.put()) == S_OK) {
        last.source = text_of(info, &IErrorInfo::GetSource);
        last.description = text_of(info, &IErrorInfo::GetDescription);
        info->GetGUID(&last.iid);
    }
    return last;
}

}  // namespace client
