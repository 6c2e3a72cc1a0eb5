// Turns the record headers included after this one from declarations into definitions.
#pragma once

#include "sound/packing.h"

#undef AUDVIK_DEFINE_PACKED
#define AUDVIK_DEFINE_PACKED(NAME)                                                        \
    static_assert(packing::packedWidth<NAME>() == packing::LayoutOf<NAME>::kSize,         \
                  "the size stated for " #NAME " is not the sum of its fields");          \
    _##NAME##_struct::_##NAME##_struct() {                                                \
        packing::writeDefaults<NAME>(bytes_.data());                                      \
    }                                                                                     \
    _##NAME##_struct::_##NAME##_struct(NAME const& plain) {                               \
        *this = plain; /* which writes every byte */                                      \
    }                                                                                     \
    _##NAME##_struct& _##NAME##_struct::operator=(NAME const& plain) {                    \
        packing::packMembers(bytes_.data(), plain);                                       \
        return *this;                                                                     \
    }                                                                                     \
    _##NAME##_struct::operator NAME() const {                                             \
        NAME plain;                                                                       \
        packing::unpackMembers(bytes_.data(), plain);                                     \
        return plain;                                                                     \
    }                                                                                     \
    extern "C" constinit cspEndianTable_t const __csp_EndianTable_serializable_##NAME = { \
        packing::packedWidth<NAME>(), packing::kEntries<packing::Members<NAME>>.data()};
