// A service that says anything to a live client, which afterwards has to do as before.
#include "desktop/streams.h"
#include "live_session.h"

namespace desktop {
namespace {

using namespace std::chrono_literals;

Limits shortLimits() {
    Limits limits;
    limits.link.pingInterval = limits.link.pingRepeat = 5ms;
    limits.firstHello = limits.lastHello = 2ms;
    limits.registration = limits.stall = limits.flush = 1ms;
    limits.standInDelay = 1ms;
    limits.commandsQueued = 4;
    limits.notificationsHeld = 4;
    return limits;
}

void step(FuzzedDataProvider& input, test::Peer& service, fuzz::Client& client) {
    switch (input.ConsumeIntegralInRange(0, 9)) {
        case 0:
            client.send(test::kCommand, 1);
            return;
        case 1:
            client.send(test::kSwitch, 1);
            return;
        case 2:
            while (service.canHear()) service.session = service.hear().session;
            return;
        default:
            fuzz::sayAnything(input, service,
                              input.ConsumeBool() ? test::kNotification : test::kAnnouncement);
    }
}

/// Ends sessions until the client begins one, which then carries a notification.
void serve(test::Peer& service, fuzz::Client const& client) {
    while (client.told() == 0) {
        auto const header = service.hear();
        service.session = header.session;
        if (header.kind != Kind::kHello) {
            service.say(Kind::kReset);
            continue;
        }
        service.say(Kind::kWelcome);
        service.say(0, test::message(test::kNotification, fuzz::kLast));
    }
}

void run(FuzzedDataProvider& input) {
    test::Peer service;
    fuzz::Client client(service.address(), shortLimits(), false);
    service.welcome();
    while (input.remaining_bytes() > 0) step(input, service, client);
    serve(service, client);
}

}  // namespace
}  // namespace desktop

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size) {
    desktop::declareStream(desktop::test::kSwitch, desktop::test::kAnnouncement);
    FuzzedDataProvider input(data, size);
    desktop::run(input);
    return 0;
}
