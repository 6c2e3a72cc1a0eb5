#include "socket_owner.h"

#include <arpa/inet.h>
#include <fcntl.h>
#include <unistd.h>

#include <array>
#include <cstdio>
#include <cstring>

namespace desktop {

namespace {

/// Reads a line of /proc/net/udp. The kernel prints the address as a number in its own byte order,
/// which an emulated process may not share.
bool isSocketAt(char const* line, Address const& address, uid_t& owner) {
    unsigned host = 0;
    unsigned port = 0;
    unsigned user = 0;
    // The kernel's own numbers, of a fixed width.
    // NOLINTNEXTLINE(cert-err34-c)
    if (std::sscanf(line, "%*u: %x:%x %*x:%*x %*x %*x:%*x %*x:%*x %*x %u", &host, &port, &user) !=
        3) {
        return false;
    }
    owner = user;
    return port == address.port &&
           (host == 0 || host == address.host || host == __builtin_bswap32(address.host));
}

// Without allocating: it runs on the transport's threads.
std::optional<uid_t> findInTable(Address const& address) {
    int const table = ::open("/proc/net/udp", O_RDONLY | O_CLOEXEC);
    if (table < 0) return std::nullopt;
    std::array<char, 4096> text;
    std::size_t held = 0;
    std::optional<uid_t> found;
    while (!found) {
        auto const count = ::read(table, text.data() + held, text.size() - held);
        if (count <= 0) break;
        held += static_cast<std::size_t>(count);
        char* line = text.data();
        while (auto* const end = static_cast<char*>(std::memchr(line, '\n', held))) {
            *end = '\0';
            uid_t owner = 0;
            if (isSocketAt(line, address, owner)) found = owner;
            held -= static_cast<std::size_t>(end + 1 - line);
            line = end + 1;
        }
        std::memmove(text.data(), line, held);
    }
    ::close(table);
    return found;
}

}  // namespace

std::optional<uid_t> ownerOfSocket(Address const& address) {
    // The kernel's table is read in parts, and one that is there may be missed while others go.
    constexpr int kTries = 3;
    std::optional<uid_t> owner;
    for (int tries = 0; tries < kTries && !owner; ++tries) owner = findInTable(address);
    return owner;
}

}  // namespace desktop
