// Objects of the registered server, as the programs of this folder use them.
#pragma once

#include <cstdio>
#include <cstdlib>
#include <string>
#include <string_view>
#include <vector>

#include "server/ref.h"
#include "server/type_library.h"
#include "tests/gui/layout.h"

namespace gui_test {

using vex::server::Ref;

/// In a single-threaded apartment, and in pixels of the screen whatever its resolution.
class Start {
public:
    Start() noexcept
    {
        SetProcessDpiAwarenessContext(DPI_AWARENESS_CONTEXT_PER_MONITOR_AWARE_V2);
        CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED);
    }
    Start(const Start&) = delete;
    Start& operator=(const Start&) = delete;
    ~Start() { CoUninitialize(); }
};

/// Ends the program when the class cannot be created.
template <class Interface>
[[nodiscard]] Ref<Interface> create(const CLSID& clsid)
{
    Ref<Interface> made;
    const HRESULT result = CoCreateInstance(clsid, nullptr, CLSCTX_INPROC_SERVER, __uuidof(Interface), made.put_void());
    if (FAILED(result)) {
        std::fprintf(stderr, "An object cannot be created: 0x%08lX\n", static_cast<unsigned long>(result));
        std::exit(1);
    }
    return made;
}

/// Prints "result CODE DESCRIPTION" of an operation; `call` gets where the result object goes.
template <class Call>
void print_result(Call&& call)
{
    Ref<IVexResult> result;
    const HRESULT called = call(result.put());
    if (FAILED(called)) {
        std::printf("refused 0x%08lX\n", static_cast<unsigned long>(called));
        return;
    }
    VexResultCode code = VexOK;
    BSTR description = nullptr;
    result->get_Code(&code);
    result->get_Description(&description);
    std::printf("result %d %s\n", static_cast<int>(code), field(description != nullptr ? description : L"").c_str());
    SysFreeString(description);
}

/// A text for [in] BSTR parameters.
class Text {
public:
    /// ASCII.
    explicit Text(std::string_view text) : text_(SysAllocString(std::wstring(text.begin(), text.end()).c_str())) {}
    Text(const Text&) = delete;
    Text& operator=(const Text&) = delete;
    ~Text() { SysFreeString(text_); }
    [[nodiscard]] BSTR get() const noexcept { return text_; }

private:
    BSTR text_;
};

/// A buffer with an image in it, and the memory behind both.
class Image {
public:
    Image(unsigned int width, unsigned int height, VexPixelType type, std::vector<unsigned char> bytes);

    [[nodiscard]] IVexBuffer* buffer() const noexcept { return buffer_.get(); }

private:
    std::vector<unsigned char> bytes_;
    Ref<IVexBuffer> buffer_;
};

/// Four fields of different greys, a quarter of the image each: 40, 90, 140 and 200, from the upper left to the lower
/// right.
[[nodiscard]] Image quarters(unsigned int width, unsigned int height);
/// What the software camera sends, as Bayer data.
[[nodiscard]] Image card(unsigned int width, unsigned int height);

}  // namespace gui_test
