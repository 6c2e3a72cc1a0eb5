#pragma once

#include <boost/shared_ptr.hpp>
#include <functional>

#include "message_list.h"

namespace sound::control {

/// Called for each notification, on the transport's delivery thread.
using NotificationSink =
    std::function<void(reflection::Notification const& notification, tools::Json const& arguments)>;

/// This process as a client of the sound service.
class Client {
public:
    /// @throws tools::Failure when it does not start. It does so without a service, too.
    Client();

    /// Has notifications handed to @p sink from now on, instead of the one before. When it
    /// returns, the one before is not running any more.
    void listen(NotificationSink sink);

    /// @throws tools::Failure when there is no service
    void send(reflection::Command const& command, reflection::Request const& request);

private:
    class Listener;
    boost::shared_ptr<Listener> listener_;
};

}  // namespace sound::control
