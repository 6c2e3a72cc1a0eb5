// The header of the transport's datagrams, as docs/wire-format.md describes it.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>

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

inline constexpr std::size_t kHeaderSize = 28;
inline constexpr std::size_t kMaxDatagram = 65507;
/// What a datagram holds behind its header.
inline constexpr std::size_t kMaxMessage = kMaxDatagram - kHeaderSize;

std::array<std::uint8_t, kHeaderSize> encodeHeader(DatagramHeader const& header);

/// Takes a datagram's header apart.
/// @return null, or what is wrong with the datagram
char const* decodeHeader(std::span<std::uint8_t const> datagram, DatagramHeader& header);

}  // namespace desktop
