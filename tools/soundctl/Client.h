#pragma once

#include <boost/shared_ptr.hpp>
#include <functional>
#include <string>
#include <string_view>

#include "Message.h"

namespace sound::control {

/// Called for each notification, on the transport's delivery thread.
using NotificationSink = std::function<void(std::string_view name, tools::Json const& arguments)>;

/// This process as a client of the sound service.
class Client {
public:
    /// @throws Failure when it does not start. It does so without a service, too.
    Client();

    /// Has notifications handed to @p sink from now on, instead of the one before. When it
    /// returns, the one before is not running any more.
    void listen(NotificationSink sink);

    /// @throws Failure when there is no service
    void send(Command const& command, Request const& request);

private:
    class Listener;
    boost::shared_ptr<Listener> listener_;
};

/// Where the sound service is expected.
std::string serviceAddress();

}  // namespace sound::control
