#include "service_address.h"

#include <cstdlib>

#include "audvik/audvik.h"

namespace tools {

std::string serviceAddress() {
    for (char const* const variable : {"AUDVIK_SERVICE", "LMQR2_UDPHOST"}) {
        if (char const* const address = std::getenv(variable)) return address;
    }
    return AUDVIK_SERVICE_ADDRESS;
}

}  // namespace tools
