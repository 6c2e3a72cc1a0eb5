// The client's end of the transport: one connection of this process to the service.
#pragma once

#include <condition_variable>
#include <cstdint>
#include <memory>
#include <span>
#include <vector>

#include "Address.h"
#include "Dispatcher.h"
#include "Endpoint.h"
#include "frame/AbstractMarshallingImpl.h"
#include "IoModule.h"
#include "Link.h"

namespace desktop {

/// Registers with the service, and again whenever that has forgotten this process or was away.
///
/// A command that was sent but not acknowledged goes out again in a new session when the service
/// has forgotten the old one, and is lost, with a log line, when the service was away. What has
/// been asked of a stream outlives both.
class ClientConnection final : private Endpoint::Protocol {
public:
    /// @throws std::system_error when the system has no socket or thread left
    explicit ClientConnection(Address const& service, Limits const& limits = {});
    ~ClientConnection();
    ClientConnection(ClientConnection const&) = delete;
    ClientConnection& operator=(ClientConnection const&) = delete;

    /// @param listener  hears about the connection, on the delivery thread, while the module is
    ///                  active
    IoModule* addModule(frame::IOConnectionListener& listener);
    Dispatcher& dispatcher() { return dispatcher_; }

    /// Has modules that have become active hear of a connection that was there before them.
    void announce();

    /// Sends one message. Waits, in bounded time, for the registration and for room.
    std::int32_t send(Payload message);

    /// Gives what is not acknowledged yet a short time, says goodbye and takes in nothing more.
    void close();

    /// Ends the delivery thread too; call once nothing runs on it.
    void stopDelivery() { endpoint_.join(); }

private:
    class Module;
    using Event = Delivery::Event;
    using Lock = Endpoint::Lock;
    enum class State { kRegistering, kRegistered, kClosed };

    void receive(DatagramHeader const& header, std::span<std::uint8_t const> message,
                 Address const& from, TimePoint now) override;
    char const* refuse(Kind kind) const override;
    void peerIsMissing(Address const& peer, TimePoint now) override;
    TimePoint serve(TimePoint now) override;
    bool take(Delivery const& delivery, TimePoint now) override;
    void deliver(Delivery& delivery) override;

    bool trustsService(TimePoint now);
    void beginSession(TimePoint now);
    void sayHello(TimePoint now);
    void becomeRegistered(TimePoint now);
    void registerAgain(TimePoint now);
    void refuseRegistration(int error);
    void loseService(int error, TimePoint now);
    void dropCommands();
    void flush(TimePoint now);
    void push(Event event, int error);
    void reportStuckReceiver(TimePoint now);

    std::int32_t awaitRegistration(Lock& lock);
    std::int32_t awaitRoom(Lock& lock);

    Address const service_;
    Address::Text const serviceText_;
    Dispatcher dispatcher_;

    // Guarded by the endpoint's lock:
    std::condition_variable changed_;
    State state_ = State::kRegistering;
    Link link_;
    TimePoint helloAt_;
    Limits::milliseconds helloInterval_;
    bool trusted_ = true;  // as far as is known
    TimePoint askAgainAt_;
    bool distrustReported_ = false;
    std::uint32_t refusals_ = 0;
    int refusal_ = 0;
    bool failureReported_ = false;
    bool missed_ = false;  // the log has said that there is no service
    TimePoint stuckReported_;
    std::vector<std::unique_ptr<Module>> modules_;

    Endpoint endpoint_;  // last: its threads use everything above
};

}  // namespace desktop
