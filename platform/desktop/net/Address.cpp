#include "Address.h"

#include <arpa/inet.h>

#include <charconv>
#include <cstdio>
#include <stdexcept>

namespace desktop {

Address Address::parse(std::string const& text) {
    auto const colon = text.find(':');
    in_addr host{};
    if (colon == std::string::npos ||
        inet_pton(AF_INET, text.substr(0, colon).c_str(), &host) != 1) {
        throw std::invalid_argument("\"" + text +
                                    "\" does not begin with an IPv4 address and a colon; expected "
                                    "HOST:PORT, for example 127.0.0.1:12321");
    }
    std::uint16_t port = 0;
    auto const* const end = text.data() + text.size();
    auto const [stop, error] = std::from_chars(text.data() + colon + 1, end, port);
    if (error != std::errc() || stop != end || port == 0) {
        throw std::invalid_argument("\"" + text +
                                    "\" has no port from 1 to 65535 behind its colon; expected "
                                    "HOST:PORT, for example 127.0.0.1:12321");
    }
    return {ntohl(host.s_addr), port};
}

Address Address::from(sockaddr_in const& address) {
    return {ntohl(address.sin_addr.s_addr), ntohs(address.sin_port)};
}

sockaddr_in Address::toSocketAddress() const {
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(port);
    address.sin_addr.s_addr = htonl(host);
    return address;
}

Address::Text Address::text() const {
    Text text;
    std::snprintf(text.data(), text.size(), "%u.%u.%u.%u:%u", host >> 24, host >> 16 & 0xFFU,
                  host >> 8 & 0xFFU, host & 0xFFU, unsigned{port});
    return text;
}

}  // namespace desktop
