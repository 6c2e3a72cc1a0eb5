// A peer for one end of the transport.
#pragma once

#include "Address.h"
#include "bytes.h"
#include "Datagram.h"
#include "MessageHeader.h"
#include "test_support.h"

namespace desktop::test {

inline Bytes message(frameLmqMessageHeader_t const& header, std::uint32_t number) {
    auto const start = encodeMessageHeader({header, {}});
    Bytes bytes(start.begin(), start.end());
    bytes.resize(bytes.size() + 4);
    storeBig32(&bytes[kMessageHeaderSize], number);
    return bytes;
}

/// The other end of a session, whose datagrams the test makes itself.
class Peer {
public:
    /// @param end      whom it talks to; whoever it has heard last if left out
    /// @param address  where it is; a free port if left out
    explicit Peer(std::string end = "", std::string const& address = ownHost() + ":0")
        : socket_(SOCK_DGRAM, address), end_(std::move(end)) {}

    std::string const& address() const { return socket_.address(); }
    std::string const& end() const { return end_; }
    frame::TransportInfo info() const {
        auto const [host, port] = Address::parse(address());
        return {{host, port, 0, 77, ~0U, ~0U, ~0U}};
    }

    void say(Kind kind, std::uint32_t acknowledge = 0, std::uint32_t credit = 100) {
        say({kind, session, 0, acknowledge, credit}, {});
    }
    void say(std::uint32_t sequence, Bytes const& content) {
        say({Kind::kData, session, sequence, 0, 100}, content);
    }
    void say(DatagramHeader const& header, Bytes const& content) {
        auto const start = encodeHeader(header);
        Bytes datagram(start.begin(), start.end());
        datagram.insert(datagram.end(), content.begin(), content.end());
        say(datagram);
    }
    /// Whatever it is.
    void say(Bytes const& datagram) const { socket_.send(end_, datagram); }

    /// @return the header of the next datagram
    /// @throws std::runtime_error when none comes
    DatagramHeader hear() {
        auto const datagram = socket_.receive(end_);
        DatagramHeader header{};
        auto const* const wrong = decodeHeader(datagram, header);
        if (wrong != nullptr) throw std::runtime_error(wrong);
        if (header.kind == Kind::kData) number = loadBig32(&datagram.at(52));
        return header;
    }

    /// Whether hear() need not wait.
    bool canHear() const { return socket_.hasReceived(); }

    /// Passes over what comes before a datagram of that kind.
    DatagramHeader hear(Kind kind) {
        DatagramHeader header{};
        while (header.kind != kind) header = hear();
        return header;
    }

    /// Takes part in the registration of a client.
    void welcome(std::uint32_t credit = 100) {
        session = hear(Kind::kHello).session;
        say(Kind::kWelcome, 0, credit);
    }
    /// Registers.
    void join(std::uint32_t credit = 100) {
        say(Kind::kHello, 0, credit);
        EXPECT_EQ(hear().kind, Kind::kWelcome);
    }

    std::uint64_t session = 77;
    std::uint32_t number = 0;  ///< in the last message heard

private:
    LocalSocket socket_;
    std::string end_;
};

}  // namespace desktop::test
