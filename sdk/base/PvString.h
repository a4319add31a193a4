// PvString: the text type of the SDK's public surface.
#pragma once

#include <compare>
#include <string>
#include <string_view>

/// A Unicode text, held as UTF-8. Wide text is UTF-16 where wchar_t has 16 bits (Windows) and UTF-32 elsewhere; it
/// comes back as it was given, also halves of surrogate pairs, which are held as three bytes each (without_surrogates()
/// makes well-formed UTF-8 of them). Text is never refused: any other ill-formed byte becomes U+FFFD in wide text.
/// Halves that two texts end and begin with are a pair once the texts are joined.
///
/// Thread safety: distinct objects may be used from different threads; one object is not synchronised.
class PvString {
public:
    PvString() = default;
    /// From zero-terminated UTF-8; a null pointer is the empty text.
    PvString(const char* utf8) : utf8_(utf8 != nullptr ? utf8 : "") {}  // NOLINT(google-explicit-constructor)
    /// From zero-terminated wide text; a null pointer is the empty text.
    PvString(const wchar_t* wide);  // NOLINT(google-explicit-constructor)
    explicit PvString(std::string_view utf8) : utf8_(utf8) {}
    PvString(std::string&& utf8) noexcept : utf8_(std::move(utf8)) {}  // NOLINT(google-explicit-constructor)

    /// The text as zero-terminated UTF-8; valid until the string is changed or destroyed.
    [[nodiscard]] const char* GetAscii() const noexcept { return utf8_.c_str(); }
    /// The text in the platform's wide encoding.
    [[nodiscard]] std::wstring GetWide() const;
    [[nodiscard]] std::size_t GetLength() const noexcept { return utf8_.size(); }

    [[nodiscard]] const std::string& str() const noexcept { return utf8_; }
    [[nodiscard]] std::string_view view() const noexcept { return utf8_; }
    [[nodiscard]] bool empty() const noexcept { return utf8_.empty(); }

    friend bool operator==(const PvString&, const PvString&) = default;
    friend std::strong_ordering operator<=>(const PvString&, const PvString&) = default;

private:
    std::string utf8_;
};
