// Who owns a UDP port of this machine.
#pragma once

#include <sys/types.h>

#include <optional>

#include "Address.h"

namespace desktop {

/// @param address  that the socket is bound to, or a port that it is bound to for all addresses
/// @return the user whose process made the socket; nothing when no such socket is found
std::optional<uid_t> ownerOfSocket(Address const& address);

}  // namespace desktop
