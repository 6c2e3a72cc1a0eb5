// Sets the volume and waits for the service to report it.
//
// usage: set-volume [VOLUME]    (start sound-service first)

#include <boost/make_shared.hpp>
#include <chrono>
#include <cstdlib>
#include <future>
#include <iostream>

#include "frame/Process.h"
#include "sound/ClientInterfaceListener.h"
#include "sound/Proxy.h"

namespace {

class VolumeListener : public sound::ClientInterfaceListener {
public:
    VolumeListener() : ClientInterfaceListener(nullptr, 0, 0) {}

    // On the platform's delivery thread.
    std::int32_t onVolumeInfoNotify(frame::MsgIds& /*msgIds*/,
                                    frame::TransportInfo const& /*transportInfo*/,
                                    sound::soundVolumeInfo_t const& volume) override {
        if (reported_) return 0;
        reported_ = true;
        report_.set_value(volume);
        return 0;
    }

    std::future<sound::soundVolumeInfo_t> report() { return report_.get_future(); }

private:
    bool reported_ = false;
    std::promise<sound::soundVolumeInfo_t> report_;
};

int fail(char const* what) {
    std::cerr << "set-volume: " << what << '\n';
    return 1;
}

}  // namespace

int main(int argc, char** argv) {
    auto const level = static_cast<std::uint32_t>(argc > 1 ? std::atoi(argv[1]) : 30);

    // A program that also wants the audio calls audioCB_init(), which does this, too.
    if (frame::Process::getInstance().startAppMembersSync(&CreateSoundProxy) < 0) {
        return fail("the platform did not start");
    }
    auto const listener = boost::make_shared<VolumeListener>();
    listener->setSelfReference(listener);
    if (listener->init() < 0) return fail("no sound interface");
    auto report = listener->report();

    frame::MsgIds msgIds = frame::MsgIds::none;
    frame::TransportInfo const transportInfo{};
    sound::soundVolumeParams_t const volume{1, level, 0, 0, 0};
    if (listener->getSrvIf()->cmdVolumeSet(msgIds, transportInfo, volume) < 0) {
        return fail("the command could not be sent; is sound-service running?");
    }
    if (report.wait_for(std::chrono::seconds(2)) != std::future_status::ready) {
        return fail("the service did not report the volume");
    }
    std::cout << "volume " << report.get().field2 << '\n';
}
