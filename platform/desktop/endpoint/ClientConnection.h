// The client's end of the transport: one connection of this process to the service.
#pragma once

#include <condition_variable>
#include <cstdint>
#include <memory>
#include <mutex>
#include <span>
#include <string>
#include <vector>

#include "Address.h"
#include "DeliveryThread.h"
#include "Dispatcher.h"
#include "frame/AbstractMarshallingImpl.h"
#include "IoModule.h"
#include "IoThread.h"
#include "Link.h"
#include "MalformedLog.h"
#include "UdpSocket.h"

namespace desktop {

/// Registers with the service, and again whenever that has forgotten this process or was away.
///
/// A command that was sent but not acknowledged goes out again in a new session when the service
/// has forgotten the old one, and is lost, with a log line, when the service was away.
class ClientConnection {
public:
    /// @throws std::system_error when the system has no socket or thread left
    explicit ClientConnection(Address const& service);
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

    /// Gives what is not acknowledged yet a short time, says goodbye and ends the IO thread.
    void close();

    /// Ends the delivery thread too; call once nothing runs on it.
    void stopDelivery();

private:
    class Module;

    enum class State { kRegistering, kRegistered, kClosed };
    enum class Event { kMessage, kConnected, kConnectionFailed, kDisconnected };
    struct Tag {
        Event event;
        int error;
        frame::TransportInfo sender;
    };
    using Lock = std::unique_lock<std::mutex>;

    TimePoint turn();
    bool receiveAll(TimePoint now);
    void receive(std::span<std::uint8_t const> datagram, TimePoint now);
    void flush(TimePoint now);

    void beginSession();
    void sayHello(TimePoint now);
    void becomeRegistered();
    void registerAgain();
    void refused();
    void loseService(int error);
    void dropCommands();

    std::int32_t awaitRegistration(Lock& lock);
    std::int32_t awaitRoom(Lock& lock);

    void taken(Tag const& tag);
    void deliver(Tag const& tag, std::span<std::uint8_t> message);

    Address const service_;
    std::string const serviceText_;
    UdpSocket socket_;
    Dispatcher dispatcher_;
    MalformedLog malformed_;

    std::mutex mutex_;  // guards what follows
    std::condition_variable changed_;
    State state_ = State::kRegistering;
    Link link_;
    TimePoint helloAt_;
    std::chrono::milliseconds helloInterval_{};
    std::uint32_t refusals_ = 0;
    bool failureReported_ = false;
    std::vector<std::unique_ptr<Module>> modules_;
    DeliveryThread<Tag> delivery_;
    IoThread io_;  // last: its turns use everything above
};

}  // namespace desktop
