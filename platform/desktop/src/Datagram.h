// The transport's datagrams, as docs/wire-format.md describes them.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>

#include "bytes.h"
#include "frame/lmq.h"
#include "frame/messages.h"

namespace desktop {

enum class Kind : std::uint8_t {
    kHello = 1,    // client to service: register this session
    kWelcome,      // service to client: registered
    kData,         // a message
    kAcknowledge,  // nothing but the header's acknowledgement and credit
    kPing,         // asks for an acknowledgement
    kBye,          // the session ends
    kReset,        // service to client: I do not know this session
};

/// What every datagram begins with.
struct DatagramHeader {
    Kind kind;
    std::uint64_t session;      ///< not 0
    std::uint32_t sequence;     ///< the message's number; 0 unless the kind is kData
    std::uint32_t acknowledge;  ///< the number of the message that the sender expects next
    std::uint32_t credit;       ///< how many messages from there on it will take
};

/// What a message begins with, ahead of its record.
struct MessageHeader {
    frameLmqMessageHeader_t header;
    frame::MsgIds msgIds;
};

inline constexpr std::size_t kHeaderSize = 28;
inline constexpr std::size_t kMessageHeaderSize = 24;
inline constexpr std::size_t kMaxDatagram = 65507;
inline constexpr std::size_t kMaxMessage = kMaxDatagram - kHeaderSize;

std::array<std::uint8_t, kHeaderSize> encodeHeader(DatagramHeader const& header);
std::array<std::uint8_t, kMessageHeaderSize> encodeMessageHeader(MessageHeader const& message);

/// Checks a datagram up to its record and takes its header apart.
/// @return null, or what is wrong with the datagram
char const* decodeHeader(std::span<std::uint8_t const> datagram, DatagramHeader& header);

/// @param message  what follows the header of a kData datagram that decodeHeader() accepted
MessageHeader decodeMessageHeader(std::span<std::uint8_t const> message);

}  // namespace desktop
