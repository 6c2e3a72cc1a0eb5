/// @file
/// What a record looks like when every field has a value of its own: as plain record, as text and
/// as packed bytes. Packing here goes by the expected interface's descriptions alone.
#pragma once

#include <array>
#include <boost/pfr/core.hpp>
#include <concepts>
#include <cstddef>
#include <cstdint>
#include <list>
#include <map>
#include <string>
#include <string_view>
#include <type_traits>
#include <utility>
#include <vector>

#include "csp/endian.h"

/// What expected_interface.txt says of a record or message.
struct Expected {
    std::uint32_t identifier;  ///< of a message
    std::size_t bytes;
    std::size_t entries;  ///< of a record's table
    std::string fields;
};

/// All of it, by kind and name: {"record", "soundGain_t"}.
std::map<std::pair<std::string, std::string>, Expected> const& expectedInterface();

/// @throws std::out_of_range when nothing of that kind and name is expected
Expected const& expected(std::string const& kind, std::string const& name);

/// A field of a packed record; its type is spelt as in expected_interface.txt.
struct PackedField {
    std::string type;
    bool unwritten;  ///< by default construction
    std::size_t offset;
    std::size_t width;

    bool isNested() const { return type.size() > 1; }
};

/// The fields of a record in order, nested records whole.
std::vector<PackedField> packedFieldsOf(std::string_view description);

/// The scalars and strings of a record, those of nested records included.
std::vector<PackedField> leavesOf(std::string_view description);

std::size_t packedSize(std::string_view description);

/// @return the exported byte-order table of this record or message record, null if there is none
cspEndianTable_t const* exportedTable(std::string const& record);

/// Expects a table to list exactly these fields.
void expectTable(cspEndianTable_t const* table, std::string_view description);

/// The values of the n-th scalar or string of a record. Words differ in all their bytes; after
/// kPasses passes, each flag has been true and false, and no two of a record always alike.
inline constexpr unsigned kPasses = 9;
inline std::uint32_t wordValue(unsigned pass, unsigned n) {
    return 0x7E8DA4C3U + n * 0x03050709U + pass * 0x41312111U;
}
inline std::uint8_t byteValue(unsigned pass, unsigned n) {
    return static_cast<std::uint8_t>(0xFF - 37 * n - pass);
}
inline bool flagValue(unsigned pass, unsigned n) {
    return ((n + 1) >> pass & 1U) != 0;
}
inline std::string textValue(unsigned pass, unsigned n) {
    if ((pass + n) % 3 == 0) return {};
    return std::string("zero\0 inside, ", 14) + std::to_string(pass) + ' ' + std::to_string(n);
}

/// Gives each field of a plain record, or an argument, its value. @p n counts on.
template <class Type>
void fill(Type& value, unsigned pass, unsigned& n) {
    if constexpr (std::is_same_v<Type, bool>) {
        value = flagValue(pass, n++);
    } else if constexpr (std::is_same_v<Type, std::int64_t>) {
        value = (std::int64_t{0x76543210} << 32) | wordValue(pass, n++);
    } else if constexpr (std::integral<Type>) {
        value = sizeof value == 1 ? static_cast<Type>(byteValue(pass, n++))
                                  : static_cast<Type>(wordValue(pass, n++));
    } else if constexpr (std::is_same_v<Type, std::string>) {
        value = textValue(pass, n++);
    } else if constexpr (requires { value.begin(); }) {
        for (auto& element : value) fill(element, pass, n);
    } else {
        boost::pfr::for_each_field(value, [&](auto& field) { fill(field, pass, n); });
    }
}

/// Writes each field of a plain record, or an argument, as text.
template <class Type>
void write(Type const& value, std::vector<std::string>& out) {
    if constexpr (std::is_same_v<Type, std::int64_t>) {
        out.push_back(std::to_string(value));
    } else if constexpr (std::integral<Type>) {
        out.push_back(std::to_string(sizeof value == 1 ? static_cast<std::uint8_t>(value)
                                                       : static_cast<std::uint32_t>(value)));
    } else if constexpr (std::is_same_v<Type, std::string>) {
        out.push_back(value);
    } else if constexpr (requires { value.begin(); }) {
        for (auto const& element : value) write(element, out);
    } else {
        boost::pfr::for_each_field(value, [&](auto const& field) { write(field, out); });
    }
}

/// What write() gives for a record that was filled, packed and unpacked.
std::vector<std::string> expectedText(std::string_view description, unsigned pass);

/// The packed form of a filled record.
struct PackedRecord {
    std::vector<unsigned char> bytes;
    std::list<std::string> texts;  ///< the characters that the bytes refer to
};
PackedRecord expectedRecord(std::string_view description, unsigned pass);

/// The addresses of the strings' characters that a packed record refers to, in order.
std::vector<char*> charactersOf(std::vector<unsigned char> const& bytes,
                                std::string_view description);

/// Expects a packed record to be that of a filled one, with each string terminated.
void expectPacked(std::vector<unsigned char> bytes, std::string_view description, unsigned pass);
