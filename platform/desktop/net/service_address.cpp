#include <cstdlib>
#include <string>

#include "desktop/framework.h"

namespace desktop {

std::string serviceAddress() {
    for (char const* const variable : {"AUDVIK_SERVICE", "LMQR2_UDPHOST"}) {
        if (char const* const address = std::getenv(variable)) return address;
    }
    return "127.0.0.1:12321";
}

}  // namespace desktop
