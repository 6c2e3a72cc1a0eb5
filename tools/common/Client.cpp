#include "Client.h"

#include <boost/make_shared.hpp>
#include <cstring>
#include <mutex>

#include "errors.h"
#include "frame/Process.h"
#include "service_address.h"
#include "sound/ClientInterfaceListener.h"
#include "sound/Proxy.h"

namespace sound::reflection {

class Client::Listener : public ClientInterfaceListener {
public:
    Listener() : ClientInterfaceListener(nullptr, 0, 0) {}

    void listen(NotificationSink sink) {
        std::lock_guard const lock(mutex_);
        sink_ = std::move(sink);
    }

#define AUDVIK_NOTIFICATION(NAME, RELATION, COMMAND, ...)                        \
    std::int32_t on##NAME##Notify(frame::MsgIds& /*msgIds*/,                     \
                                  frame::TransportInfo const& /*transportInfo*/  \
                                      AUDVIK_PARAMETERS(__VA_ARGS__)) override { \
        static auto const& notification = findNotification("on" #NAME "Notify"); \
        return report(notification AUDVIK_ARGUMENTS(__VA_ARGS__));               \
    }
#include "sound/messages.def"

private:
    template <class... Types>
    std::int32_t report(Notification const& notification, Types const&... arguments) {
        std::lock_guard const lock(mutex_);
        if (sink_) sink_(notification, tools::argumentsToJson(arguments...));
        return 0;
    }

    std::mutex mutex_;
    NotificationSink sink_;
};

Client::Client(Proxy proxy) : listener_(boost::make_shared<Listener>()) {
    listener_->setSelfReference(listener_);
    std::int32_t status = 0;
    if (proxy == Proxy::kStart) {
        status = frame::Process::getInstance().startAppMembersSync(&CreateSoundProxy);
    }
    if (status >= 0) status = listener_->init();
    if (status < 0)
        throw tools::Failure(std::string("the client does not start: ") + strerror(-status));
}

void Client::listen(NotificationSink sink) {
    listener_->listen(std::move(sink));
}

void Client::send(Command const& command, Request const& request) {
    std::int32_t const status = request.send(*listener_->getSrvIf());
    if (status >= 0) return;
    throw tools::Failure(std::string(command.name) + " cannot be sent to a sound service at " +
                         tools::serviceAddress() + ": " + strerror(-status));
}

}  // namespace sound::reflection
