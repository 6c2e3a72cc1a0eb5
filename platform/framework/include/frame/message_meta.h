/// @file
/// The small records that the framework passes along with every message.
#pragma once

#include <array>
#include <cstdint>

namespace frame {

/// Identifies a message to whoever wants to match an answer with its question. The library
/// hands it through and never looks inside.
struct MsgIds {
    std::array<std::uint32_t, 2> words;

    /// Stands for "no identification". Shared and passed by non-const reference: leave it alone.
    static MsgIds none;
};
static_assert(sizeof(MsgIds) == 8);

/// Where a message came from. Its words are the transport's own.
struct TransportInfo {
    std::array<std::uint32_t, 7> words;
};
static_assert(sizeof(TransportInfo) == 28);

/// What the transport knows of a received message besides its record.
struct MsgMeta {
    std::uint32_t interfaceCode;
    std::uint32_t messageId;
    MsgIds msgIds;  ///< as the sender gave it
};

}  // namespace frame
