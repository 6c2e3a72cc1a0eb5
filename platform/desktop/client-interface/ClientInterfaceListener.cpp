#include "sound/ClientInterfaceListener.h"

#include <cerrno>
#include <new>

#include "desktop/framework.h"
#include "desktop/streams.h"
#include "sound/interface_name.h"
#include "sound/message_records.h"

namespace sound {

namespace {

/// Tells the transport which messages switch and announce streams.
std::int32_t declareStreams() {
    std::int32_t status = 0;
#define AUDVIK_NOTIFICATION(NAME, RELATION, COMMAND, ...)                                 \
    if (Relation::RELATION == Relation::streams && status == 0) {                         \
        status = desktop::declareStream(commandHeader(MessageId::cmd##COMMAND),           \
                                        notificationHeader(MessageId::on##NAME##Notify)); \
    }
#include "sound/messages.def"
    return status;
}

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

std::int32_t ClientInterfaceListener::init() try {
    if (auto const status = declareStreams(); status < 0) return status;
    auto* const found =
        static_cast<ServiceInterface*>(desktop::findInterface(kServiceInterfaceName));
    if (found == nullptr) return -ENOENT;
    // There before the first notification; and not left there by a failure, lest commands go out
    // whose answers reach nobody.
    serviceInterface_ = found;
    auto const status = found->addClient(self_.lock());
    if (status < 0 && status != -EEXIST) serviceInterface_ = nullptr;
    return status;
} catch (std::bad_alloc const&) {
    serviceInterface_ = nullptr;
    return -ENOMEM;
}

// The interface fixes that it is passed by value.
// NOLINTNEXTLINE(performance-unnecessary-value-param)
void ClientInterfaceListener::setSelfReference(boost::shared_ptr<ClientInterfaceListener> self) {
    self_ = self;
}

ServiceInterface* ClientInterfaceListener::getSrvIf() {
    return serviceInterface_;
}

}  // namespace sound
