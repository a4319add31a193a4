// PvResult: the outcome of an SDK operation, a code and a sentence that says what went wrong.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "sdk/base/PvString.h"

/// The outcome of an SDK operation.
///
/// A result made from a bare code refers to that code's fixed text and allocates nothing, so returning OK costs no more
/// than returning an integer. A code that this version does not name is carried unchanged.
///
/// Thread safety: distinct objects may be used from different threads; one object is not synchronised.
class PvResult {
public:
    /// Result codes. The values are part of the binary contract with clients; never renumber.
    enum Code : std::uint32_t {
        OK = 0x0000,
        Aborted = 0x0001,
        BufferTooSmall = 0x0004,
        CannotOpenFile = 0x0006,
        FileError = 0x0010,
        NetworkError = 0x0013,
        NoAvailableData = 0x0014,
        NotConnected = 0x0017,
        NotEnoughMemory = 0x0018,
        NotFound = 0x0019,
        NotSupported = 0x001A,
        ErrOverflow = 0x001B,
        StateError = 0x001C,
        Timeout = 0x001E,
        ImageError = 0x0025,
        MissingPackets = 0x0027,
        BadVersion = 0x0201,
        InvalidDataFormat = 0x0501,
        NoMoreEntry = 0x0603,
        NotImplemented = 0x0604,
        NotInitialized = 0x0605,
        NoDriver = 0x0903,
        GenICamXMLError = 0x0904,
        TooManyResends = 0x0B00,
        ResendsFailure = 0x0B01,
        AutoAborted = 0x0B02,
        TooManyConsecutiveResends = 0x0B03,
        GenericError = 0x4000,
        InvalidParameter = 0x4001,
        Cancel = 0x4002,
        Pending = 0xFFFF,
    };

    PvResult() noexcept : PvResult(OK) {}
    /// A bare code; the description is the code's own text. Implicit on purpose: `return PvResult::Timeout;`.
    PvResult(Code code) noexcept : code_(code), made_from_(code) {}  // NOLINT(google-explicit-constructor)
    /// A code with the text of this particular failure. The text names what failed (feature, register, file, address)
    /// and why.
    PvResult(Code code, std::string description);

    [[nodiscard]] Code GetCode() const noexcept { return code_; }
    /// Sets the code; the description stays as it is.
    void SetCode(Code code) noexcept { code_ = code; }

    [[nodiscard]] PvString GetDescription() const;
    /// Sets the description; the code stays as it is.
    void SetDescription(const PvString& description);

    /// The description without a copy; valid until the result is changed or destroyed.
    [[nodiscard]] std::string_view description() const noexcept;

    /// The operation completed: the code is OK.
    [[nodiscard]] bool IsOK() const noexcept { return code_ == OK; }
    /// The operation was accepted and has not completed yet.
    [[nodiscard]] bool IsPending() const noexcept { return code_ == Pending; }
    /// Nothing has gone wrong: OK or pending.
    [[nodiscard]] bool IsSuccess() const noexcept { return IsOK() || IsPending(); }
    /// The operation failed: neither OK nor pending.
    [[nodiscard]] bool IsFailure() const noexcept { return !IsSuccess(); }

    /// The fixed text of a code; a generic sentence for a code that has none.
    [[nodiscard]] static std::string_view text_of(Code code) noexcept;

private:
    Code code_;
    Code made_from_;  // whose text is the description, unless own_text_ holds that
    bool has_own_text_ = false;
    std::string own_text_;
};

static_assert(sizeof(PvResult::Code) == 4);
