#pragma once

#include <atomic>
#include <boost/shared_ptr.hpp>
#include <cstddef>
#include <memory>
#include <vector>

#include "Mailbox.h"
#include "message_list.h"
#include "Values.h"

namespace sound::python {

struct Heard {
    std::size_t notification;  ///< its index in the list
    Values arguments;
};

/// Notifications on their way to one who wants to hear some of them.
class Inbox {
public:
    /// @param wanted  the notifications' indices; all when there is none
    explicit Inbox(std::vector<std::size_t> wanted) : wanted_(std::move(wanted)) {}

    bool wants(std::size_t notification) const;

    /// Delivery thread.
    void take(Heard const& heard);

    Mailbox<Heard>& mailbox() { return mailbox_; }

    /// How many found no room, since nobody took those before them.
    std::size_t overruns() const { return overruns_; }

private:
    std::vector<std::size_t> const wanted_;
    Mailbox<Heard> mailbox_;
    std::atomic<std::size_t> overruns_ = 0;
};

/// This process as a client of the sound service.
class Client {
public:
    /// It starts without a service, too.
    /// @throws tools::Failure when it does not start
    Client();
    ~Client();
    Client(Client const&) = delete;
    Client& operator=(Client const&) = delete;

    /// @return the transport's status, negative when the command was not sent
    std::int32_t send(reflection::Command const& command, Values const& arguments);

    /// Has notifications put there from now on, until it is closed.
    void listen(std::shared_ptr<Inbox> inbox);

    /// Hears and sends nothing any more.
    void close();

private:
    class Listener;
    boost::shared_ptr<Listener> listener_;
};

}  // namespace sound::python
