/// @file
/// Packs and unpacks fields, and builds byte-order tables, from the types of a record's members.
///
/// Everything here follows at compile time from the plain record: where each field lies in both
/// forms, which neighbouring fields can be copied in one go, and what the table's entries are.
#pragma once

#include <array>
#include <boost/pfr/core.hpp>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <new>
#include <string>
#include <tuple>
#include <type_traits>

#include "sound/packed.h"

namespace sound::packing {

template <class Type>
concept Record = requires {
    typename PackedTraits<Type>::Form;
};

/// A scalar whose plain and packed forms are the same bytes.
template <class Type>
concept PlainScalar = std::is_integral_v<Type> && !std::is_same_v<Type, bool> &&
                      (sizeof(Type) == 1 || sizeof(Type) == 4);

template <class Type>
inline constexpr bool kIsArray = false;
template <class Element, std::size_t kCount>
inline constexpr bool kIsArray<std::array<Element, kCount>> = true;

template <class... Types>
struct TypeList {};

template <class Plain, std::size_t... kIndices>
TypeList<boost::pfr::tuple_element_t<kIndices, Plain>...> memberTypes(
    std::index_sequence<kIndices...>);

/// The types of a record's members, in order.
template <Record Plain>
using Members =
    decltype(memberTypes<Plain>(std::make_index_sequence<boost::pfr::tuple_size_v<Plain>>{}));

/// A field's width in the packed form, in bytes.
template <class Type>
consteval std::size_t packedWidth() {
    if constexpr (Record<Type>) {
        return sizeof(typename PackedTraits<Type>::Form);
    } else if constexpr (kIsArray<Type>) {
        return std::tuple_size_v<Type> * packedWidth<typename Type::value_type>();
    } else if constexpr (std::is_same_v<Type, std::string>) {
        return kStringReferenceSize;
    } else if constexpr (std::is_same_v<Type, bool> || std::is_same_v<Type, std::int64_t>) {
        return sizeof(std::uint32_t);
    } else {
        static_assert(PlainScalar<Type>,
                      "a field is a record, an array, a string, a bool, or an "
                      "integer of 8, 32 or (signed) 64 bits");
        return sizeof(Type);
    }
}

/// Where consecutive fields lie, in the packed and in the plain form.
template <class Types>
struct Layout;

template <class... Types>
struct Layout<TypeList<Types...>> {
    static constexpr std::size_t kCount = sizeof...(Types);
    using Offsets = std::array<std::size_t, kCount + 1>;

    static constexpr Offsets kPacked = [] {
        Offsets offsets{};
        std::size_t index = 0;
        ((offsets[index + 1] = offsets[index] + packedWidth<Types>(), ++index), ...);
        return offsets;
    }();

    static constexpr Offsets kPlain = [] {
        Offsets offsets{};
        std::size_t index = 0;
        std::size_t end = 0;
        ((offsets[index] = (end + alignof(Types) - 1) / alignof(Types) * alignof(Types),
          end = offsets[index] + sizeof(Types), ++index),
         ...);
        offsets[index] = end;
        return offsets;
    }();

