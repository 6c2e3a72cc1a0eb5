#include "supervisor.h"

#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <algorithm>
#include <charconv>
#include <cstddef>
#include <cstdlib>
#include <cstring>
#include <string_view>

namespace tools {

void notifySupervisor(std::string const& state) {
    char const* const path = std::getenv("NOTIFY_SOCKET");
    sockaddr_un address{AF_UNIX, {}};
    if (path == nullptr || *path == '\0' || std::strlen(path) >= sizeof address.sun_path) return;
    std::strcpy(address.sun_path, path);
    std::size_t const size = offsetof(sockaddr_un, sun_path) + std::strlen(path);
    if (*path == '@') address.sun_path[0] = '\0';  // a name that is in no folder
    int const descriptor = ::socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    if (descriptor < 0) return;
    // Without waiting: whoever does not take it will restart us.
    ::sendto(descriptor, state.data(), state.size(), MSG_DONTWAIT | MSG_NOSIGNAL,
             reinterpret_cast<sockaddr const*>(&address), static_cast<socklen_t>(size));
    ::close(descriptor);
}

std::chrono::milliseconds watchdogInterval() {
    using std::chrono::microseconds;
    char const* const text = std::getenv("WATCHDOG_USEC");
    std::string_view const digits = text != nullptr ? text : "";
    microseconds::rep limit = 0;
    std::from_chars(digits.data(), digits.data() + digits.size(), limit);
    if (limit <= 0) return std::chrono::hours(1);
    return std::max(std::chrono::duration_cast<std::chrono::milliseconds>(microseconds(limit / 2)),
                    std::chrono::milliseconds(1));
}

}  // namespace tools
