// An IPv4 address and a UDP port.
#pragma once

#include <netinet/in.h>

#include <array>
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

    /// "127.0.0.1:12321", ended by a zero byte. Allocates nothing.
    using Text = std::array<char, 22>;
    Text text() const;
    std::string toString() const { return text().data(); }

    /// Says whether it is on this machine and nowhere else.
    bool isLoopback() const { return host >> 24 == 127; }

    bool operator==(Address const&) const = default;
};

}  // namespace desktop
