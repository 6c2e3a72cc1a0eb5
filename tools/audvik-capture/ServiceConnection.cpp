#include "ServiceConnection.h"

#include <array>
#include <boost/make_shared.hpp>
#include <cstring>
#include <stdexcept>

#include "audvik/audvik.h"

namespace {

void takeBlock(unsigned char const* data, std::int32_t size, void* intake) {
    static_cast<Intake*>(intake)->hold(data, static_cast<std::size_t>(size));
}

/// Hears of every block after the agent has dealt with it, having registered behind it.
class AnnouncementListener : public sound::ClientInterfaceListener {
public:
    explicit AnnouncementListener(Intake& intake)
        : ClientInterfaceListener(nullptr, 0, 0), intake_(intake) {}

    std::int32_t onAudioDataNotify(frame::MsgIds& /*msgIds*/,
                                   frame::TransportInfo const& /*transportInfo*/,
                                   std::string const& path, std::uint32_t /*length*/) override {
        intake_.announce(path);
        return 0;
    }

private:
    Intake& intake_;
};

}  // namespace

ServiceConnection::ServiceConnection(Intake& intake, std::string const& debugLevel)
    : intake_(intake) {
    std::string program = "audvik-capture";
    std::string level = "--debug-level=" + debugLevel;
    std::array<char*, 3> words{program.data(), level.data(), nullptr};
    std::int32_t const started = audioCB_init(2, words.data());
    if (started < 0) {
        throw std::runtime_error(std::string("the audio agent does not start: ") +
                                 std::strerror(-started));
    }
    listener_ = boost::make_shared<AnnouncementListener>(intake);
    listener_->setSelfReference(listener_);
    std::int32_t const registered = listener_->init();
    if (registered < 0) {
        throw std::runtime_error(std::string("the sound interface takes no listener: ") +
                                 std::strerror(-registered));
    }
    // Its result does not tell whether there is a service: enable() does.
    set_audioCallback(1, &takeBlock, &intake_);
}

bool ServiceConnection::enable() {
    frame::MsgIds msgIds = frame::MsgIds::none;
    return listener_->getSrvIf()->cmdEnabelSoundAudioDataCB(msgIds, frame::TransportInfo{}, true) >=
           0;
}

void ServiceConnection::disable() {
    set_audioCallback(0, &takeBlock, &intake_);
}
