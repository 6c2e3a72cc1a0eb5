// A peer that says anything, to a live end of the transport.
#pragma once

#include <fuzzer/FuzzedDataProvider.h>

#include "ClientConnection.h"
#include "Peer.h"

namespace desktop::fuzz {

/// By the message with this number, an end is seen to do as it should.
inline constexpr std::uint32_t kLast = 0xFEEDC0DE;

/// A live client, which counts the notifications with kLast.
class Client : private frame::IOConnectionListener {
public:
    /// @param isKept  whether it has to keep its session
    Client(std::string const& address, Limits const& limits, bool isKept)
        : isKept_(isKept), connection_(Address::parse(address), limits) {
        inbox_.react = [this](std::uint32_t number, auto const&) {
            if (number == kLast) ++told_;
        };
        auto* const module = connection_.addModule(*this);
        for (auto const& header : {test::kNotification, test::kAnnouncement}) {
            connection_.dispatcher().add({module, header.interfaceCode, header.messageId,
                                          &test::Inbox::receive, &inbox_, &test::kNumberTable});
        }
        connection_.dispatcher().activate(module);
    }
    ~Client() {
        connection_.close();
        connection_.stopDelivery();
    }
    Client(Client const&) = delete;
    Client& operator=(Client const&) = delete;

    std::int32_t send(frameLmqMessageHeader_t const& header, std::uint32_t number) {
        auto payload = newPayload();
        payload->bytes = test::message(header, number);
        return connection_.send(std::move(payload));
    }
    int told() const { return told_; }

private:
    void onIOConnectionConnected() override {}
    void onIOConnectionConnectionFailed(int /*error*/) override {
        if (isKept_) std::abort();
    }
    void onIOConnectionDisconnected(int error) override {
        if (isKept_ && error != 0) std::abort();
    }

    bool const isKept_;
    std::atomic<int> told_ = 0;
    test::Inbox inbox_;
    ClientConnection connection_;  // last: its threads use the rest
};

/// @param call  the header of the message that the end knows
inline void sayAnything(FuzzedDataProvider& input, test::Peer& peer,
                        frameLmqMessageHeader_t const& call) {
    if (input.ConsumeIntegralInRange(0, 7) == 0) {
        return peer.say(
            input.ConsumeBytes<std::uint8_t>(input.ConsumeIntegralInRange<std::size_t>(0, 80)));
    }
    // Mostly such numbers as a session has at its beginning.
    auto const number = [&input] {
        return input.ConsumeIntegralInRange(0, 15) == 0
                   ? input.ConsumeIntegral<std::uint32_t>()
                   : std::uint32_t{input.ConsumeIntegralInRange<std::uint8_t>(0, 12)};
    };
    auto const session = peer.session + (input.ConsumeIntegralInRange(0, 31) == 0 ? 1 : 0);
    auto const kind = static_cast<Kind>(input.ConsumeIntegralInRange<std::uint8_t>(0, 9));
    if (kind != Kind::kData && static_cast<std::uint8_t>(kind) < 8) {
        return peer.say({kind, session, 0, number(), number()}, {});
    }
    auto content = test::message(call, number());
    if (input.ConsumeIntegralInRange(0, 15) == 0) {
        content.resize(input.ConsumeIntegralInRange<std::size_t>(0, 2 * content.size()));
    }
    peer.say({Kind::kData, session, number(), number(), number()}, content);
}

}  // namespace desktop::fuzz
