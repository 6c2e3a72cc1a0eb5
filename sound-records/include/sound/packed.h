/// @file
/// The packed form of a record: its fields back to back, as they travel inside a message.
///
/// A record is declared in two steps, side by side:
/// @code
/// struct soundVolumeParams_t {
///     std::uint32_t field1, field2, field3, field4, field5;
/// };
/// AUDVIK_PACKED(soundVolumeParams_t, 20, 1)
/// @endcode
///
/// Member types say how a field is packed:
///
/// | member                      | packed bytes                                             |
/// |-----------------------------|----------------------------------------------------------|
/// | integer of 8 or 32 bits     | unchanged                                                |
/// | `bool`                      | 4: 0 or 1; any non-zero word reads as true               |
/// | `std::int64_t`              | 4: the low 32 bits; the sign is extended on reading      |
/// | `std::string`               | a cspDeserString_t with a `malloc`ed copy of the text    |
/// | a record                    | that record's packed form                                |
/// | `std::array` of one of them | the elements, one after the other                        |
#pragma once

#include <array>
#include <cstddef>
#include <utility>

#include "csp/endian.h"
#include "sound/export.h"

namespace sound {

/// Packed bytes of a string: 8 on the target.
inline constexpr std::size_t kStringReferenceSize = sizeof(cspDeserString_t);

/// What AUDVIK_PACKED states about a record.
template <class Plain>
struct PackedTraits;

/// Declares the packed form `_<NAME>_struct` of the record @p NAME and its byte-order table
/// `__csp_EndianTable_serializable_<NAME>`.
/// @param NAME  the plain record
/// @param SIZE  its packed size in bytes, checked against the sum of its fields
/// @param ...   the numbers of the members that default construction leaves unwritten
///
/// The packed form's operations:
/// - Default construction zeroes every field but those listed; strings get length 0 and no
///   characters.
/// - Construction and assignment from the plain record pack every field. For each string they
///   allocate a copy, which the packed form does not own: its holder frees it once, and assigns
///   once only. They throw std::bad_alloc when there is no memory for a copy; strings before it
///   have theirs, and those after it are as they were.
/// - Conversion to the plain record unpacks every field and leaves the packed form alone.
#define AUDVIK_PACKED(NAME, SIZE, ...)                                                            \
    class AUDVIK_EXPORT _##NAME##_struct {                                                        \
    public:                                                                                       \
        _##NAME##_struct();                                                                       \
        explicit _##NAME##_struct(NAME const& plain);                                             \
        _##NAME##_struct& operator=(NAME const& plain);                                           \
        operator NAME() const;                                                                    \
                                                                                                  \
    private:                                                                                      \
        std::array<unsigned char, SIZE> bytes_;                                                   \
    };                                                                                            \
    extern "C" AUDVIK_EXPORT cspEndianTable_t const __csp_EndianTable_serializable_##NAME;        \
    template <>                                                                                   \
    struct PackedTraits<NAME> {                                                                   \
        using Form = _##NAME##_struct;                                                            \
        using Unwritten = std::index_sequence<__VA_ARGS__>;                                       \
        static constexpr char kName[] = #NAME;                                                    \
        static constexpr cspEndianTable_t const* kTable = &__csp_EndianTable_serializable_##NAME; \
    };                                                                                            \
    AUDVIK_DEFINE_PACKED(NAME)

/// Empty but in the sources that define what AUDVIK_PACKED declares.
#ifndef AUDVIK_DEFINE_PACKED
#define AUDVIK_DEFINE_PACKED(NAME)
#endif

}  // namespace sound
