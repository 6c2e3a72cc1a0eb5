/// @file
/// The fields of records and messages at run time: what they are and where they lie. Tools work on
/// these descriptions, so that their code exists once and not once for each record.
#pragma once

#include <array>
#include <boost/container/small_vector.hpp>
#include <concepts>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <limits>
#include <map>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <type_traits>
#include <utility>
#include <vector>

#include "sound/packing.h"

namespace tools {

struct FieldType;

struct Member {
    FieldType const* type;
    std::size_t offset;  ///< in the plain record, in bytes
};

/// Describes a type of field. There is one description per type.
struct FieldType {
    enum class Kind : std::uint8_t { kBool, kInteger, kString, kArray, kRecord };

    Kind kind;
    std::size_t size;  ///< in the plain record, in bytes
    void (*assign)(void* to, void const* from);
    std::shared_ptr<void> (*make)();  ///< a new one, zero or empty

    // Of an integer: what a message can carry of it.
    std::int64_t least = 0;
    std::int64_t most = 0;

    // Of an array.
    FieldType const* element = nullptr;
    std::size_t count = 0;

    // Of a record.
    std::string_view name = {};
    std::span<Member const> members = {};
};

struct Range {
    std::int64_t least;
    std::int64_t most;
};

/// What a user's names file says of a field.
struct FieldNote {
    std::string name;
    std::string unit;
    std::optional<Range> range;  ///< of an integer, or of an array's elements
};

using RecordNotes = std::map<std::size_t, FieldNote>;                ///< by a member's index
using FieldNotes = std::map<std::string, RecordNotes, std::less<>>;  ///< by a record's name

/// Takes effect for all fields. Once, before there are threads.
void setFieldNotes(FieldNotes notes);

/// @return null when there is none
FieldNote const* noteOf(std::string_view record, std::size_t index);

/// A field in memory. What only reads fields takes those of constant values, too.
struct Field {
    FieldType const* type;
    void* address;
    FieldNote const* note = nullptr;
};

/// Those of any message in the list, without memory of the heap.
using Fields = boost::container::small_vector<Field, 64>;

namespace detail {

template <class Type>
constexpr FieldType makeFieldType();

template <class Type>
inline constexpr FieldType kFieldType = makeFieldType<Type>();

template <class Record, std::size_t... kIndices>
constexpr auto makeMembers(std::index_sequence<kIndices...> /*indices*/) {
    using Layout = sound::packing::LayoutOf<Record>;
    return std::array{Member{&kFieldType<boost::pfr::tuple_element_t<kIndices, Record>>,
                             Layout::kPlain[kIndices]}...};
}

template <class Record>
inline constexpr auto kMembers =
    makeMembers<Record>(std::make_index_sequence<sound::packing::LayoutOf<Record>::kCount>{});

template <class Type>
constexpr FieldType makeFieldType() {
    using Kind = FieldType::Kind;
    FieldType type{Kind::kString, sizeof(Type),
                   [](void* to, void const* from) {
                       *static_cast<Type*>(to) = *static_cast<Type const*>(from);
                   },
                   [] { return std::shared_ptr<void>(std::make_shared<Type>()); }};
    if constexpr (sound::packing::Record<Type>) {
        type.kind = Kind::kRecord;
        type.name = sound::PackedTraits<Type>::kName;
        type.members = kMembers<Type>;
    } else if constexpr (sound::packing::kIsArray<Type>) {
        type.kind = Kind::kArray;
        type.element = &kFieldType<typename Type::value_type>;
        type.count = std::tuple_size_v<Type>;
    } else if constexpr (std::same_as<Type, bool>) {
        type.kind = Kind::kBool;
    } else if constexpr (std::integral<Type>) {
        // Only 32 of a 64-bit field's bits travel.
        using Carried = std::conditional_t<(sizeof(Type) > 4), std::int32_t, Type>;
        type.kind = Kind::kInteger;
        // NOLINTNEXTLINE(bugprone-signed-char-misuse): a number, not a character
        type.least = std::numeric_limits<Carried>::min();
        type.most = std::numeric_limits<Carried>::max();
    } else {
        static_assert(std::same_as<Type, std::string>);
    }
    return type;
}

}  // namespace detail

/// The fields of a record or an array, one level down.
Fields membersOf(Field const& field);

/// The types of a record's members.
std::vector<FieldType const*> memberTypes(FieldType const& record);

/// The fields of a message, from its arguments. A lone record's members are the message's fields;
/// bare arguments are the fields themselves.
template <class... Types>
Fields fieldsOf(Types const&... arguments) {
    if constexpr (sizeof...(Types) == 1 && (sound::packing::Record<Types> && ...)) {
        return (membersOf({&detail::kFieldType<Types>, const_cast<Types*>(&arguments)}), ...);
    } else {
        return {Field{&detail::kFieldType<Types>, const_cast<Types*>(&arguments)}...};
    }
}

/// Reads or writes an integer field. The value written must be in the type's range.
std::int64_t integerOf(Field const& field);
void setInteger(Field const& field, std::int64_t value);

/// The name of a field by its index.
std::string fieldName(std::size_t index);

/// The name to show for it: the user's, if there is one.
std::string shownName(FieldNote const* note, std::size_t index);

/// The name to show for a field inside another: "field46.field1", or "field1" at the top.
std::string memberPath(std::string const& record, FieldNote const* note, std::size_t index);
std::string elementPath(std::string const& array, std::size_t index);

/// A type as a user reads it: "uint8", "string", "int32[20]", "{field1-field3 uint32}".
std::string typeName(FieldType const& type);

/// Names and types of consecutive fields, with one entry for neighbours of the same type.
std::string describe(std::span<FieldType const* const> types);

/// What an integer takes: its type's range, or the narrower one that the user has given.
Range rangeOf(FieldType const& integer, FieldNote const* note);

/// What a scalar accepts: "a uint8 from 0 to 255".
std::string acceptedValues(Field const& scalar);

/// Calls @p visit(path, scalar) for each scalar, inside records and arrays too, in order.
void visitScalars(Fields const& fields,
                  std::function<void(std::string const& path, Field const& scalar)> const& visit);

}  // namespace tools