    static constexpr std::size_t kSize = kPacked[kCount];
};

template <class Plain>
using LayoutOf = Layout<Members<Plain>>;

/// A record's member by index. Boost.PFR's own access binds all members at once, in a function
/// that is too large to be inlined.
template <std::size_t kIndex, class Plain>
auto& member(Plain& plain) {
    using Record = std::remove_const_t<Plain>;
    using Type = boost::pfr::tuple_element_t<kIndex, Record>;
    using Byte = std::conditional_t<std::is_const_v<Plain>, unsigned char const, unsigned char>;
    using Result = std::conditional_t<std::is_const_v<Plain>, Type const, Type>;
    return *reinterpret_cast<Result*>(reinterpret_cast<Byte*>(&plain) +
                                      LayoutOf<Record>::kPlain[kIndex]);
}

/// Says whether plain and packed form of a field are the same bytes.
template <class Type>
consteval bool isVerbatim() {
    if constexpr (Record<Type>) {
        return []<class... Types>(TypeList<Types...>) {
            return (isVerbatim<Types>() && ...) && sizeof(Type) == packedWidth<Type>();
        }(Members<Type>{});
    } else if constexpr (kIsArray<Type>) {
        return isVerbatim<typename Type::value_type>();
    } else {
        return PlainScalar<Type>;
    }
}

/// The end of the run of fields, from @p first on, that one copy can move; first + 1 for a field
/// that has to be converted.
template <class Plain>
consteval std::size_t endOfRun(std::size_t first) {
    using Fields = LayoutOf<Plain>;
    constexpr auto kVerbatim = []<class... Types>(TypeList<Types...>) {
        return std::array<bool, sizeof...(Types)>{isVerbatim<Types>()...};
    }(Members<Plain>{});
    std::size_t end = first + 1;
    while (kVerbatim[first] && end < Fields::kCount && kVerbatim[end] &&
           Fields::kPlain[end] - Fields::kPlain[first] ==
               Fields::kPacked[end] - Fields::kPacked[first]) {
        ++end;
    }
    return end;
}

template <class Plain, std::size_t kFirst = 0>
void packMembers(unsigned char* packed, Plain const& plain);
template <class Plain, std::size_t kFirst = 0>
void unpackMembers(unsigned char const* packed, Plain& plain);

/// Packs a string as a reference to a `malloc`ed copy, whose owner the caller becomes.
/// @return false, with nothing stored, when there is no memory for the copy
bool packString(unsigned char* packed, std::string const& text) noexcept;

/// Reads the string that a reference speaks of; empty without characters.
/// @throws std::bad_alloc
void unpackString(unsigned char const* packed, std::string& plain);

/// Packs one field.
/// @throws std::bad_alloc when there is no memory for a string's copy
template <class Type>
void pack(unsigned char* packed, Type const& plain) {
    if constexpr (isVerbatim<Type>()) {
        std::memcpy(packed, &plain, sizeof plain);
    } else if constexpr (Record<Type>) {
        packMembers(packed, plain);
    } else if constexpr (kIsArray<Type>) {
        for (auto const& element : plain) {
            pack(packed, element);
            packed += packedWidth<typename Type::value_type>();
        }
    } else if constexpr (std::is_same_v<Type, std::string>) {
        if (!packString(packed, plain)) throw std::bad_alloc();
    } else {
        auto const word = static_cast<std::uint32_t>(plain);
        std::memcpy(packed, &word, sizeof word);
    }
}

/// Unpacks one field.
/// @throws std::bad_alloc when there is no memory for a string
template <class Type>
void unpack(unsigned char const* packed, Type& plain) {
    if constexpr (isVerbatim<Type>()) {
        std::memcpy(&plain, packed, sizeof plain);
    } else if constexpr (Record<Type>) {
        unpackMembers(packed, plain);
    } else if constexpr (kIsArray<Type>) {
        for (auto& element : plain) {
            unpack(packed, element);
            packed += packedWidth<typename Type::value_type>();
        }
    } else if constexpr (std::is_same_v<Type, std::string>) {
        unpackString(packed, plain);
    } else {
        std::uint32_t word;
        std::memcpy(&word, packed, sizeof word);
        if constexpr (std::is_same_v<Type, bool>) {
            plain = word != 0;
        } else {
            plain = static_cast<std::int32_t>(word);
        }
    }
}

/// Packs the members of a record from the kFirst-th on. Offsets are constants, and what can be
/// copied together is: a running output pointer costs many times as much, since each byte stored
/// through it might be part of the pointer.
template <class Plain, std::size_t kFirst>
void packMembers(unsigned char* packed, Plain const& plain) {
    using Fields = LayoutOf<Plain>;
    static_assert(
        (Fields::kPlain[Fields::kCount] + alignof(Plain) - 1) / alignof(Plain) * alignof(Plain) ==
            sizeof(Plain),
        "a record's members do not lie where this host's compiler puts them");
    if constexpr (kFirst < Fields::kCount) {
        constexpr std::size_t kEnd = endOfRun<Plain>(kFirst);
        if constexpr (kEnd > kFirst + 1) {
            std::memcpy(packed + Fields::kPacked[kFirst],
                        reinterpret_cast<unsigned char const*>(&plain) + Fields::kPlain[kFirst],
                        Fields::kPacked[kEnd] - Fields::kPacked[kFirst]);
        } else {
            pack(packed + Fields::kPacked[kFirst], member<kFirst>(plain));
        }
        packMembers<Plain, kEnd>(packed, plain);
    }
}

/// Unpacks the members of a record from the kFirst-th on.
template <class Plain, std::size_t kFirst>
void unpackMembers(unsigned char const* packed, Plain& plain) {
    using Fields = LayoutOf<Plain>;
    if constexpr (kFirst < Fields::kCount) {
        constexpr std::size_t kEnd = endOfRun<Plain>(kFirst);
        if constexpr (kEnd > kFirst + 1) {
            std::memcpy(reinterpret_cast<unsigned char*>(&plain) + Fields::kPlain[kFirst],
                        packed + Fields::kPacked[kFirst],
                        Fields::kPacked[kEnd] - Fields::kPacked[kFirst]);
        } else {
            unpack(packed + Fields::kPacked[kFirst], member<kFirst>(plain));
        }
        unpackMembers<Plain, kEnd>(packed, plain);
    }
}

/// Says whether default construction leaves the member with this number (from 1) unwritten.
template <class Plain>
consteval bool isUnwritten(std::size_t number) {
    return [number]<std::size_t... kNumbers>(std::index_sequence<kNumbers...>) {
        return ((number == kNumbers) || ...);
    }
    (typename PackedTraits<Plain>::Unwritten{});
}

template <class Plain>
void writeDefaults(unsigned char* packed);

template <class Plain, std::size_t kIndex>
void writeDefault(unsigned char* packed) {
    using Type = boost::pfr::tuple_element_t<kIndex, Plain>;
    constexpr std::size_t kOffset = LayoutOf<Plain>::kPacked[kIndex];
    if constexpr (isUnwritten<Plain>(kIndex + 1)) {
        return;
    } else if constexpr (Record<Type>) {
        writeDefaults<Type>(packed + kOffset);
    } else {
        std::memset(packed + kOffset, 0, packedWidth<Type>());
    }
}

/// Writes what default construction of a record's packed form writes.
template <class Plain>
void writeDefaults(unsigned char* packed) {
    [packed]<std::size_t... kIndices>(std::index_sequence<kIndices...>) {
        (writeDefault<Plain, kIndices>(packed), ...);
    }
    (std::make_index_sequence<LayoutOf<Plain>::kCount>{});
}

/// How many entries a field has in its record's table.
template <class Type>
consteval std::size_t entryCount() {
    if constexpr (kIsArray<Type>) {
        return std::tuple_size_v<Type> * entryCount<typename Type::value_type>();
    } else {
        return 1;
    }
}

template <class Type>
constexpr void appendEntries(cspEndianEntry_t*& entry, std::size_t offset) {
    auto const at = static_cast<std::uint16_t>(offset);
    if constexpr (kIsArray<Type>) {
        using Element = typename Type::value_type;
        for (std::size_t i = 0; i < std::tuple_size_v<Type>; ++i) {
            appendEntries<Element>(entry, offset + i * packedWidth<Element>());
        }
    } else if constexpr (Record<Type>) {
        *entry++ = {at, kCspEndianNested, {.nested = PackedTraits<Type>::kTable}};
    } else if constexpr (std::is_same_v<Type, std::string>) {
        *entry++ = {at, kCspEndianNested, {.nested = &__csp_EndianTable_cspDeserString_t}};
    } else {
        *entry++ = {at, packedWidth<Type>() == 1 ? kCspEndianByte : kCspEndianWord, {.word = 0}};
    }
}

/// The entry list of the table that describes consecutive fields of these types.
template <class Types>
inline constexpr auto kEntries = []<class... Fields>(TypeList<Fields...>) {
    std::array<cspEndianEntry_t, (entryCount<Fields>() + ... + 1)> entries{};
    auto* entry = entries.data();
    [[maybe_unused]] std::size_t offset = 0;
    ((appendEntries<Fields>(entry, offset), offset += packedWidth<Fields>()), ...);
    *entry = {0, kCspEndianEnd, {.word = UINTPTR_MAX}};
    return entries;
}(Types{});

/// Says whether a field is a string or has one.
template <class Type>
consteval bool holdsStrings() {
    if constexpr (kIsArray<Type>) {
        return holdsStrings<typename Type::value_type>();
    } else if constexpr (Record<Type>) {
        return []<class... Types>(TypeList<Types...>) {
            return (holdsStrings<Types>() || ...);
        }(Members<Type>{});
    } else {
        return std::is_same_v<Type, std::string>;
    }
}

/// Frees the string copies that consecutive packed fields of these types refer to, the last one
/// first.
template <class... Types>
void freeStrings(TypeList<Types...> fields, unsigned char const* packed);

template <class Type>
void freeStringsOfField(unsigned char const* packed) {
    if constexpr (std::is_same_v<Type, std::string>) {
        cspDeserString_t reference;
        std::memcpy(&reference, packed, sizeof reference);
        std::free(reference.characters);
    } else if constexpr (kIsArray<Type>) {
        using Element = typename Type::value_type;
        for (std::size_t i = std::tuple_size_v<Type>; i-- > 0;) {
            freeStringsOfField<Element>(packed + i * packedWidth<Element>());
        }
    } else if constexpr (Record<Type>) {
        freeStrings(Members<Type>{}, packed);
    }
}

template <class... Types>
void freeStrings(TypeList<Types...> /*fields*/, unsigned char const* packed) {
    constexpr std::size_t kCount = sizeof...(Types);
    [packed]<std::size_t... kIndices>(std::index_sequence<kIndices...>) {
        // The operands of a comma fold run from left to right: index 0 stands for the last field.
        (freeStringsOfField<std::tuple_element_t<kCount - 1 - kIndices, std::tuple<Types...>>>(
             packed + Layout<TypeList<Types...>>::kPacked[kCount - 1 - kIndices]),
         ...);
    }
    (std::make_index_sequence<kCount>{});
}

}  // namespace sound::packing
