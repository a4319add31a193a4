// Enumerations of the parameter classes. The values are part of the binary contract with clients; never renumber.
#pragma once

#include <cstdint>

enum PvGenType : std::int32_t {
    PvGenTypeInteger = 0,
    PvGenTypeEnum = 1,
    PvGenTypeBoolean = 2,
    PvGenTypeString = 3,
    PvGenTypeCommand = 4,
    PvGenTypeFloat = 5,
    PvGenTypeRegister = 6,
    PvGenTypeUndefined = 999,
};

enum PvGenNameSpace : std::int32_t {
    PvGenNameSpaceStandard = 0,
    PvGenNameSpaceCustom = 1,
    PvGenNameSpaceUndefined = 999,
};

enum PvGenVisibility : std::int32_t {
    PvGenVisibilityBeginner = 0,
    PvGenVisibilityExpert = 1,
    PvGenVisibilityGuru = 2,
    PvGenVisibilityInvisible = 3,
    PvGenVisibilityUndefined = 999,
};

/// IP and MAC addresses are reported as hexadecimal numbers.
enum PvGenRepresentation : std::int32_t {
    PvGenRepresentationLinear = 0,
    PvGenRepresentationLogarithmic = 1,
    PvGenRepresentationBoolean = 2,
    PvGenRepresentationPureNumber = 3,
    PvGenRepresentationHexNumber = 4,
    PvGenRepresentationUndefined = 999,
};

/// What a file of a device is opened for.
enum PvGenOpenMode : std::int32_t {
    PvGenOpenModeWrite = 0,
    PvGenOpenModeRead = 1,
    PvGenOpenModeUndefined = 999,
};

static_assert(sizeof(PvGenType) == 4 && sizeof(PvGenNameSpace) == 4);
static_assert(sizeof(PvGenVisibility) == 4 && sizeof(PvGenRepresentation) == 4);
static_assert(sizeof(PvGenOpenMode) == 4);
