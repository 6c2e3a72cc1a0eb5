// A service that says anything to a live client, which afterwards has to do as before.
#include "ClientConnection.h"
#include "desktop/streams.h"
#include "live_session.h"

namespace desktop {
namespace {

using namespace std::chrono_literals;

constexpr std::uint32_t kLast = 0xFEEDC0DE;

class Listener : public frame::IOConnectionListener {
public:
    void onIOConnectionConnected() override {}
    void onIOConnectionConnectionFailed(int /*error*/) override {}
    void onIOConnectionDisconnected(int /*error*/) override {}
};

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

void send(ClientConnection& client, frameLmqMessageHeader_t const& header) {
    auto payload = newPayload();
    payload->bytes = test::message(header, 1);
    client.send(std::move(payload));
}

void step(FuzzedDataProvider& input, test::Peer& service, ClientConnection& client) {
    switch (input.ConsumeIntegralInRange(0, 9)) {
        case 0:
            return send(client, test::kCommand);
        case 1:
            return send(client, test::kSwitch);
        case 2:
            while (service.canHear()) service.session = service.hear().session;
            return;
        default:
            fuzz::sayAnything(input, service,
                              input.ConsumeBool() ? test::kNotification : test::kAnnouncement);
    }
}

/// Ends sessions until the client begins one, which then carries a notification.
void serve(test::Peer& service, std::atomic<bool> const& arrived) {
    while (!arrived) {
        auto const header = service.hear();
        service.session = header.session;
        if (header.kind != Kind::kHello) {
            service.say(Kind::kReset);
            continue;
        }
        service.say(Kind::kWelcome);
        service.say(0, test::message(test::kNotification, kLast));
    }
}

void run(FuzzedDataProvider& input) {
    test::Peer service;
    test::Inbox inbox;
    std::atomic<bool> arrived = false;
    inbox.react = [&arrived](std::uint32_t number, auto const&) {
        if (number == kLast) arrived = true;
    };
    Listener listener;
    ClientConnection client(Address::parse(service.address()), shortLimits());
    auto* const module = client.addModule(listener);
    for (auto const& header : {test::kNotification, test::kAnnouncement}) {
        client.dispatcher().add({module, header.interfaceCode, header.messageId,
                                 &test::Inbox::receive, &inbox, &test::kNumberTable});
    }
    client.dispatcher().activate(module);
    service.welcome();
    while (input.remaining_bytes() > 0) step(input, service, client);
    serve(service, arrived);
    client.close();
    client.stopDelivery();
}

}  // namespace
}  // namespace desktop

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size) {
    desktop::declareStream(desktop::test::kSwitch, desktop::test::kAnnouncement);
    FuzzedDataProvider input(data, size);
    desktop::run(input);
    return 0;
}
