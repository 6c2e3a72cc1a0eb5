#include <cstdlib>
#include <cstring>

#include "sound/packing.h"

namespace sound::packing {

bool packString(unsigned char* packed, std::string const& text) noexcept {
    auto* const copy = static_cast<char*>(std::malloc(text.size() + 1));
    if (copy == nullptr) return false;
    std::memcpy(copy, text.c_str(), text.size() + 1);
    cspDeserString_t const reference{static_cast<std::uint32_t>(text.size()), copy};
    std::memcpy(packed, &reference, sizeof reference);
    return true;
}

void unpackString(unsigned char const* packed, std::string& plain) {
    cspDeserString_t reference;
    std::memcpy(&reference, packed, sizeof reference);
    plain = reference.characters != nullptr ? std::string(reference.characters, reference.length)
                                            : std::string();
}

}  // namespace sound::packing
