#include "sound/ClientInterfaceListener.h"

#include <cerrno>

#include "desktop/framework.h"

namespace sound {

namespace {

constexpr char kInterfaceName[] = "tarvo.lm.interfaces.sound";

template <class... Arguments>
std::int32_t ignore(Arguments const&... /*arguments*/) {
    return 0;
}

}  // namespace

ClientInterfaceListener::ClientInterfaceListener(pthread_mutex_t* /*mutex*/,
                                                 unsigned short /*first*/,
                                                 unsigned short /*second*/) {}

ClientInterfaceListener::~ClientInterfaceListener() = default;

#define AUDVIK_NOTIFICATION(NAME, RELATION, COMMAND, ...)                           \
    std::int32_t ClientInterfaceListener::on##NAME##Notify(                         \
        frame::MsgIds& msgIds,                                                      \
        frame::TransportInfo const& transportInfo AUDVIK_PARAMETERS(__VA_ARGS__)) { \
        return ignore(msgIds, transportInfo AUDVIK_ARGUMENTS(__VA_ARGS__));         \
    }
#include "sound/messages.def"

std::int32_t ClientInterfaceListener::init() {
    auto const self = self_.lock();
    if (self == nullptr) return -EINVAL;
    auto* const found = static_cast<ServiceInterface*>(desktop::findInterface(kInterfaceName));
    if (found == nullptr) return -ENOENT;
    serviceInterface_ = found;
    return found->addClient(self);
}

// The interface fixes that it is passed by value.
// NOLINTNEXTLINE(performance-unnecessary-value-param)
void ClientInterfaceListener::setSelfReference(boost::shared_ptr<ClientInterfaceListener> self) {
    self_ = self;
}

ServiceInterface* ClientInterfaceListener::getSrvIf() const {
    return serviceInterface_;
}

}  // namespace sound
