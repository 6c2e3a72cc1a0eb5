// Clients that say anything to a live service, and one that does as it should: it has to be served
// meanwhile and afterwards, in the session that it had from the beginning.
#include "desktop/Service.h"
#include "live_session.h"

namespace desktop {
namespace {

using namespace std::chrono_literals;

Limits shortLimits() {
    Limits limits;
    limits.link.pingsUnanswered = 20;
    limits.holdBack = limits.flush = limits.standInDelay = 1ms;
    limits.notificationsBehind = 4;
    limits.queueFull = 4;
    limits.commandsHeld = 4;
    limits.clients = 3;
    return limits;
}

/// Enough on a busy machine.
constexpr std::chrono::seconds kPatience{20};

Limits patientLimits() {
    Limits limits;
    limits.registration = limits.stall = kPatience;
    limits.link.pingsUnanswered = 20;
    limits.flush = 1ms;
    return limits;
}

/// Tells all clients of each command, as a service of state does.
class Echo {
public:
    explicit Echo(std::string const& address) : service(address, {}, shortLimits()) {
        inbox_.react = [this](std::uint32_t number, frame::TransportInfo const& sender) {
            test::sendNumber(service.ioModule(), test::kNotification, number);
            test::sendNumber(service.ioModule(), test::kNotification, number, &sender);
        };
        frameLmqIOServiceRegisterMessageHandlerFunction(service.ioModule(), test::kCommand,
                                                        &test::Inbox::receive, &inbox_,
                                                        &test::kNumberTable);
        service.start();
    }

private:
    test::Inbox inbox_;

public:
    Service service;  // last: its threads use the inbox
};

/// What the client says is told to all and to itself.
void isServed(fuzz::Client& client) {
    auto const expected = client.told() + 2;
    if (client.send(test::kCommand, fuzz::kLast) != 0) std::abort();
    if (!test::eventually([&] { return client.told() >= expected; }, kPatience)) std::abort();
}

void run(FuzzedDataProvider& input) {
    auto const address = LocalSocket().address();
    Echo const echo(address);
    fuzz::Client witness(address, patientLimits(), true);
    isServed(witness);
    std::array<test::Peer, 3> peers{test::Peer(address), test::Peer(address), test::Peer(address)};
    while (input.remaining_bytes() > 0) {
        auto& peer = peers[input.ConsumeIntegralInRange<std::size_t>(0, 2)];
        if (input.ConsumeIntegralInRange(0, 7) == 0) {
            peer.say(Kind::kHello, 0, input.ConsumeIntegral<std::uint8_t>());
        } else {
            fuzz::sayAnything(input, peer, test::kCommand);
        }
    }
    isServed(witness);
}

}  // namespace
}  // namespace desktop

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size) {
    FuzzedDataProvider input(data, size);
    desktop::run(input);
    return 0;
}
