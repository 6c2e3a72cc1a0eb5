// A datagram of any content, on its way to a receiver: header, flow control, record, arguments.
#include <cstdlib>
#include <cstring>

#include "Datagram.h"
#include "Link.h"
#include "MessageHeader.h"
#include "RecordCodec.h"
#include "sound/message_records.h"

namespace {

using desktop::Bytes;
using sound::MessageId;

/// What is accepted has one form only, and its record can be unpacked.
template <MessageId kId>
void receive(std::span<std::uint8_t> wire) {
    auto const& table = *sound::Message<kId>::kTable;
    Bytes record;
    if (desktop::decodeRecord(table, wire, record) != nullptr) return;
    Bytes again;
    if (desktop::encodeRecord(table, record.data(), desktop::kMaxMessage, again) != 0 ||
        !std::equal(again.begin(), again.end(), wire.begin(), wire.end())) {
        std::abort();
    }
    sound::Message<kId>::Record::unpack(record.data(), [](auto const&... /*arguments*/) {});
}

void receive(std::uint32_t messageId, std::span<std::uint8_t> wire) {
    switch (static_cast<MessageId>(messageId)) {
#define AUDVIK_COMMAND(NAME, ...)            \
    case MessageId::cmd##NAME:               \
        receive<MessageId::cmd##NAME>(wire); \
        break;
#define AUDVIK_NOTIFICATION(NAME, ...)              \
    case MessageId::on##NAME##Notify:               \
        receive<MessageId::on##NAME##Notify>(wire); \
        break;
#include "sound/messages.def"
        default:
            break;
    }
}

/// A session with messages under way, as the datagram's sender may know it.
void exchange(desktop::DatagramHeader const& header) {
    desktop::TimePoint const now{std::chrono::hours(1)};
    desktop::Link link(header.session, 4, {}, now);
    for (int i = 0; i < 3; ++i) {
        auto payload = desktop::newPayload();
        payload->bytes.resize(8);
        link.send(std::move(payload), now);
    }
    while (link.next(now)) continue;
    bool const isNew = link.receive(header, 8, now);
    if (isNew != (header.kind == desktop::Kind::kData && header.sequence == 0)) std::abort();
    while (link.next(now)) continue;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size) {
    Bytes datagram(data, data + size);
    desktop::DatagramHeader header;
    if (desktop::decodeHeader(datagram, header) != nullptr) return 0;
    auto const again = desktop::encodeHeader(header);
    if (!std::equal(again.begin(), again.end(), datagram.begin())) std::abort();
    exchange(header);
    if (header.kind != desktop::Kind::kData) return 0;
    auto const message = std::span(datagram).subspan(desktop::kHeaderSize);
    if (desktop::checkMessageHeader(message) != nullptr) return 0;
    receive(desktop::decodeMessageHeader(message).header.messageId,
            message.subspan(desktop::kMessageHeaderSize));
    return 0;
}
