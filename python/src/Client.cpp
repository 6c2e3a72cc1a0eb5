#include "Client.h"

#include <algorithm>
#include <boost/make_shared.hpp>
#include <cerrno>
#include <cstring>
#include <utility>

#include "errors.h"
#include "sound/ClientInterfaceListener.h"
#include "start_agent.h"

namespace sound::python {

bool Inbox::wants(std::size_t notification) const {
    return wanted_.empty() ||
           std::find(wanted_.begin(), wanted_.end(), notification) != wanted_.end();
}

void Inbox::take(Heard const& heard) {
    constexpr std::size_t kRoom = 10'000;
    if (!mailbox_.push(heard, 1, kRoom)) ++overruns_;
}

/// Stays while a notification is in progress, even when the client has gone.
class Client::Listener : public sound::ClientInterfaceListener {
public:
    Listener() : ClientInterfaceListener(nullptr, 0, 0) {}

    void listen(std::shared_ptr<Inbox> inbox) {
        std::lock_guard const lock(mutex_);
        if (isClosed_) inbox->mailbox().close();
        inboxes_.push_back(std::move(inbox));
    }

    /// @return whether it was open
    bool close() {
        std::lock_guard const lock(mutex_);
        for (auto const& inbox : inboxes_) inbox->mailbox().close();
        return !std::exchange(isClosed_, true);
    }

#define AUDVIK_NOTIFICATION(NAME, RELATION, COMMAND, ...)                                    \
    std::int32_t on##NAME##Notify(frame::MsgIds& /*msgIds*/,                                 \
                                  frame::TransportInfo const& /*transportInfo*/              \
                                      AUDVIK_PARAMETERS(__VA_ARGS__)) override {             \
        static auto const& notification = reflection::findNotification("on" #NAME "Notify"); \
        return take(notification AUDVIK_ARGUMENTS(__VA_ARGS__));                             \
    }
#include "sound/messages.def"

private:
    template <class... Types>
    std::int32_t take(reflection::Notification const& notification, Types const&... arguments) {
        auto const index =
            static_cast<std::size_t>(&notification - reflection::notifications().data());
        std::lock_guard const lock(mutex_);
        std::erase_if(inboxes_, [](auto const& inbox) { return inbox->mailbox().isClosed(); });
        for (auto const& inbox : inboxes_) {
            if (!inbox->wants(index)) continue;
            inbox->take({index, Values(notification, tools::fieldsOf(arguments...))});
        }
        return 0;
    }

    std::mutex mutex_;
    // Under mutex_.
    std::vector<std::shared_ptr<Inbox>> inboxes_;
    bool isClosed_ = false;
};

Client::Client() : listener_(boost::make_shared<Listener>()) {
    startAgent();
    listener_->setSelfReference(listener_);
    std::int32_t const status = listener_->init();
    if (status < 0) {
        throw tools::Failure(std::string("the client does not start: ") + std::strerror(-status));
    }
}

Client::~Client() {
    close();
}

std::int32_t Client::send(reflection::Command const& command, Values const& arguments) {
    auto const send =
        command.makeSender([&](tools::Fields const& fields) { arguments.copyTo(fields); });
    return send(*listener_->getSrvIf());
}

void Client::listen(std::shared_ptr<Inbox> inbox) {
    listener_->listen(std::move(inbox));
}

void Client::close() {
    if (listener_->close()) listener_->getSrvIf()->removeClient(listener_);
}

}  // namespace sound::python
