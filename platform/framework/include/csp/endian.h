/// @file
/// Byte-order tables and string references: how a packed record describes itself to the
/// message transport.
#pragma once

#include <cstddef>
#include <cstdint>

struct cspEndianTable_t;

/// What an entry of a byte-order table stands for.
enum cspEndianKind_t : std::uint16_t {
    kCspEndianEnd = 0,     ///< ends the list; the entry's word is all ones
    kCspEndianByte = 1,    ///< a 1-byte scalar
    kCspEndianNested = 3,  ///< a nested record, described by the table that the entry points to
    kCspEndianWord = 4,    ///< a 4-byte scalar in host byte order
};

/// One field of a packed record. Entries stand in ascending offset order and cover the record
/// without gaps; a list without entries describes a record that carries nothing.
struct cspEndianEntry_t {
    std::uint16_t offset;  ///< the field's offset in the packed record, in bytes
    cspEndianKind_t kind;
    union {
        cspEndianTable_t const* nested;  ///< kCspEndianNested: the nested record's table
        std::uintptr_t word;             ///< scalars: 0; kCspEndianEnd: all bits set
    };
};

/// Describes a packed record. Tables are constant and live as long as the object that holds them.
struct cspEndianTable_t {
    std::uint32_t size;               ///< the packed record's size in bytes
    cspEndianEntry_t const* entries;  ///< ends with an entry of kind kCspEndianEnd
};

/// A string inside a packed record: 8 bytes on a 32-bit host, 12 on a 64-bit one, unaligned.
///
/// In a record that is sent, the characters belong to the sender, who frees them when the send
/// has returned. In a record that is received they belong to the transport, are valid until the
/// receiver returns, and have no terminating zero byte that one could rely on.
struct [[gnu::packed]] cspDeserString_t {
    std::uint32_t length;  ///< in bytes, a terminating zero byte not counted
    char* characters;      ///< may be null when @ref length is 0
};
static_assert(sizeof(cspDeserString_t) == sizeof(std::uint32_t) + sizeof(char*));

/// The table of a string reference. A record's table nests it for each string; the transport
/// tells a string by the address of this table.
extern "C" cspEndianTable_t const __csp_EndianTable_cspDeserString_t;
