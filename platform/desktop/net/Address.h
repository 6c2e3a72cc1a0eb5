// An IPv4 address and a UDP port.
#pragma once

#include <netinet/in.h>

#include <cstdint>
#include <string>

namespace desktop {

struct Address {
    std::uint32_t host = 0;
    std::uint16_t port = 0;

    /// @param text  "host:port"
    /// @throws std::invalid_argument saying what is wrong with the text
    static Address parse(std::string const& text);
    static Address from(sockaddr_in const& address);

    sockaddr_in toSocketAddress() const;
    std::string toString() const;
    bool operator==(Address const&) const = default;
};

}  // namespace desktop
