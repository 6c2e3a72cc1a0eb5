#pragma once

#include <boost/shared_ptr.hpp>
#include <functional>

#include "message_list.h"

namespace sound::reflection {

/// Called for each notification, on the transport's delivery thread.
using NotificationSink =
    std::function<void(Notification const& notification, tools::Json const& arguments)>;

/// This process as a client of the sound service.
class Client {
public:
    enum class Proxy { kStart, kIsStarted };

    /// @param proxy  whether somebody else in this process has started it: each start forgets who
    ///               has registered
    /// @throws tools::Failure when it does not start. It does so without a service, too.
    explicit Client(Proxy proxy = Proxy::kStart);

    /// Has notifications handed to @p sink from now on, instead of the one before. When it
    /// returns, the one before is not running any more.
    void listen(NotificationSink sink);

    /// @throws tools::Failure when there is no service
    void send(Command const& command, Request const& request);

private:
    class Listener;
    boost::shared_ptr<Listener> listener_;
};

}  // namespace sound::reflection
