#include "service_address.h"

#include <cstdlib>

#include "audvik/audvik.h"

#ifndef AUDVIK_SERVICE_ADDRESS
#define AUDVIK_SERVICE_ADDRESS "127.0.0.1:12321"
#endif

namespace tools {

std::string serviceAddress() {
    char const* const address = std::getenv("LMQR2_UDPHOST");
    return address != nullptr ? address : AUDVIK_SERVICE_ADDRESS;
}

}  // namespace tools
