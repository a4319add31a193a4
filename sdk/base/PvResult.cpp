#include "sdk/base/PvResult.h"

#include <utility>

namespace {

const char* text(PvResult::Code code) noexcept
{
    switch (code) {
    case PvResult::OK: return "OK";
    case PvResult::Aborted: return "The operation was aborted";
    case PvResult::BufferTooSmall: return "The buffer is too small";
    case PvResult::CannotOpenFile: return "The file cannot be opened";
    case PvResult::FileError: return "A file operation failed";
    case PvResult::NetworkError: return "A network operation failed";
    case PvResult::NoAvailableData: return "No data is available";
    case PvResult::NotConnected: return "Not connected";
    case PvResult::NotEnoughMemory: return "Not enough memory";
    case PvResult::NotFound: return "Not found";
    case PvResult::NotSupported: return "Not supported";
    case PvResult::ErrOverflow: return "Overflow";
    case PvResult::StateError: return "The operation is not possible in the present state";
    case PvResult::Timeout: return "The operation timed out";
    case PvResult::ImageError: return "The image is damaged";
    case PvResult::MissingPackets: return "Packets are missing";
    case PvResult::BadVersion: return "The version is not supported";
    case PvResult::InvalidDataFormat: return "The data format is invalid";
    case PvResult::NoMoreEntry: return "No more entries";
    case PvResult::NotImplemented: return "Not implemented";
    case PvResult::NotInitialized: return "Not initialized";
    case PvResult::NoDriver: return "The driver is not installed";
    case PvResult::GenICamXMLError: return "The GenICam description of the device is not usable";
    case PvResult::TooManyResends: return "Too many packets would have to be resent";
    case PvResult::ResendsFailure: return "The device could not resend the missing packets";
    case PvResult::AutoAborted: return "The operation was aborted automatically";
    case PvResult::TooManyConsecutiveResends: return "Too many consecutive packets would have to be resent";
    case PvResult::GenericError: return "The operation failed";
    case PvResult::InvalidParameter: return "A parameter is invalid";
    case PvResult::Cancel: return "The operation was cancelled";
    case PvResult::Pending: return "The operation is pending";
    }
    return "Unknown result code";
}

}  // namespace

PvResult::PvResult(Code code, std::string description)
    : code_(code), made_from_(code), has_own_text_(true), own_text_(std::move(description))
{}

PvString PvResult::GetDescription() const { return PvString(description()); }

void PvResult::SetDescription(const PvString& description)
{
    own_text_ = description.view();
    has_own_text_ = true;
}

std::string_view PvResult::description() const noexcept
{
    return has_own_text_ ? std::string_view(own_text_) : text_of(made_from_);
}

std::string_view PvResult::text_of(Code code) noexcept { return text(code); }
