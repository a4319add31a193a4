// What the tests of these classes share.
#pragma once

#include <bit>
#include <string>
#include <vector>

#include "tests/com/com_client.h"

namespace client {

inline constexpr wchar_t buffer_prog_id[] = L"VexKamCOMWrapper.VexBuffer.1";

/// An object of the registered server by its program identifier.
template <class Interface>
[[nodiscard]] Ref<Interface> create(const wchar_t* prog_id)
{
    CLSID clsid{};
    EXPECT_EQ(CLSIDFromProgID(prog_id, &clsid), S_OK);
    return create<Interface>(clsid);
}

[[nodiscard]] inline Ref<IVexBuffer> new_buffer() { return create<IVexBuffer>(buffer_prog_id); }

/// The code of the outcome that a member gives out; the member's own failure is reported.
template <class Call>
[[nodiscard]] VexResultCode code_of(Call&& call)
{
    Ref<IVexResult> result;
    EXPECT_EQ(call(result.put()), S_OK);
    VexResultCode code = VexGenericError;
    EXPECT_TRUE(result);
    if (result) {
        EXPECT_EQ(result->get_Code(&code), S_OK);
    }
    return code;
}

template <class Object, class Interface>
[[nodiscard]] VexResultCode code_of(const Object& object,
                                    HRESULT (STDMETHODCALLTYPE Interface::*method)(IVexResult** result))
{
    return code_of([&](IVexResult** result) { return ((*object).*method)(result); });
}

[[nodiscard]] inline VexResultCode alloc(IVexBuffer* buffer, unsigned int size)
{
    return code_of([&](IVexResult** result) { return buffer->Alloc(size, result); });
}

[[nodiscard]] inline Ref<IVexImage> image_of(IVexBuffer* buffer)
{
    Ref<IVexImage> image;
    EXPECT_EQ(buffer->get_Image(image.put()), S_OK);
    return image;
}

[[nodiscard]] inline VexResultCode alloc(IVexImage* image, unsigned int width, unsigned int height, VexPixelType type,
                                         unsigned short padding_x = 0, unsigned short padding_y = 0)
{
    return code_of(
        [&](IVexResult** result) { return image->Alloc(width, height, type, padding_x, padding_y, result); });
}

/// A value that the enumeration does not name, as any client can pass one.
template <class Enumeration>
[[nodiscard]] Enumeration unnamed(int value) noexcept
{
    return std::bit_cast<Enumeration>(value);
}

/// An array that is destroyed.
class Array {
public:
    Array() = default;
    explicit Array(SAFEARRAY* array) : array_(array) {}
    Array(const Array&) = delete;
    Array& operator=(const Array&) = delete;
    ~Array() { SafeArrayDestroy(array_); }

    [[nodiscard]] SAFEARRAY* get() const noexcept { return array_; }
    [[nodiscard]] SAFEARRAY** put() noexcept
    {
        SafeArrayDestroy(array_);
        array_ = nullptr;
        return &array_;
    }

private:
    SAFEARRAY* array_ = nullptr;
};

/// The bytes of an object's Data property; `null` tells a null array from an empty one.
template <class Object>
[[nodiscard]] std::vector<unsigned char> data_of(Object* object, bool* null = nullptr)
{
    Array array;
    EXPECT_EQ(object->get_Data(array.put()), S_OK);
    if (null != nullptr) {
        *null = array.get() == nullptr;
    }
    return bytes_of(array.get());
}

template <class Object>
HRESULT put_data(Object* object, std::initializer_list<unsigned char> bytes, LONG lower = 0)
{
    const Array array(byte_array(bytes, lower));
    return object->put_Data(array.get());
}

/// An image in a buffer of its own.
[[nodiscard]] inline Ref<IVexBuffer> new_image(unsigned int width, unsigned int height, VexPixelType type,
                                               std::initializer_list<unsigned char> bytes = {})
{
    auto buffer = new_buffer();
    EXPECT_EQ(alloc(image_of(buffer.get()).get(), width, height, type), VexOK);
    if (bytes.size() != 0) {
        EXPECT_EQ(put_data(buffer.get(), bytes), S_OK);
    }
    return buffer;
}

}  // namespace client
