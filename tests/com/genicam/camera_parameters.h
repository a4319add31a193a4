// A camera in memory for the tests of the parameter classes: a description, registers, and the objects over them.
#pragma once

#include <cstdint>
#include <memory>
#include <string_view>
#include <vector>

#include "genicam/VexGenParameterArray.h"
#include "genicam/VexGenParameterList.h"
#include "sdk/genapi/port.h"
#include "tests/com/com_client.h"

namespace client {

/// Registers in memory. Unlike hardware it can be told to refuse.
class MemoryPort final : public GenApi::IPort {
public:
    MemoryPort() : memory_(0x400) {}

    void read(std::int64_t address, std::span<std::uint8_t> out) override;
    void write(std::int64_t address, std::span<const std::uint8_t> data) override;
    [[nodiscard]] bool is_open() const noexcept override { return true; }

    [[nodiscard]] std::uint8_t& at(std::size_t address) { return memory_.at(address); }
    void refuse(bool refuses) { refuses_ = refuses; }

private:
    std::vector<std::uint8_t> memory_;
    bool refuses_ = false;
};

/// The description of a camera with one or two parameters of each kind; tests say what they need of it.
extern const std::string_view camera_description;
/// Another camera: "Width" is a float there, "Gain" a float as before.
extern const std::string_view other_description;

/// A parameter array over registers of its own.
struct CameraParameters {
    explicit CameraParameters(std::string_view description = camera_description);

    MemoryPort port;
    std::unique_ptr<PvGenParameterArray> array;
};

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
class ClientSink final : public IVexGenEventSink {
public:
    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID iid, void** object) noexcept override;
    ULONG STDMETHODCALLTYPE AddRef() noexcept override { return ++references_; }
    ULONG STDMETHODCALLTYPE Release() noexcept override { return --references_; }
    HRESULT STDMETHODCALLTYPE GetTypeInfoCount(UINT*) noexcept override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE GetTypeInfo(UINT, LCID, ITypeInfo**) noexcept override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE GetIDsOfNames(REFIID, LPOLESTR*, UINT, LCID, DISPID*) noexcept override
    {
        return E_NOTIMPL;
    }
    HRESULT STDMETHODCALLTYPE Invoke(DISPID, REFIID, LCID, WORD, DISPPARAMS*, VARIANT*, EXCEPINFO*, UINT*) override
    {
        return E_NOTIMPL;
    }
    HRESULT STDMETHODCALLTYPE OnParameterUpdate(IVexGenParameter* aParameter) override;

    /// Each with a reference.
    std::vector<Ref<IVexGenParameter>> shown;
    [[nodiscard]] ULONG references() const noexcept { return references_; }

private:
    ULONG references_ = 1;
};

/// A parameter array object as a device hands it out.
class ParameterTest : public ComTest {
protected:
    ParameterTest();

    template <class Interface>
    Ref<Interface> look_up(const wchar_t* name,
                           HRESULT (STDMETHODCALLTYPE IVexGenParameterArray::*getter)(BSTR, Interface**))
    {
        Ref<Interface> found;
        EXPECT_EQ((array.get()->*getter)(Text(name), found.put()), S_OK);
        return found;
    }
    Ref<IVexGenParameter> by_name(const wchar_t* name) { return look_up(name, &IVexGenParameterArray::GetByName); }
    Ref<IVexGenInteger> integer(const wchar_t* name) { return look_up(name, &IVexGenParameterArray::GetInteger); }
    Ref<IVexGenFloat> floating(const wchar_t* name) { return look_up(name, &IVexGenParameterArray::GetFloat); }
    Ref<IVexGenEnum> enumeration(const wchar_t* name) { return look_up(name, &IVexGenParameterArray::GetEnum); }
    Ref<IVexGenBoolean> boolean(const wchar_t* name) { return look_up(name, &IVexGenParameterArray::GetBoolean); }
    Ref<IVexGenCommand> command(const wchar_t* name) { return look_up(name, &IVexGenParameterArray::GetCommand); }
    Ref<IVexGenString> text(const wchar_t* name) { return look_up(name, &IVexGenParameterArray::GetString); }
    Ref<IVexGenRegister> bytes(const wchar_t* name) { return look_up(name, &IVexGenParameterArray::GetRegister); }

    CameraParameters camera;
    Ref<CVexGenParameterArray> implementation;
    Ref<IVexGenParameterArray> array;
};

}  // namespace client
