/// @file
/// The message list as types, and the messages on the transport: identifiers, headers, records and
/// tables.
#pragma once

#include <cstdint>
#include <string>
#include <tuple>

#include "csp/endian.h"
#include "frame/lmq.h"
#include "sound/export.h"
#include "sound/message_record.h"
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

/// What a command has to do with the notification that it brings about, in the list's words.
enum class Relation : std::uint8_t { reports, answers, streams };

/// What the list says of a message: its name, its arguments, its record and its table.
template <MessageId kId>
struct Message;

template <MessageId kId>
using ArgumentsOf = typename Message<kId>::Arguments;

// For each message its record, soundMsgCmd<Name>_t or soundMsgOn<Name>Notify_t, and its table.
#define AUDVIK_MESSAGE(NAME, RECORD, ...)                                              \
    struct RECORD : MessageRecord<__VA_ARGS__> {};                                     \
    extern "C" AUDVIK_EXPORT cspEndianTable_t const __csp_EndianTable_##RECORD;        \
    template <>                                                                        \
    struct Message<MessageId::NAME> {                                                  \
        static constexpr char const* kName = #NAME;                                    \
        using Arguments = std::tuple<__VA_ARGS__>;                                     \
        using Record = RECORD;                                                         \
        static constexpr cspEndianTable_t const* kTable = &__csp_EndianTable_##RECORD; \
    };
#define AUDVIK_COMMAND(NAME, ...) \
    AUDVIK_MESSAGE(cmd##NAME, soundMsgCmd##NAME##_t __VA_OPT__(, ) __VA_ARGS__)
#define AUDVIK_NOTIFICATION(NAME, RELATION, COMMAND, ...) \
    AUDVIK_MESSAGE(on##NAME##Notify, soundMsgOn##NAME##Notify_t __VA_OPT__(, ) __VA_ARGS__)
#include "sound/messages.def"
#undef AUDVIK_MESSAGE

}  // namespace sound
