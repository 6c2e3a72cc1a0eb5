// A client that, on its first notification, registers another and retires itself. No lock is held
// while a client is called, so it may do so; changes take effect from the next notification on.
//
// usage: add-client    (start sound-service first)

#include <boost/make_shared.hpp>
#include <chrono>
#include <future>
#include <iostream>

#include "frame/Process.h"
#include "sound/ClientInterfaceListener.h"
#include "sound/Proxy.h"

namespace {

/// Prints the mute state, once.
class Successor : public sound::ClientInterfaceListener {
public:
    Successor() : ClientInterfaceListener(nullptr, 0, 0) {}

    std::int32_t onMuteInfoNotify(frame::MsgIds& /*msgIds*/,
                                  frame::TransportInfo const& /*transportInfo*/,
                                  sound::soundMuteInfo_t const& mute) override {
        if (told_) return 0;
        told_ = true;
        std::cout << "successor: mute " << mute.field2 << '\n';
        done_.set_value();
        return 0;
    }

    std::future<void> done() { return done_.get_future(); }

private:
    bool told_ = false;
    std::promise<void> done_;
};

class Predecessor : public sound::ClientInterfaceListener {
public:
    explicit Predecessor(boost::shared_ptr<Successor> successor)
        : ClientInterfaceListener(nullptr, 0, 0), successor_(std::move(successor)) {}

    void setSelf(boost::weak_ptr<Predecessor> self) { self_ = std::move(self); }

    std::int32_t onMuteInfoNotify(frame::MsgIds& msgIds, frame::TransportInfo const& transportInfo,
                                  sound::soundMuteInfo_t const& mute) override {
        std::cout << "predecessor: mute " << mute.field2 << ", handing over\n";
        getSrvIf()->addClient(successor_);
        getSrvIf()->removeClient(self_.lock());
        sound::soundMuteParams_t const next{1, 1, 0, 0};
        return getSrvIf()->cmdMuteSet(msgIds, transportInfo, next);
    }

private:
    boost::shared_ptr<Successor> successor_;
    boost::weak_ptr<Predecessor> self_;
};

}  // namespace

int main() {
    if (frame::Process::getInstance().startAppMembersSync(&CreateSoundProxy) < 0) return 1;

    auto const successor = boost::make_shared<Successor>();
    auto done = successor->done();
    auto const predecessor = boost::make_shared<Predecessor>(successor);
    predecessor->setSelf(predecessor);
    predecessor->setSelfReference(predecessor);
    if (predecessor->init() < 0) return 1;

    frame::MsgIds msgIds = frame::MsgIds::none;
    frame::TransportInfo const transportInfo{};
    sound::soundMuteParams_t const first{1, 0, 0, 0};
    if (predecessor->getSrvIf()->cmdMuteSet(msgIds, transportInfo, first) < 0) {
        std::cerr << "add-client: the command could not be sent; is sound-service running?\n";
        return 1;
    }
    return done.wait_for(std::chrono::seconds(2)) == std::future_status::ready ? 0 : 1;
}
