/// @file
/// A message's payload, and how its arguments get in and out.
#pragma once

#include <algorithm>
#include <array>
#include <cstddef>
#include <string>
#include <type_traits>

#include "sound/message_arguments.h"
#include "sound/packing.h"

namespace sound {

/// A message's arguments in packed form, back to back. A message without arguments has a payload of
/// one byte, 0, that its table does not describe.
///
/// A record that is sent owns the copies of strings that packing makes, and frees them when it
/// ends, the last one first. One that is received is the transport's, with all that it refers to.
template <class... Types>
class MessageRecord {
    using Fields = packing::Layout<packing::TypeList<Types...>>;

public:
    MessageRecord() = default;
    ~MessageRecord() { freeStrings(bytes_.data()); }
    MessageRecord(MessageRecord const&) = delete;
    MessageRecord& operator=(MessageRecord const&) = delete;

    /// Packs the arguments. Once for each record.
    /// @return false when there is no memory for the copy of a bare string
    /// @throws std::bad_alloc when there is none for the copy of a record's string
    bool pack(Argument<Types>... arguments) { return pack(bytes_.data(), arguments...); }

    /// Calls @p function with the arguments that @p record holds, each made for this call.
    /// @throws std::bad_alloc, and what the function throws
    template <class Function>
    static auto unpack(void const* record, Function const& function) {
        return [&]<std::size_t... kIndices>(std::index_sequence<kIndices...>) {
            [[maybe_unused]] auto const* const packed = static_cast<unsigned char const*>(record);
            return function(unpackArgument<Types>(packed + Fields::kPacked[kIndices])...);
        }
        (std::index_sequence_for<Types...>{});
    }

    void const* data() const { return bytes_.data(); }

    /// For records that lie elsewhere: their size, packing into as many bytes, all zero, and
    /// freeing the copies of strings, also after packing that failed.
    static constexpr std::size_t kSize = std::max<std::size_t>(Fields::kSize, 1);
    static bool pack(unsigned char* record, Argument<Types>... arguments) {
        [[maybe_unused]] auto offset = Fields::kPacked.begin();
        return (packArgument<Types>(record + *offset++, arguments) && ...);
    }
    static void freeStrings(unsigned char const* record) {
        packing::freeStrings(packing::TypeList<Types...>{}, record);
    }
    static constexpr bool kHoldsStrings = (packing::holdsStrings<Types>() || ...);

private:
    // Records by their own operations, which are there once in the library.
    template <class Type>
    static bool packArgument(unsigned char* packed, Type const& argument) {
        if constexpr (packing::Record<Type>) {
            // What its construction leaves unwritten is zero here, and stays so.
            *reinterpret_cast<typename PackedTraits<Type>::Form*>(packed) = argument;
        } else if constexpr (std::is_same_v<Type, std::string>) {
            return packing::packString(packed, argument);
        } else {
            packing::pack(packed, argument);
        }
        return true;
    }

    template <class Type>
    static Type unpackArgument(unsigned char const* packed) {
        if constexpr (packing::Record<Type>) {
            return *reinterpret_cast<typename PackedTraits<Type>::Form const*>(packed);
        } else {
            Type argument;
            packing::unpack(packed, argument);
            return argument;
        }
    }

    std::array<unsigned char, kSize> bytes_{};
};

}  // namespace sound
