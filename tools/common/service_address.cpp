#include "service_address.h"

#include <cstdlib>

#include "audvik/audvik.h"

namespace tools {

namespace {

/// The library sets the other one itself.
constexpr char kOwnVariable[] = "AUDVIK_SERVICE";

}  // namespace

std::string serviceAddress() {
    for (char const* const variable : {kOwnVariable, "LMQR2_UDPHOST"}) {
        if (char const* const address = std::getenv(variable)) return address;
    }
    return AUDVIK_SERVICE_ADDRESS;
}

void useServiceAddress(std::string const& address) {
    setenv(kOwnVariable, address.c_str(), 1);
}

}  // namespace tools
