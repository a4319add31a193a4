// What every C++ client of the server needs: owned references, texts, and failures as exceptions. The header
// VexKamCOMWrapper_h.h and the identifiers in VexKamCOMWrapper_i.c come from the server's build.
// Run in the tests as a part of every program here.
#pragma once

#include <windows.h>

#include "VexKamCOMWrapper_h.h"

#include <string>
#include <utility>

namespace automation {

/// What went wrong, in words for people.
struct Failure {
    std::wstring text;
};

/// One reference to an object, released at the end.
template <class Interface>
class Ref {
public:
    Ref() = default;
    Ref(const Ref&) = delete;
    Ref& operator=(const Ref&) = delete;
    ~Ref() { reset(); }

    void reset()
    {
        if (auto* const held = std::exchange(object_, nullptr); held != nullptr) {
            held->Release();
        }
    }
    /// For out parameters; what was held is released.
    Interface** out()
    {
        reset();
        return &object_;
    }
    [[nodiscard]] Interface* get() const { return object_; }
    Interface* operator->() const { return object_; }
    explicit operator bool() const { return object_ != nullptr; }

private:
    Interface* object_ = nullptr;
};

/// A text that COM allocated: give `in()` to [in] BSTR parameters, `out()` to [out] ones.
class Text {
public:
    Text() = default;
    explicit Text(const std::wstring& text) : text_(SysAllocString(text.c_str())) {}
    Text(const Text&) = delete;
    Text& operator=(const Text&) = delete;
    ~Text() { SysFreeString(text_); }

    [[nodiscard]] BSTR in() const { return text_; }
    BSTR* out()
    {
        SysFreeString(std::exchange(text_, nullptr));
        return &text_;
    }
    [[nodiscard]] std::wstring str() const { return text_ != nullptr ? text_ : L""; }

private:
    BSTR text_ = nullptr;
};

/// A new object of a class, by its most derived interface.
template <class Interface>
void create(Ref<Interface>& object, const CLSID& clsid)
{
    if (FAILED(CoCreateInstance(clsid, nullptr, CLSCTX_INPROC_SERVER, __uuidof(Interface),
                                reinterpret_cast<void**>(object.out())))) {
        throw Failure{L"creating an object; is the server registered?"};
    }
}

/// Methods that can fail say so twice: the HRESULT tells whether the call could be made, the result object what became
/// of it. `call` is given where the result object goes.
template <class Call>
void require(const std::wstring& what, Call&& call)
{
    Ref<IVexResult> result;
    if (FAILED(call(result.out())) || !result) {
        throw Failure{what};
    }
    VARIANT_BOOL ok = 0;
    result->get_IsOK(&ok);
    if (!ok) {  // 1 for true
        Text description;
        result->get_Description(description.out());
        throw Failure{what + L": " + description.str()};
    }
}

/// A call whose outcome changes nothing, as when leaving.
template <class Call>
void attempt(Call&& call)
{
    Ref<IVexResult> ignored;
    call(ignored.out());
}

}  // namespace automation
