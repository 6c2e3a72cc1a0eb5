/// @file
/// The records of the DTS commands and of the DTS notification.
///
/// Fields have no names, only numbers. Each record's second line declares its packed form and its
/// byte-order table; sound/packed.h says how to read it.
#pragma once

#include <cstdint>
#include <string>

#include "sound/packed.h"

namespace sound {

/// Carried by cmdDTSSet.
struct soundDTSParams_t {
    std::uint32_t field1, field2, field3, field4, field5;
};
AUDVIK_PACKED(soundDTSParams_t, 20, 1, 2, 3, 4, 5)

/// Carried by onDTSInfoNotify.
struct soundDTSInfo_t {
    std::uint32_t field1, field2, field3, field4;
};
AUDVIK_PACKED(soundDTSInfo_t, 16, 1, 2, 3, 4)

/// Carried by cmdDTSSet_SS3D.
struct soundDTSSS3D_t {
    std::uint32_t field1, field2;
    std::uint8_t field3, field4, field5, field6, field7, field8, field9, field10;
};
AUDVIK_PACKED(soundDTSSS3D_t, 16, 1, 2)

/// Carried by cmdDTSSet_CC3D.
struct soundDTSCC3D_t {
    std::uint32_t field1, field2;
    std::uint8_t field3, field4, field5, field6, field7, field8, field9, field10, field11, field12,
        field13;
};
AUDVIK_PACKED(soundDTSCC3D_t, 19, 1, 2)

/// Carried by cmdDTSSet_GEQ.
struct soundDTSGEQ_t {
    std::uint32_t field1, field2;
    std::uint8_t field3, field4, field5, field6, field7, field8, field9;
};
AUDVIK_PACKED(soundDTSGEQ_t, 15, 1, 2)

/// Carried by cmdDTSSet_PEQ.
struct soundDTSPEQ_t {
    std::uint32_t field1;
    std::uint8_t field2;
    std::uint32_t field3;
    std::uint8_t field4, field5;
    std::uint32_t field6;
};
AUDVIK_PACKED(soundDTSPEQ_t, 15, 1, 3)

/// Carried by cmdDTSSet_TRUDLG.
struct soundDTSTRUDLG_t {
    std::uint32_t field1, field2;
    std::uint8_t field3, field4, field5, field6;
    std::uint32_t field7;
    std::uint8_t field8;
};
AUDVIK_PACKED(soundDTSTRUDLG_t, 17, 1, 2)

/// Carried by cmdDTSSet_TRUVOL.
struct soundDTSTRUVOL_t {
    std::uint32_t field1, field2;
    std::uint8_t field3;
    std::uint32_t field4;
    std::uint8_t field5, field6;
    std::uint32_t field7;
    std::uint8_t field8, field9, field10, field11, field12;
};
AUDVIK_PACKED(soundDTSTRUVOL_t, 24, 1, 2)

/// Carried by cmdDTSSet_HL.
struct soundDTSHL_t {
    std::uint32_t field1, field2;
    std::uint8_t field3;
    std::uint32_t field4, field5;
    std::uint8_t field6, field7;
    std::uint32_t field8;
};
AUDVIK_PACKED(soundDTSHL_t, 23, 1, 2)

/// Carried by cmdDTSSet_TSHD.
struct soundDTSTSHD_t {
    std::uint32_t field1, field2;
    std::uint8_t field3, field4, field5, field6, field7, field8, field9, field10, field11, field12,
        field13, field14, field15, field16, field17, field18, field19, field20, field21;
};
AUDVIK_PACKED(soundDTSTSHD_t, 27, 1, 2)

/// Carried by cmdDTSSet_TBHD.
struct soundDTSTBHD_t {
    std::uint32_t field1, field2;
    std::uint8_t field3, field4, field5, field6, field7, field8, field9, field10;
};
AUDVIK_PACKED(soundDTSTBHD_t, 16, 1, 2)

/// Carried by cmdSoundDTSSet_VirtualXParams.
struct soundDTSVirtualXParams_t {
    std::uint32_t field1;
    std::string field2, field3;
};
AUDVIK_PACKED(soundDTSVirtualXParams_t, 4 + 2 * kStringReferenceSize, 1)

/// Carried by cmdSoundDTSSet_VirtualXEnable and cmdSoundDTSSet_VirtualXSubEnable_Zr24.
struct soundDTSVirtualXEnable_t {
    std::uint32_t field1, field2;
    std::uint8_t field3, field4, field5, field6, field7;
};
AUDVIK_PACKED(soundDTSVirtualXEnable_t, 13, 1, 2)

}  // namespace sound
