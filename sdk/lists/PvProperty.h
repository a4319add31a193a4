// PvProperty: a value with a name, written and read as text, as a floating point number or as an integer.
#pragma once

#include <cstdint>
#include <string_view>
#include <utility>

#include "sdk/base/PvResult.h"
#include "sdk/base/PvString.h"

/// A name and a value. The value is kept as text that does not depend on the locale; numbers are converted when they
/// are written and read, whichever way the value was set.
///
/// Thread safety: distinct objects may be used from different threads; one object is not synchronised.
class PvProperty {
public:
    PvProperty() = default;
    PvProperty(PvString aName, PvString aValue) noexcept : name_(std::move(aName)), value_(std::move(aValue)) {}

    [[nodiscard]] const PvString& GetName() const noexcept { return name_; }
    void SetName(const PvString& aName) { name_ = aName; }

    /// The value as text.
    [[nodiscard]] const PvString& GetValue() const noexcept { return value_; }
    /// The value as a floating point number: decimal with point and exponent, a whole number in hexadecimal after 0x,
    /// INF or NaN in any case, with white space around it. InvalidDataFormat for other text; `aValue` is left as it was
    /// then.
    [[nodiscard]] PvResult GetValue(double& aValue) const noexcept;
    /// The value as an integer: decimal, also with a fraction or an exponent where that makes a whole number, or up to
    /// 64 bits in hexadecimal after 0x (0xFFFFFFFFFFFFFFFF is -1), with white space around it. InvalidDataFormat for
    /// other text and for decimals outside -2^63 to 2^63-1; `aValue` is left as it was then.
    [[nodiscard]] PvResult GetValue(std::int64_t& aValue) const noexcept;

    void SetValue(const PvString& aValue) { value_ = aValue; }
    /// The shortest text that reads back as the same number.
    void SetValue(double aValue);
    /// As a decimal number.
    void SetValue(std::int64_t aValue);

    /// The same name and the same text.
    friend bool operator==(const PvProperty&, const PvProperty&) = default;

private:
    [[nodiscard]] PvResult unreadable(std::string_view wanted) const noexcept;

    PvString name_;
    PvString value_;
};
