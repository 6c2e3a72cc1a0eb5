#include "Loudness.h"

namespace tools {

std::unique_ptr<Loudness> makeLoudness(std::size_t /*channels*/, int /*rate*/) {
    return nullptr;
}

}  // namespace tools
