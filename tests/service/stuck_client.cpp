// Has sound played to it, and never opens a pipe.

#include <unistd.h>

#include <boost/make_shared.hpp>

#include "frame/Process.h"
#include "sound/ClientInterfaceListener.h"
#include "sound/Proxy.h"

namespace {

class Listener : public sound::ClientInterfaceListener {
public:
    Listener() : ClientInterfaceListener(nullptr, 0, 0) {}

    std::int32_t onAudioDataNotify(frame::MsgIds& /*msgIds*/,
                                   frame::TransportInfo const& /*transportInfo*/,
                                   std::string const& /*path*/, std::uint32_t /*size*/) override {
        // Tells the test that the stream has begun.
        return static_cast<std::int32_t>(::write(STDOUT_FILENO, ".", 1));
    }
};

}  // namespace

int main() {
    auto process = frame::Process::getInstance();
    if (process.startAppMembersSync(&CreateSoundProxy) < 0) return 1;
    auto const listener = boost::make_shared<Listener>();
    listener->setSelfReference(listener);
    if (listener->init() < 0) return 1;
    if (listener->getSrvIf()->cmdEnabelSoundAudioDataCB(frame::MsgIds::none, {}, true) < 0)
        return 1;
    ::pause();
}
