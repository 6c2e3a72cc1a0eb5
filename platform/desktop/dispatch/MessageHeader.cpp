#include "MessageHeader.h"

#include "bytes.h"

namespace desktop {

std::array<std::uint8_t, kMessageHeaderSize> encodeMessageHeader(MessageHeader const& message) {
    std::array<std::uint8_t, kMessageHeaderSize> bytes{};
    storeBig32(&bytes[0], message.header.leadingWord);
    storeBig32(&bytes[4], message.header.interfaceCode);
    storeBig32(&bytes[8], message.header.messageId);
    bytes[12] = message.header.notification;
    storeBig32(&bytes[16], message.msgIds.words[0]);
    storeBig32(&bytes[20], message.msgIds.words[1]);
    return bytes;
}

char const* checkMessageHeader(std::span<std::uint8_t const> message) {
    if (message.size() < kMessageHeaderSize) return "shorter than a message's header";
    if (message[12] > 1) return "notification flag is neither 0 nor 1";
    if (message[13] != 0 || message[14] != 0 || message[15] != 0) {
        return "reserved bytes are not zero";
    }
    return nullptr;
}

MessageHeader decodeMessageHeader(std::span<std::uint8_t const> message) {
    return {{loadBig32(&message[0]), loadBig32(&message[4]), loadBig32(&message[8]), message[12]},
            {{loadBig32(&message[16]), loadBig32(&message[20])}}};
}

}  // namespace desktop
