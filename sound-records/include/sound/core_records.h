/// @file
/// The core records of the sound interface.
///
/// Fields have no names, only numbers. Each record's second line declares its packed form and its
/// byte-order table; sound/packed.h says how to read it.
#pragma once

#include <cstdint>
#include <string>

#include "sound/packed.h"

namespace sound {

/// Carried by cmdVolumeSet.
struct soundVolumeParams_t {
    std::uint32_t field1, field2, field3, field4, field5;
};
AUDVIK_PACKED(soundVolumeParams_t, 20, 1)

/// Carried by onVolumeInfoNotify.
struct soundVolumeInfo_t {
    std::uint32_t field1, field2, field3, field4;
};
AUDVIK_PACKED(soundVolumeInfo_t, 16, 1)

/// Carried by cmdLipSyncSet.
struct soundLipSyncParams_t {
    std::uint32_t field1, field2, field3, field4;
};
AUDVIK_PACKED(soundLipSyncParams_t, 16, 1)

/// Carried by onLipSyncInfoNotify.
struct soundLipSyncInfo_t {
    std::uint32_t field1, field2, field3, field4;
};
AUDVIK_PACKED(soundLipSyncInfo_t, 16, 1)

/// Carried by cmdSoundSelectionSet.
struct soundSelectionParams_t {
    std::uint32_t field1, field2, field3, field4;
};
AUDVIK_PACKED(soundSelectionParams_t, 16, 1, 2, 3, 4)

/// Carried by onSoundSelectionInfoNotify.
struct soundSelectionInfo_t {
    std::uint32_t field1, field2, field3, field4;
};
AUDVIK_PACKED(soundSelectionInfo_t, 16, 1, 2, 3, 4)

/// Carried by cmdBalanceSet.
struct soundBalanceParams_t {
    std::uint32_t field1, field2;
};
AUDVIK_PACKED(soundBalanceParams_t, 8, 1)

/// Carried by onBalanceInfoNotify.
struct soundBalanceInfo_t {
    std::uint32_t field1, field2;
};
AUDVIK_PACKED(soundBalanceInfo_t, 8, 1)

/// Carried by onMuteInfoNotify.
struct soundMuteInfo_t {
    std::uint32_t field1, field2;
};
AUDVIK_PACKED(soundMuteInfo_t, 8, 1)

/// Carried by cmdSetAudioSourceVolume.
struct audioVolumeParams_t {
    std::uint32_t field1, field2;
};
AUDVIK_PACKED(audioVolumeParams_t, 8, 1)

/// Carried by cmdDigitalOutCompressionSet.
struct soundDigitalOutCompressionParams_t {
    std::uint32_t field1, field2;
};
AUDVIK_PACKED(soundDigitalOutCompressionParams_t, 8, 1)

/// Carried by cmdAMPIICMuteParamsSet.
struct soundAmpIICMuteParams_t {
    std::uint32_t field1, field2;
};
AUDVIK_PACKED(soundAmpIICMuteParams_t, 8, 1)

/// Carried by cmdGetSoundFlags.
struct soundFlagsParams_t {
    std::uint32_t field1, field2, field3;
};
AUDVIK_PACKED(soundFlagsParams_t, 12, 1, 2)

/// Carried by onSoundFlagsInfoNotify.
struct soundFlagsInfo_t {
    std::uint32_t field1, field2, field3;
};
AUDVIK_PACKED(soundFlagsInfo_t, 12, 1, 2)

/// Carried by cmdAudioMuteSet.
struct audioMuteParams_t {
    std::uint32_t field1, field2, field3;
};
AUDVIK_PACKED(audioMuteParams_t, 12, 1, 2)

/// Carried by cmdBeepSoundSet.
struct soundBeepParams_t {
    std::uint32_t field1, field2, field3;
};
AUDVIK_PACKED(soundBeepParams_t, 12, 1, 2)

/// Carried by onBeepSoundInfoNotify.
struct soundBeepInfo_t {
    std::uint32_t field1, field2, field3;
};
AUDVIK_PACKED(soundBeepInfo_t, 12, 1, 2)

/// Carried by cmdMuteSet.
struct soundMuteParams_t {
    std::uint32_t field1, field2, field3, field4;
};
AUDVIK_PACKED(soundMuteParams_t, 16, 1, 2)

/// Carried by cmdAMPParamsSet.
struct soundAmpParams_t {
    std::uint32_t field1, field2, field3, field4, field5, field6, field7;
};
AUDVIK_PACKED(soundAmpParams_t, 28, 1, 7)

/// Carried by no message.
struct soundAmpParamsInfo_t {
    std::uint32_t field1, field2, field3, field4, field5, field6, field7;
};
AUDVIK_PACKED(soundAmpParamsInfo_t, 28, 1, 7)

/// Carried inside soundParams_t (field 46) and soundParamsInfo_t (field 49).
struct SoundSocDRC_t {
    std::uint8_t field1;
    std::uint32_t field2;
};
AUDVIK_PACKED(SoundSocDRC_t, 5)

/// Carried inside soundParams_t (field 47) and soundParamsInfo_t (field 50).
struct SoundSocHPF_t {
    std::uint8_t field1;
    std::uint32_t field2;
};
AUDVIK_PACKED(SoundSocHPF_t, 5)

/// Carried by cmdSoundParamsSet.
struct soundParams_t {
    std::uint32_t field1;
    std::int64_t field2;
    std::uint32_t field3, field4, field5, field6, field7, field8, field9, field10, field11, field12,
        field13, field14, field15, field16, field17, field18, field19, field20, field21, field22,
        field23, field24, field25, field26, field27, field28, field29, field30, field31, field32,
        field33, field34, field35, field36, field37, field38, field39, field40, field41, field42;
    std::uint8_t field43;
    bool field44, field45;
    SoundSocDRC_t field46;
    SoundSocHPF_t field47;
    bool field48, field49, field50;
    std::uint32_t field51;
};
AUDVIK_PACKED(soundParams_t, 203, 1, 2, 5, 12, 13, 31)

/// Carried by onSoundInfoNotify.
struct soundParamsInfo_t {
    std::uint32_t field1;
    std::int64_t field2;
    std::uint32_t field3, field4, field5, field6, field7, field8, field9, field10, field11, field12,
        field13, field14, field15, field16, field17, field18, field19, field20, field21, field22,
        field23, field24, field25, field26, field27, field28, field29, field30, field31, field32,
        field33, field34, field35, field36, field37, field38, field39, field40, field41, field42,
        field43, field44, field45;
    std::uint8_t field46;
    bool field47, field48;
    SoundSocDRC_t field49;
    SoundSocHPF_t field50;
    bool field51, field52, field53;
    std::uint32_t field54;
};
AUDVIK_PACKED(soundParamsInfo_t, 215, 1, 2, 5, 12, 13, 14, 15, 16, 34)

/// Carried by cmdSoundAdjustSet.
struct soundAdjustParams_t {
    std::uint32_t field1, field2, field3, field4, field5, field6, field7;
};
AUDVIK_PACKED(soundAdjustParams_t, 28, 1, 2, 3)

/// Carried by onSoundAdjustInfoNotify.
struct soundAdjustInfo_t {
    std::uint32_t field1, field2, field3, field4, field5, field6, field7;
};
AUDVIK_PACKED(soundAdjustInfo_t, 28, 1, 2, 3)

/// Carried by cmdDPLIIParamsSet.
struct soundDPLIIParams_t {
    std::uint32_t field1, field2, field3, field4, field5, field6;
};
AUDVIK_PACKED(soundDPLIIParams_t, 24, 1, 2, 3)

/// Carried by onDPLIIParamsInfoNotify.
struct soundDPLIIParamsInfo_t {
    std::uint32_t field1, field2, field3, field4, field5, field6;
};
AUDVIK_PACKED(soundDPLIIParamsInfo_t, 24, 1, 2, 3)

/// Carried by cmdNoiseParamsSet.
struct soundNoiseParams_t {
    std::uint32_t field1, field2;
};
AUDVIK_PACKED(soundNoiseParams_t, 8, 1, 2)

/// Carried by onNoiseParamsInfoNotify.
struct soundNoiseParamsInfo_t {
    std::uint32_t field1, field2;
};
AUDVIK_PACKED(soundNoiseParamsInfo_t, 8, 1, 2)

/// Carried by cmdCapabilitiesGet, onCapabilityNotify.
struct soundCapabilities_t {
    bool field1, field2, field3, field4, field5, field6, field7, field8, field9, field10, field11,
        field12;
    std::uint8_t field13;
    std::uint32_t field14;
    bool field15, field16;
};
AUDVIK_PACKED(soundCapabilities_t, 61, 14)

/// Carried by cmdSpkSystemConfig.
struct soundSpkSystemParams_t {
    std::uint32_t field1, field2, field3, field4, field5, field6;
};
AUDVIK_PACKED(soundSpkSystemParams_t, 24, 1)

/// Carried by onSpkSystemInfoNotify.
struct soundSpkSystemInfo_t {
    std::uint32_t field1, field2, field3, field4, field5;
};
AUDVIK_PACKED(soundSpkSystemInfo_t, 20, 1, 2, 3)

/// Carried by cmdSpkSystemAvailableGet.
struct soundSpkSystemAvailableParams_t {
    std::uint32_t field1;
};
AUDVIK_PACKED(soundSpkSystemAvailableParams_t, 4, 1)

/// Carried by onSpkSystemAvailableInfoNotify.
struct soundSpkSystemAvailableInfo_t {
    std::uint32_t field1;
};
AUDVIK_PACKED(soundSpkSystemAvailableInfo_t, 4, 1)

/// Carried by cmdSoundDualMonoModeSet.
struct soundDualMonoModeParams_t {
    std::uint32_t field1;
};
AUDVIK_PACKED(soundDualMonoModeParams_t, 4, 1)

/// Carried by cmdSoundSourceTypeSet.
struct soundSourceTypeParams_t {
    std::uint32_t field1;
};
AUDVIK_PACKED(soundSourceTypeParams_t, 4, 1)

/// Carried by no message.
struct inputTerminals_t {
    std::uint32_t field1;
};
AUDVIK_PACKED(inputTerminals_t, 4, 1)

/// Carried by cmdZelmoSoundTest.
struct zelmoSoundTestParams_t {
    std::string field1;
};
AUDVIK_PACKED(zelmoSoundTestParams_t, kStringReferenceSize)

/// Carried by onZelmoSoundTestInfoNotify.
struct zelmoSoundTestInfo_t {
    std::string field1;
};
AUDVIK_PACKED(zelmoSoundTestInfo_t, kStringReferenceSize)

/// Carried by no message.
struct soundCECAudioDevicesInfo_t {
    std::string field1;
    bool field2, field3, field4;
};
AUDVIK_PACKED(soundCECAudioDevicesInfo_t, 12 + kStringReferenceSize)

/// Carried by cmdSoundSurroundModeGet, cmdSoundSurroundMode, onSoundSurroundModeNotify,
/// onSoundSurroundModeExistNotify.
struct soundSurroundMode_t {
    bool field1;
    std::uint32_t field2;
};
AUDVIK_PACKED(soundSurroundMode_t, 8, 2)

/// Carried by cmdMuteAMP.
struct soundMuteAMPParams_t {
    bool field1;
};
AUDVIK_PACKED(soundMuteAMPParams_t, 4)

/// Carried by onAudioCertVerNotify.
struct audioCertVer_t {
    std::uint32_t field1;
};
AUDVIK_PACKED(audioCertVer_t, 4)

/// Carried by cmdAvcOutputSet.
struct soundAvcOutput_t {
    std::uint32_t field1;
    std::uint8_t field2;
    std::uint32_t field3;
    std::uint8_t field4, field5, field6;
};
AUDVIK_PACKED(soundAvcOutput_t, 12, 1, 3)

/// Carried by no message.
struct soundAvcOutputInfo_t {
    std::uint32_t field1;
    std::uint8_t field2;
    std::uint32_t field3;
    std::uint8_t field4, field5, field6;
};
AUDVIK_PACKED(soundAvcOutputInfo_t, 12, 1, 3)

}  // namespace sound
