/// @file
/// Waiting until notifications that are being delivered have been.
#pragma once

#include <boost/make_shared.hpp>
#include <chrono>
#include <future>
#include <utility>

#include "sound/ClientInterfaceListener.h"
#include "sound/ServiceInterface.h"

namespace sound {

/// Tells when every notification, and with it every audio callback, that was in progress has
/// returned. It needs no service and nothing of the platform but the interface.
///
/// A notification in progress holds a reference to each client that was registered when it began.
/// So a client that has been removed, and that nobody else holds, is destroyed when the last of
/// them ends.
/// @code
/// sound::DeliveryBarrier barrier(*listener->getSrvIf());  // once, before the first callback
/// ...
/// set_audioCallback(0, ignoreAudio, NULL);
/// if (barrier.wait(std::chrono::seconds(1))) delete state;
/// @endcode
class DeliveryBarrier {
public:
    /// @param service  must outlive the barrier. Notifications that are in progress now are none of
    ///                 those that wait() knows of.
    explicit DeliveryBarrier(ServiceInterface& service) : service_(service), tracker_(track()) {}
    ~DeliveryBarrier() { service_.removeClient(tracker_.client); }
    DeliveryBarrier(DeliveryBarrier const&) = delete;
    DeliveryBarrier& operator=(DeliveryBarrier const&) = delete;

    /// Waits for the notifications that are in progress. One thread at a time. From inside a
    /// notification it waits in vain.
    /// @param limit  how long at most
    /// @return whether all of them have returned
    /// @throws std::bad_alloc
    bool wait(std::chrono::milliseconds limit) {
        auto old = std::exchange(tracker_, track());
        service_.removeClient(old.client);
        old.client.reset();
        return old.ended.wait_for(limit) == std::future_status::ready;
    }

private:
    /// Hears nothing, and says when it ends.
    class Client : public ClientInterfaceListener {
    public:
        Client() : ClientInterfaceListener(nullptr, 0, 0) {}
        ~Client() override { ended.set_value(); }
        Client(Client const&) = delete;
        Client& operator=(Client const&) = delete;

        std::promise<void> ended;
    };
    struct Tracker {
        boost::shared_ptr<ClientInterface> client;
        std::future<void> ended;
    };

    Tracker track() {
        auto const client = boost::make_shared<Client>();
        Tracker tracker{client, client->ended.get_future()};
        service_.addClient(client);
        return tracker;
    }

    ServiceInterface& service_;
    Tracker tracker_;
};

}  // namespace sound
