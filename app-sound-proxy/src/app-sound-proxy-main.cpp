#include <cxxabi.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <memory>

#include "csp/ltGuard.h"
#include "debug_line.h"
#include "sound/interface_name.h"
#include "sound/message_records.h"
#include "sound/Proxy.h"

namespace sound {

namespace {

/// Out of line: every sender and receiver begins with it.
[[gnu::noinline]] void traceCall(char const* operation) {
    AUDVIK_DEBUG_LINE(kCspDebugTrace, operation, "Called.\n");
}

// The types are stated, not deduced: they are those of the message list.
template <class... Types>
std::int32_t send(char const* command, void* ioModule, MessageId id, cspEndianTable_t const& table,
                  frame::MsgIds& msgIds, std::type_identity_t<Types> const&... arguments) {
    traceCall(command);
    MessageRecord<Types...> record;
    if (!record.pack(arguments...)) return -ENOMEM;
    return frameLmqIOServiceSendStructure(ioModule, msgIds, commandHeader(id), nullptr, &table,
                                          record.data());
}

struct Receiver {
    MessageId id;
    frameLmqMessageHandler_t function;
    cspEndianTable_t const* table;
};

constexpr Receiver kReceivers[] = {
#define AUDVIK_NOTIFICATION(NAME, RELATION, COMMAND, ...)       \
    {MessageId::on##NAME##Notify, &Proxy::callOn##NAME##Notify, \
     &__csp_EndianTable_soundMsgOn##NAME##Notify_t},
#include "sound/messages.def"
};

}  // namespace

Proxy::Proxy() : AbstractMarshallingImpl(kDefaultCoupling) {
    AUDVIK_DEBUG_LINE(kCspDebugInfo, "Proxy", "Called.\n");
    setServiceName("sound");
}

Proxy::~Proxy() {
    AUDVIK_DEBUG_LINE(kCspDebugInfo, "~Proxy", "Called.\n");
    unregisterInterface(static_cast<ServiceInterface*>(this));
}

std::int32_t Proxy::performSetupDone() {
    AUDVIK_DEBUG_LINE(kCspDebugInfo, "performSetupDone", "Called.\n");
    std::int32_t const parent = AbstractMarshallingImpl::performSetupDone();
    if (parent < 0) {
        AUDVIK_DEBUG_LINE(kCspDebugWarning, "performSetupDone",
                          "Parent class performSetupDone() returned %d.\n", parent);
        return parent;
    }
    std::int32_t const registered =
        registerInterface(static_cast<ServiceInterface*>(this), kServiceInterfaceName);
    if (registered < 0) {
        AUDVIK_DEBUG_LINE(kCspDebugWarning, "performSetupDone",
                          "Unable to register interface: %d.\n", registered);
        return registered;
    }
    return 0;
}

std::int32_t Proxy::performStarting() {
    AUDVIK_DEBUG_LINE(kCspDebugInfo, "performStarting", "Called.\n");
    std::int32_t const parent = AbstractMarshallingImpl::performStarting();
    if (parent < 0) {
        AUDVIK_DEBUG_LINE(kCspDebugWarning, "performStarting",
                          "Parent class performStarting() returned %d.\n", parent);
        return parent;
    }
    return 0;
}

std::int32_t Proxy::performStopping() {
    AUDVIK_DEBUG_LINE(kCspDebugInfo, "performStopping", "Called.\n");
    std::int32_t const parent = AbstractMarshallingImpl::performStopping();
    if (parent < 0) {
        AUDVIK_DEBUG_LINE(kCspDebugFrameWarning, "performStopping",
                          "Parent class performStopping() returned %d.\n", parent);
        return parent;
    }
    return 0;
}

std::int32_t Proxy::registerMessageHandlers() {
    AUDVIK_DEBUG_LINE(kCspDebugInfo, "registerMessageHandlers", "Called.\n");
    for (Receiver const& receiver : kReceivers) {
        frameLmqIOServiceRegisterMessageHandlerFunction(lmqIOModule(),
                                                        notificationHeader(receiver.id),
                                                        receiver.function, this, receiver.table);
    }
    return 0;
}

std::int32_t Proxy::addClient(boost::shared_ptr<ClientInterface> client) {
    if (!client) {
        AUDVIK_DEBUG_LINE(kCspDebugWarning, "addClient", "client is empty\n");
        return -EINVAL;
    }
    ltGuard const guard(mutex());
    if (find(client) != clients_.end()) {
        AUDVIK_DEBUG_LINE(kCspDebugWarning, "addClient", "Client already exists, %d total.\n",
                          static_cast<int>(clients_.size()));
        return -EEXIST;
    }
    clients_.push_back(client);
    AUDVIK_DEBUG_LINE(kCspDebugInfo, "addClient", "success, %d total.\n",
                      static_cast<int>(clients_.size()));
    return 0;
}

// By value: the caller's reference keeps the client alive until the lock is released, since its
// destructor may want to use the registry.
std::int32_t Proxy::removeClient(boost::shared_ptr<ClientInterface> client) {
    ltGuard const guard(mutex());
    auto const position = find(client);
    if (position == clients_.end()) {
        AUDVIK_DEBUG_LINE(kCspDebugWarning, "removeClient", "client not found (of %d known ones)\n",
                          static_cast<int>(clients_.size()));
        return -ENOENT;
    }
    clients_.erase(position);
    AUDVIK_DEBUG_LINE(kCspDebugInfo, "removeClient", "success, %d remaining.\n",
                      static_cast<int>(clients_.size()));
    return 0;
}

Proxy::Clients Proxy::copyClients() {
    ltGuard const guard(mutex());
    // Room first: a vector's own copying asks for a function that a set's older C++ runtime lacks.
    Clients copy;
    copy.reserve(clients_.size());
    for (auto const& client : clients_) copy.push_back(client);
    return copy;
}

Proxy::Clients::iterator Proxy::find(boost::shared_ptr<ClientInterface> const& client) {
    return std::find(clients_.begin(), clients_.end(), client);
}

template <class... Types>
std::int32_t Proxy::receive(char const* receiver, Notification<Types...> notify,
                            frame::TransportInfo const& transportInfo, void const* record,
                            void* context) {
    traceCall(receiver);
    for (auto const& client : static_cast<Proxy*>(context)->copyClients()) {
        MessageRecord<Types...>::unpack(record, [&](Argument<Types>... arguments) {
            return ((*client).*notify)(frame::MsgIds::none, transportInfo, arguments...);
        });
    }
    return 0;
}

#define AUDVIK_COMMAND(NAME, ...)                                                               \
    std::int32_t Proxy::cmd##NAME(frame::MsgIds& msgIds,                                        \
                                  frame::TransportInfo const& AUDVIK_PARAMETERS(__VA_ARGS__)) { \
        return send<__VA_ARGS__>("cmd" #NAME, lmqIOModule(), MessageId::cmd##NAME,              \
                                 __csp_EndianTable_soundMsgCmd##NAME##_t,                       \
                                 msgIds AUDVIK_ARGUMENTS(__VA_ARGS__));                         \
    }
#define AUDVIK_NOTIFICATION(NAME, RELATION, COMMAND, ...)                                        \
    std::int32_t Proxy::callOn##NAME##Notify(frame::MsgMeta const&,                              \
                                             frame::TransportInfo const& transportInfo,          \
                                             void const* record, void* context) {                \
        return receive<__VA_ARGS__>("callOn" #NAME "Notify", &ClientInterface::on##NAME##Notify, \
                                    transportInfo, record, context);                             \
    }
#include "sound/messages.def"

}  // namespace sound

void** CreateSoundProxy() {
    AUDVIK_DEBUG_LINE(kCspDebugInfo, "CreateSoundProxy", "Called.\n");
    auto** const applications = static_cast<void**>(std::calloc(2, sizeof(void*)));
    if (applications == nullptr) return nullptr;
    try {
        applications[0] = static_cast<frame::AbstractMarshallingImpl*>(new sound::Proxy);
    } catch (abi::__forced_unwind const&) {
        throw;
    } catch (...) {
        std::free(static_cast<void*>(applications));
        return nullptr;
    }
    return applications;
}

void** frameCreateApplicationArray() {
    return CreateSoundProxy();
}
