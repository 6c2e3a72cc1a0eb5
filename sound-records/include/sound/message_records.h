/// @file
/// The sound interface's messages on the transport: identifiers, headers, records and tables.
#pragma once

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <string>

#include "csp/endian.h"
#include "frame/lmq.h"
#include "sound/export.h"
#include "sound/packing.h"
#include "sound/records.h"

namespace sound {

/// A message's identifier. Identifiers are consecutive in the message list's order.
enum class MessageId : std::uint32_t {
    kBeforeFirst = 0x28671235,
#define AUDVIK_COMMAND(NAME, ...) cmd##NAME,
#define AUDVIK_NOTIFICATION(NAME, RELATION, COMMAND, ...) on##NAME##Notify,
#include "sound/messages.def"
};

/// The interface codes of the commands and of the notifications.
inline constexpr std::uint32_t kCommandInterface = 0x1CCD7773;
inline constexpr std::uint32_t kNotificationInterface = 0x1CCD7774;

constexpr frameLmqMessageHeader_t commandHeader(MessageId id) {
    return {0xFFFFFFFF, kCommandInterface, static_cast<std::uint32_t>(id), 0};
}

constexpr frameLmqMessageHeader_t notificationHeader(MessageId id) {
    return {0xFFFFFFFF, kNotificationInterface, static_cast<std::uint32_t>(id), 1};
}

/// A message's payload: its arguments' packed forms, back to back. A message without arguments
/// has a payload of one byte, 0, that its table does not describe.
template <class... Types>
struct MessageRecord {
    using Fields = packing::Layout<packing::TypeList<Types...>>;
    std::array<unsigned char, std::max<std::size_t>(Fields::kSize, 1)> bytes{};
};

// For each message its record, soundMsgCmd<Name>_t or soundMsgOn<Name>Notify_t, and its table.
#define AUDVIK_MESSAGE_RECORD(RECORD, ...)         \
    struct RECORD : MessageRecord<__VA_ARGS__> {}; \
    extern "C" AUDVIK_EXPORT cspEndianTable_t const __csp_EndianTable_##RECORD;
#define AUDVIK_COMMAND(NAME, ...) \
    AUDVIK_MESSAGE_RECORD(soundMsgCmd##NAME##_t __VA_OPT__(, ) __VA_ARGS__)
#define AUDVIK_NOTIFICATION(NAME, RELATION, COMMAND, ...) \
    AUDVIK_MESSAGE_RECORD(soundMsgOn##NAME##Notify_t __VA_OPT__(, ) __VA_ARGS__)
#include "sound/messages.def"
#undef AUDVIK_MESSAGE_RECORD

}  // namespace sound
