#include "Feed.h"

#include <fcntl.h>
#include <poll.h>
#include <unistd.h>

#include <boost/make_shared.hpp>
#include <span>
#include <utility>

#include "frame/Process.h"
#include "sound/ClientInterfaceListener.h"
#include "sound/Proxy.h"

namespace sound::pipeline {

namespace {

/// Fills a block from its pipe.
/// @return false when not all of it came, in bounded time
bool readPipe(std::string const& path, std::span<unsigned char> block) {
    constexpr int kPatience = 1000;
    int const pipe = ::open(path.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC);
    if (pipe < 0) return false;
    pollfd event{pipe, POLLIN, 0};
    while (!block.empty() && ::poll(&event, 1, kPatience) > 0) {
        auto const count = ::read(pipe, block.data(), block.size());
        if (count <= 0) break;
        block = block.subspan(static_cast<std::size_t>(count));
    }
    ::close(pipe);
    return block.empty();
}

}  // namespace

class Feed::Listener : public ClientInterfaceListener {
public:
    explicit Listener(Feed& feed) : ClientInterfaceListener(nullptr, 0, 0), feed_(feed) {}

    std::int32_t onAudioDataNotify(frame::MsgIds& /*msgIds*/,
                                   frame::TransportInfo const& /*transportInfo*/,
                                   std::string const& path, std::uint32_t length) override {
        feed_.announce(path, length);
        return 0;
    }

private:
    Feed& feed_;
};

Feed& Feed::instance() {
    static auto* const feed = new Feed;
    return *feed;
}

std::int32_t Feed::start() {
    std::scoped_lock const lock(control_);
    if (listener_) return 0;
    auto status = frame::Process::getInstance().startAppMembersSync(&CreateSoundProxy);
    if (status < 0) return status;
    auto const listener = boost::make_shared<Listener>(*this);
    listener->setSelfReference(listener);
    status = listener->init();
    if (status < 0) return status;
    listener_ = listener;
    // Pipelines may be playing when the process ends. The platform, which was up before this, goes
    // after it, and by then nothing is asked any more.
    static struct AtExit {
        ~AtExit() { instance().end(); }
    } const atExit;
    return 0;
}

void Feed::end() {
    std::scoped_lock const lock(control_);
    hasEnded_ = true;
}

void Feed::add(std::shared_ptr<tools::SoundIntake> intake) {
    std::scoped_lock const lock(intakesLock_);
    intakes_.push_back(std::move(intake));
}

void Feed::remove(std::shared_ptr<tools::SoundIntake> const& intake) {
    std::scoped_lock const control(control_);
    bool isLast = false;
    {
        std::scoped_lock const lock(intakesLock_);
        std::erase(intakes_, intake);
        isLast = intakes_.empty();
    }
    if (isLast) request(false);
}

bool Feed::ask() {
    std::scoped_lock const lock(control_);
    return request(true);
}

bool Feed::request(bool on) {
    if (!listener_ || hasEnded_) return false;
    frame::MsgIds msgIds = frame::MsgIds::none;
    return listener_->getSrvIf()->cmdEnabelSoundAudioDataCB(msgIds, frame::TransportInfo{}, on) >=
           0;
}

/// The block is read even when nobody wants it any more: its pipe is to become free.
void Feed::announce(std::string const& pipe, std::size_t size) {
    auto block = std::span(buffer_).first(size <= buffer_.size() ? size : 0);
    if (!readPipe(pipe, block)) block = {};
    std::scoped_lock const lock(intakesLock_);
    for (auto const& intake : intakes_) intake->announce(pipe, block);
}

}  // namespace sound::pipeline
