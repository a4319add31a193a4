// How a wrapper that comes as an argument yields the SDK object behind it, whichever class implements its interface.
#pragma once

#include <string_view>
#include <type_traits>

#include "server/com.h"

namespace vex::server {

/// Stands for an SDK class within this module.
using SdkTypeId = const void*;

template <class Sdk>
inline char sdk_type_mark = 0;

template <class Sdk>
[[nodiscard]] SdkTypeId sdk_type() noexcept
{
    return &sdk_type_mark<std::remove_const_t<Sdk>>;
}

/// The private face of every wrapper over an SDK object.
class SdkFace {
public:
    /// Stores the SDK object as a pointer to the class that `type` stands for, null when nothing is behind the wrapper.
    /// False, and nothing stored, when the wrapper is not over that class.
    [[nodiscard]] virtual bool sdk_as(SdkTypeId type, void** object) const noexcept = 0;

protected:
    SdkFace() = default;
    ~SdkFace() = default;
};

/// What a wrapper's QueryInterface answers with its SdkFace, without a reference.
inline constexpr IID sdk_face_id{0xB0B7F1A2, 0x5D3C, 0x4E1F, {0x9A, 0x6E, 0x27, 0xC4, 0x81, 0x5B, 0xD0, 0x3E}};

/// The face behind any interface pointer; null for null, for another module's object and for one without an SDK object.
[[nodiscard]] SdkFace* sdk_face_of(IUnknown* object) noexcept;

/// An interface's name, as the type library has it.
template <class Interface>
[[nodiscard]] constexpr std::string_view name_of() noexcept
{
    constexpr std::string_view before = "Interface = ";
    const std::string_view text = __PRETTY_FUNCTION__;
    const std::size_t first = text.find(before) + before.size();
    return text.substr(first, text.find_first_of(";]", first) - first);
}

/// Throw what is wrong with an interface argument. `position` counts a member's arguments from 1; 0 where there is but
/// one, or where it is not known.
[[noreturn]] void throw_null_argument(int position, std::string_view wanted);
[[noreturn]] void throw_wrong_argument(int position, std::string_view wanted);
[[noreturn]] void throw_empty_argument(int position, std::string_view wanted);
/// Throws E_POINTER for a member of an object that has nothing behind it.
[[noreturn]] void throw_not_attached(const wchar_t* class_name);

/// The SDK object behind an interface argument, if there is one of that class.
template <class Sdk>
[[nodiscard]] Sdk* sdk_if(IUnknown* object) noexcept
{
    void* found = nullptr;
    const SdkFace* face = sdk_face_of(object);
    return face != nullptr && face->sdk_as(sdk_type<Sdk>(), &found) ? static_cast<Sdk*>(found) : nullptr;
}

/// The SDK object behind an interface argument. Throws E_POINTER for null and when nothing is behind the wrapper, and
/// E_INVALIDARG for an object that is not this module's or not over that class.
template <class Sdk, class Interface>
[[nodiscard]] Sdk& sdk_as(Interface* object, int position = 0)
{
    if (object == nullptr) {
        throw_null_argument(position, name_of<Interface>());
    }
    void* found = nullptr;
    const SdkFace* face = sdk_face_of(object);
    if (face == nullptr || !face->sdk_as(sdk_type<Sdk>(), &found)) {
        throw_wrong_argument(position, name_of<Interface>());
    }
    if (found == nullptr) {
        throw_empty_argument(position, name_of<Interface>());
    }
    return *static_cast<Sdk*>(found);
}

}  // namespace vex::server
