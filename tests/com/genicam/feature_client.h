// Parameters as a client uses them: short ways to call members, a sink, and descriptions of cameras for the tests.
#pragma once

#include <cstdint>
#include <initializer_list>
#include <string>
#include <vector>

#include "tests/com/com_client.h"

namespace client {

/// The description of a camera with one or two parameters of each kind; tests say what they need of it. Its
/// registers are at `base` + 0x100 and behind that.
std::string camera_description(std::int64_t base = 0);
/// Another camera: "Width" is a float there, "Gain" a float as before.
std::string other_description();

/// A BSTR argument for the length of an expression.
class Text {
public:
    Text(const wchar_t* text) : text_(SysAllocString(text)) {}
    Text(const Text&) = delete;
    Text& operator=(const Text&) = delete;
    ~Text() { SysFreeString(text_); }

    operator BSTR() const noexcept { return text_; }

private:
    BSTR text_;
};

/// An array for the length of a test.
class Bytes {
public:
    Bytes(std::initializer_list<unsigned char> values, LONG lower = 0) : array_(byte_array(values, lower)) {}
    Bytes(const Bytes&) = delete;
    Bytes& operator=(const Bytes&) = delete;
    ~Bytes() { SafeArrayDestroy(array_); }

    operator SAFEARRAY*() const noexcept { return array_; }
    [[nodiscard]] std::vector<unsigned char> values() const { return bytes_of(array_); }

private:
    SAFEARRAY* array_;
};

/// A VARIANT_BOOL, BSTR and so on that a getter writes: `read(object, &IVexGenInteger::get_Value)`. A failure is
/// reported by the test.
template <class Value, class Object, class Class>
Value read(const Ref<Object>& object, HRESULT (STDMETHODCALLTYPE Class::*getter)(Value*))
{
    Value value{};
    EXPECT_EQ((object.get()->*getter)(&value), S_OK);
    return value;
}

/// The text that a getter writes.
template <class Object, class Class>
std::wstring read_text(const Ref<Object>& object, HRESULT (STDMETHODCALLTYPE Class::*getter)(BSTR*))
{
    return take(read(object, getter));
}

/// The code of a result object; a failing test when there is none.
VexResultCode code_of(const Ref<IVexResult>& result);

/// The calling thread's error information: description, source and interface.
struct ErrorFacts {
    std::wstring description;
    std::wstring source;
    GUID interface_id{};
};
ErrorFacts take_error();

/// A client's sink as C++ clients register it.
class ClientSink : public DualSink<IVexGenEventSink> {
public:
    HRESULT STDMETHODCALLTYPE OnParameterUpdate(IVexGenParameter* aParameter) override;

    /// Each with a reference.
    std::vector<Ref<IVexGenParameter>> shown;
};

/// Looks a parameter up by its name: `look_up(array, L"Width", &IVexGenParameterArray::GetInteger)`.
template <class Interface>
Ref<Interface> look_up(const Ref<IVexGenParameterArray>& array, const wchar_t* name,
                       HRESULT (STDMETHODCALLTYPE IVexGenParameterArray::*getter)(BSTR, Interface**))
{
    Ref<Interface> found;
    EXPECT_EQ((array.get()->*getter)(Text(name), found.put()), S_OK);
    return found;
}

/// The look-ups of a test that has an array of parameters.
template <class Test>
class ParameterLookUps : public Test {
protected:
    Ref<IVexGenParameter> by_name(const wchar_t* name) { return find(name, &IVexGenParameterArray::GetByName); }
    Ref<IVexGenInteger> integer(const wchar_t* name) { return find(name, &IVexGenParameterArray::GetInteger); }
    Ref<IVexGenFloat> floating(const wchar_t* name) { return find(name, &IVexGenParameterArray::GetFloat); }
    Ref<IVexGenEnum> enumeration(const wchar_t* name) { return find(name, &IVexGenParameterArray::GetEnum); }
    Ref<IVexGenBoolean> boolean(const wchar_t* name) { return find(name, &IVexGenParameterArray::GetBoolean); }
    Ref<IVexGenCommand> command(const wchar_t* name) { return find(name, &IVexGenParameterArray::GetCommand); }
    Ref<IVexGenString> text(const wchar_t* name) { return find(name, &IVexGenParameterArray::GetString); }
    Ref<IVexGenRegister> bytes(const wchar_t* name) { return find(name, &IVexGenParameterArray::GetRegister); }

    Ref<IVexGenParameterArray> array;

private:
    template <class Interface>
    Ref<Interface> find(const wchar_t* name,
                        HRESULT (STDMETHODCALLTYPE IVexGenParameterArray::*getter)(BSTR, Interface**))
    {
        return look_up(array, name, getter);
    }
};

}  // namespace client
