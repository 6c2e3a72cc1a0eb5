/// @file
/// Clients in messages to the user.
#pragma once

#include <string>

#include "frame/message_meta.h"

namespace sound::service {

/// @return "127.0.0.1:40123"
inline std::string clientName(frame::TransportInfo const& client) {
    auto const [address, port] = std::pair(client.words[0], client.words[1]);
    return std::to_string(address >> 24) + '.' + std::to_string(address >> 16 & 0xFF) + '.' +
           std::to_string(address >> 8 & 0xFF) + '.' + std::to_string(address & 0xFF) + ':' +
           std::to_string(port);
}

}  // namespace sound::service
