// Converts packed records to and from their form on the wire by walking their byte-order tables.
#pragma once

#include <cstdint>
#include <span>

#include "bytes.h"
#include "csp/endian.h"

namespace desktop {

/// Appends a record's wire form.
/// @param limit  the size that @p out must not exceed
/// @return 0; -EINVAL for a string that has a length but no characters; -EMSGSIZE beyond the
///         limit. After a failure @p out holds anything.
std::int32_t encodeRecord(cspEndianTable_t const& table, void const* record, std::size_t limit,
                          Bytes& out);

/// Rebuilds a record from its wire form. Its strings refer to the characters in @p wire.
/// @param record  overwritten; becomes table.size bytes long
/// @return null, or what is wrong with @p wire
char const* decodeRecord(cspEndianTable_t const& table, std::span<std::uint8_t> wire,
                         Bytes& record);

}  // namespace desktop
