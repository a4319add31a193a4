#include "server/convert.h"

#include <string>

namespace vex::server {

BSTR to_bstr(const PvString& text) noexcept
{
    const std::string_view utf8 = text.view();
    constexpr std::size_t short_text = 256;
    try {
        if (utf8.size() <= short_text) {
            bool plain = true;
            OLECHAR wide[short_text];
            for (std::size_t at = 0; at < utf8.size(); ++at) {
                const auto byte = static_cast<unsigned char>(utf8[at]);
                plain = plain && byte < 0x80 && byte != 0;
                wide[at] = byte;
            }
            // most texts are names; ASCII needs no conversion and no second allocation
            if (plain) {
                return SysAllocStringLen(wide, static_cast<UINT>(utf8.size()));
            }
        }
        const std::wstring wide = text.GetWide();
        return SysAllocString(wide.c_str());
    } catch (...) {
        return nullptr;
    }
}

void throw_null_output(int position)
{
    throw HresultError{E_POINTER, position != 0
                                      ? "The pointer for the value of argument " + std::to_string(position) + " is null"
                                      : std::string("The pointer for a value is null")};
}

}  // namespace vex::server
