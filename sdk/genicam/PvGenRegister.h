// PvGenRegister: a block of bytes.
#pragma once

#include "sdk/genicam/PvGenParameter.h"

class PvGenRegister final : public PvGenParameter {
public:
    /// In bytes.
    PvResult GetLength(std::int64_t& aLength) const;
    /// Reads the first aLength bytes of the register; InvalidParameter when that is more than it has.
    PvResult Get(std::uint8_t* aBuffer, std::int64_t aLength) const;
    /// Writes the first aLength bytes of the register; InvalidParameter when that is more than it has.
    PvResult Set(const std::uint8_t* aBuffer, std::int64_t aLength);

private:
    friend class PvGenParameterArray;
    PvGenRegister(GenApi::INode& node, const Owner& owner) : PvGenParameter(node, owner, PvGenTypeRegister) {}
};
