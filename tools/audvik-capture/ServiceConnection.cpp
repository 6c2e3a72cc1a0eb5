#include "ServiceConnection.h"

#include <array>
#include <boost/make_shared.hpp>
#include <cstring>
#include <stdexcept>

#include "audvik/audvik.h"

namespace {

void takeBlock(unsigned char const* data, std::int32_t size, void* queue) {
    static_cast<BlockQueue*>(queue)->push(data, static_cast<std::size_t>(size));
}

/// Hears of every block after the agent has dealt with it, having registered behind it.
class AnnouncementCounter : public sound::ClientInterfaceListener {
public:
    explicit AnnouncementCounter(BlockQueue& queue)
        : ClientInterfaceListener(nullptr, 0, 0), queue_(queue) {}

    std::int32_t onAudioDataNotify(frame::MsgIds& /*msgIds*/,
                                   frame::TransportInfo const& /*transportInfo*/,
                                   std::string const& /*path*/, std::uint32_t /*length*/) override {
        queue_.countAnnounced();
        return 0;
    }

private:
    BlockQueue& queue_;
};

}  // namespace

ServiceConnection::ServiceConnection(BlockQueue& queue, std::string const& debugLevel)
    : queue_(queue) {
    std::string program = "audvik-capture";
    std::string level = "--debug-level=" + debugLevel;
    std::array<char*, 3> words{program.data(), level.data(), nullptr};
    std::int32_t const started = audioCB_init(2, words.data());
    if (started < 0) {
        throw std::runtime_error(std::string("the audio agent does not start: ") +
                                 std::strerror(-started));
    }
    listener_ = boost::make_shared<AnnouncementCounter>(queue);
    listener_->setSelfReference(listener_);
    std::int32_t const registered = listener_->init();
    if (registered < 0) {
        throw std::runtime_error(std::string("the sound interface takes no listener: ") +
                                 std::strerror(-registered));
    }
    // Its result does not tell whether there is a service: enable() does.
    set_audioCallback(1, &takeBlock, &queue_);
}

bool ServiceConnection::enable() {
    frame::MsgIds msgIds = frame::MsgIds::none;
    return listener_->getSrvIf()->cmdEnabelSoundAudioDataCB(msgIds, frame::TransportInfo{}, true) >=
           0;
}

void ServiceConnection::disable() {
    set_audioCallback(0, &takeBlock, &queue_);
}
