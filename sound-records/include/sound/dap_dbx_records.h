/// @file
/// The records of Dolby audio processing and of DBX.
///
/// Fields have no names, only numbers. Each record's second line declares its packed form and its
/// byte-order table; sound/packed.h says how to read it.
#pragma once

#include <array>
#include <cstdint>

#include "sound/packed.h"

namespace sound {

/// Field 2 of soundDap_t.
struct soundGain_t {
    std::uint32_t field1, field2, field3;
};
AUDVIK_PACKED(soundGain_t, 12)

/// Field 3 of soundDap_t.
struct soundSurround_t {
    bool field1, field2;
    std::uint32_t field3, field4, field5, field6;
};
AUDVIK_PACKED(soundSurround_t, 24)

/// Field 4 of soundDap_t.
struct soundMiParam_t {
    bool field1, field2, field3, field4;
};
AUDVIK_PACKED(soundMiParam_t, 16)

/// Field 5 of soundDap_t.
struct soundCalibrationBoost_t {
    std::uint32_t field1;
};
AUDVIK_PACKED(soundCalibrationBoost_t, 4)

/// Field 6 of soundDap_t.
struct soundLeveLer_t {
    bool field1;
    std::uint32_t field2, field3, field4;
};
AUDVIK_PACKED(soundLeveLer_t, 16)

/// Field 7 of soundDap_t.
struct soundModeler_t {
    bool field1;
    std::uint32_t field2;
};
AUDVIK_PACKED(soundModeler_t, 8)

/// Nested in soundIeqParam_t, soundGeqParam_t, soundOptimizer_t and soundRegParam_t.
struct DAPParamsUintValue_t {
    std::array<std::uint32_t, 20> field1;
};
AUDVIK_PACKED(DAPParamsUintValue_t, 80)

/// Nested in soundIeqParam_t, soundGeqParam_t, soundRegParam_t, DAPParamsArrayValue_t and
/// DAPParamsOptBGValue_t.
struct DAPParamsIntValue_t {
    std::array<std::int32_t, 20> field1;
};
AUDVIK_PACKED(DAPParamsIntValue_t, 80)

/// Field 8 of soundDap_t.
struct soundIeqParam_t {
    bool field1;
    std::uint32_t field2, field3;
    DAPParamsUintValue_t field4;
    DAPParamsIntValue_t field5;
    std::uint8_t field6;
};
AUDVIK_PACKED(soundIeqParam_t, 173)

/// Field 9 of soundDap_t.
struct soundDeParam_t {
    bool field1;
    std::uint32_t field2, field3;
};
AUDVIK_PACKED(soundDeParam_t, 12)

/// Field 10 of soundDap_t.
struct soundVolMaxBoost_t {
    std::uint32_t field1;
};
AUDVIK_PACKED(soundVolMaxBoost_t, 4)

/// Field 11 of soundDap_t.
struct soundGeqParam_t {
    bool field1;
    std::uint32_t field2;
    DAPParamsUintValue_t field3;
    DAPParamsIntValue_t field4;
};
AUDVIK_PACKED(soundGeqParam_t, 168)

/// Field 4 of soundOptimizer_t.
struct DAPParamsArrayValue_t {
    DAPParamsIntValue_t field1, field2, field3, field4, field5, field6;
};
AUDVIK_PACKED(DAPParamsArrayValue_t, 480)

/// Field 12 of soundDap_t.
struct soundOptimizer_t {
    bool field1;
    std::uint32_t field2;
    DAPParamsUintValue_t field3;
    DAPParamsArrayValue_t field4;
};
AUDVIK_PACKED(soundOptimizer_t, 568)

/// Field 13 of soundDap_t.
struct soundBassParam_t {
    bool field1;
    std::uint32_t field2, field3, field4;
};
AUDVIK_PACKED(soundBassParam_t, 16)

/// Field 14 of soundDap_t.
struct soundRegParam_t {
    std::uint32_t field1;
    DAPParamsUintValue_t field2;
    DAPParamsIntValue_t field3, field4;
    DAPParamsUintValue_t field5;
};
AUDVIK_PACKED(soundRegParam_t, 324)

/// Field 15 of soundDap_t.
struct soundRegulator_t {
    bool field1;
    std::uint32_t field2, field3, field4, field5;
};
AUDVIK_PACKED(soundRegulator_t, 20)

/// Field 7 of soundVirtualBass_t.
struct DAPParamsVBValue_t {
    std::uint32_t field1, field2, field3;
};
AUDVIK_PACKED(DAPParamsVBValue_t, 12)

/// Field 16 of soundDap_t.
struct soundVirtualBass_t {
    bool field1;
    std::uint32_t field2, field3, field4, field5, field6;
    DAPParamsVBValue_t field7;
    std::uint32_t field8, field9;
};
AUDVIK_PACKED(soundVirtualBass_t, 44)

/// Field 1 of soundMs12v22Param_t.
struct DAPParamsOptBGValue_t {
    DAPParamsIntValue_t field1, field2;
};
AUDVIK_PACKED(DAPParamsOptBGValue_t, 160)

/// Field 17 of soundDap_t.
struct soundMs12v22Param_t {
    DAPParamsOptBGValue_t field1;
    std::uint32_t field2;
    bool field3;
    std::uint32_t field4;
    bool field5, field6, field7;
    std::uint32_t field8;
};
AUDVIK_PACKED(soundMs12v22Param_t, 188)

/// Carried by cmdDAPParams.
struct soundDap_t {
    std::uint32_t field1;
    soundGain_t field2;
    soundSurround_t field3;
    soundMiParam_t field4;
    soundCalibrationBoost_t field5;
    soundLeveLer_t field6;
    soundModeler_t field7;
    soundIeqParam_t field8;
    soundDeParam_t field9;
    soundVolMaxBoost_t field10;
    soundGeqParam_t field11;
    soundOptimizer_t field12;
    soundBassParam_t field13;
    soundRegParam_t field14;
    soundRegulator_t field15;
    soundVirtualBass_t field16;
    soundMs12v22Param_t field17;
    std::uint8_t field18;
    bool field19;
};
AUDVIK_PACKED(soundDap_t, 1606, 1)

/// Carried by cmdDBXSet.
struct soundDBXParams_t {
    std::uint32_t field1, field2, field3, field4;
};
AUDVIK_PACKED(soundDBXParams_t, 16, 1, 2, 3, 4)

/// Carried by onDBXInfoNotify.
struct soundDBXParamsInfo_t {
    std::uint32_t field1, field2, field3, field4;
};
AUDVIK_PACKED(soundDBXParamsInfo_t, 16, 1, 2, 3, 4)

}  // namespace sound
