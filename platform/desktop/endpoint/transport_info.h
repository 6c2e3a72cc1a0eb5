// How receivers are told of a peer.
#pragma once

#include <cstdint>

#include "Address.h"
#include "frame/message_meta.h"

namespace desktop {

/// A peer's address, port and session.
inline frame::TransportInfo transportInfo(Address const& peer, std::uint64_t session) {
    constexpr std::uint32_t kUnused = 0xFFFFFFFF;
    return {{peer.host, peer.port, static_cast<std::uint32_t>(session >> 32),
             static_cast<std::uint32_t>(session), kUnused, kUnused, kUnused}};
}

inline Address addressOf(frame::TransportInfo const& peer) {
    return {peer.words[0], static_cast<std::uint16_t>(peer.words[1])};
}

}  // namespace desktop
