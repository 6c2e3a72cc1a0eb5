#include "Datagram.h"

#include "bytes.h"

namespace desktop {

namespace {

constexpr std::uint32_t kMagic = 0x4C4D5132;  // "LMQ2"
constexpr std::uint8_t kVersion = 1;

}  // namespace

std::array<std::uint8_t, kHeaderSize> encodeHeader(DatagramHeader const& header) {
    std::array<std::uint8_t, kHeaderSize> bytes{};
    storeBig32(&bytes[0], kMagic);
    bytes[4] = kVersion;
    bytes[5] = static_cast<std::uint8_t>(header.kind);
    storeBig32(&bytes[8], static_cast<std::uint32_t>(header.session >> 32));
    storeBig32(&bytes[12], static_cast<std::uint32_t>(header.session));
    storeBig32(&bytes[16], header.sequence);
    storeBig32(&bytes[20], header.acknowledge);
    storeBig32(&bytes[24], header.credit);
    return bytes;
}

char const* decodeHeader(std::span<std::uint8_t const> datagram, DatagramHeader& header) {
    if (datagram.size() < kHeaderSize) return "shorter than a header";
    if (loadBig32(&datagram[0]) != kMagic) return "not of this transport";
    if (datagram[4] != kVersion) return "of another version";
    if (datagram[5] < static_cast<std::uint8_t>(Kind::kHello) ||
        datagram[5] > static_cast<std::uint8_t>(Kind::kReset)) {
        return "of an unknown kind";
    }
    if (datagram[6] != 0 || datagram[7] != 0) return "reserved bytes are not zero";

    header.kind = static_cast<Kind>(datagram[5]);
    header.session = std::uint64_t{loadBig32(&datagram[8])} << 32 | loadBig32(&datagram[12]);
    header.sequence = loadBig32(&datagram[16]);
    header.acknowledge = loadBig32(&datagram[20]);
    header.credit = loadBig32(&datagram[24]);
    if (header.session == 0) return "session 0";

    if (header.kind != Kind::kData) {
        if (header.sequence != 0) return "a sequence number without a message";
        return datagram.size() == kHeaderSize ? nullptr : "bytes after the header";
    }
    return nullptr;
}

}  // namespace desktop
