/// @file
/// The service's end of the desktop transport.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>

#include "desktop/Limits.h"
#include "frame/message_meta.h"

namespace desktop {

/// Binds the address of a service and, from start() on, exchanges messages with every client
/// process that registers there.
///
/// Its IO module works with the platform's two transport functions:
/// - frameLmqIOServiceRegisterMessageHandlerFunction() has commands received, on this object's
///   own delivery thread; their TransportInfo names the client that sent them.
/// - frameLmqIOServiceSendStructure() sends to the client that its destination names, or to every
///   registered client when that is null. It never waits: each client has its own bounded queue,
///   and one whose queue stays full for too long is dropped. It returns -ENOTCONN when the
///   destination is no client (any more) and, for a single destination, -EAGAIN when that
///   client's queue is full.
class Service {
public:
    /// Called on the delivery thread when a client has gone or was dropped.
    using ClientGone = std::function<void(frame::TransportInfo const& client)>;

    /// @param address     "host:port", IPv4
    /// @param clientGone  hears about each client that goes; may be empty
    /// @param limits      the defaults serve everybody but tests
    /// @throws std::system_error when the address cannot be bound (EADDRINUSE: it is taken)
    /// @throws std::invalid_argument when it is not of that form; the text says what is wrong
    Service(std::string const& address, ClientGone clientGone, Limits const& limits = {});

    /// Begins to receive, what has come since the address was bound first. A command that no
    /// receiver is registered for is dropped, so register them before.
    /// @throws std::system_error when there is no thread to be had
    void start();

    /// Says goodbye to the clients and waits for a running receiver.
    ~Service();
    Service(Service const&) = delete;
    Service& operator=(Service const&) = delete;

    void* ioModule();

    /// @return how many clients are registered. Any thread.
    std::size_t clients();

private:
    class Impl;
    std::unique_ptr<Impl> impl_;
};

/// @param client  as a receiver or ClientGone is told of it
/// @return its address, for example "127.0.0.1:40123"
std::string clientName(frame::TransportInfo const& client);

}  // namespace desktop
