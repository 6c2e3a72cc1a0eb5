#include "Loudness.h"

std::unique_ptr<Loudness> makeLoudness(std::size_t /*channels*/, int /*rate*/) {
    return nullptr;
}
