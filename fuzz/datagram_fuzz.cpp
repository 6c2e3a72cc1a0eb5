// A datagram of any content: its header, what a session makes of it, and its message's header.
#include <cstdlib>

#include "Datagram.h"
#include "Link.h"
#include "MessageHeader.h"

namespace {

using desktop::Bytes;

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
    auto const messageAgain = desktop::encodeMessageHeader(desktop::decodeMessageHeader(message));
    if (!std::equal(messageAgain.begin(), messageAgain.end(), message.begin())) std::abort();
    return 0;
}
