// What a message begins with, ahead of its record.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>

#include "frame/lmq.h"
#include "frame/message_meta.h"

namespace desktop {

struct MessageHeader {
    frameLmqMessageHeader_t header;
    frame::MsgIds msgIds;
};

inline constexpr std::size_t kMessageHeaderSize = 24;

std::array<std::uint8_t, kMessageHeaderSize> encodeMessageHeader(MessageHeader const& message);

/// Checks a message up to its record.
/// @return null, or what is wrong with the message
char const* checkMessageHeader(std::span<std::uint8_t const> message);

/// @param message  one that checkMessageHeader() accepted
MessageHeader decodeMessageHeader(std::span<std::uint8_t const> message);

}  // namespace desktop
