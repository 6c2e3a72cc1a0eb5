#include <cxxabi.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <cstring>
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

struct Receiver {
    MessageId id;
    frameLmqMessageHandler_t function;
    cspEndianTable_t const* table;
};

constexpr Receiver kReceivers[] = {
#define AUDVIK_NOTIFICATION(NAME, ...)                          \
    {MessageId::on##NAME##Notify, &Proxy::callOn##NAME##Notify, \
     Message<MessageId::on##NAME##Notify>::kTable},
#include "sound/messages.def"
};

constexpr std::size_t kLargestCommand = std::max({
#define AUDVIK_COMMAND(NAME, ...) Message<MessageId::cmd##NAME>::Record::kSize,
#include "sound/messages.def"
});

template <class Type>
bool packArgument(unsigned char* record, void const* argument) {
    return MessageRecord<Type>::pack(record, *static_cast<Type const*>(argument));
}

template <MessageId kId, auto kOperation>
void deliver(ClientInterface& client, frame::MsgIds& msgIds,
             frame::TransportInfo const& transportInfo, void const* record) {
    Message<kId>::Record::unpack(record, [&](auto const&... arguments) {
        (client.*kOperation)(msgIds, transportInfo, arguments...);
    });
}

}  // namespace

// What all commands do is there once, and what all notifications do; where they differ they have
// these. Expanded for each, it would be a tenth of the library.

struct Proxy::Command {
    char const* name;
    MessageId id;
    cspEndianTable_t const* table;
    bool (*pack)(unsigned char* record, void const* argument) = nullptr;
    void (*freeStrings)(unsigned char const* record) = nullptr;

    /// @param Types  the argument's, if there is one
    template <class... Types>
    static consteval Command of(char const* name, MessageId id, cspEndianTable_t const* table) {
        static_assert(sizeof...(Types) <= 1, "a command has one argument at most");
        Command command{name, id, table};
        if constexpr (sizeof...(Types) == 1) command.pack = &packArgument<Types...>;
        if constexpr (MessageRecord<Types...>::kHoldsStrings) {
            command.freeStrings = &MessageRecord<Types...>::freeStrings;
        }
        return command;
    }
};

struct Proxy::Notification {
    char const* receiver;
    /// Calls a client's operation with the arguments in a record.
    void (*deliver)(ClientInterface& client, frame::MsgIds& msgIds,
                    frame::TransportInfo const& transportInfo, void const* record);
};

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
    // A vector's own copying asks for a function that a set's older C++ runtime lacks.
    Clients copy(clients_.size());
    std::copy(clients_.begin(), clients_.end(), copy.begin());
    return copy;
}

Proxy::Clients::iterator Proxy::find(boost::shared_ptr<ClientInterface> const& client) {
    return std::find(clients_.begin(), clients_.end(), client);
}

std::int32_t Proxy::send(Command const& command, frame::MsgIds& msgIds, void const* argument) {
    traceCall(command.name);
    unsigned char record[kLargestCommand];
    std::memset(record, 0, command.table->size);
    // Frees them however this ends.
    std::unique_ptr<unsigned char, decltype(command.freeStrings)> const strings(
        command.freeStrings != nullptr ? record : nullptr, command.freeStrings);
    if (command.pack != nullptr && !command.pack(record, argument)) return -ENOMEM;
    return frameLmqIOServiceSendStructure(lmqIOModule(), msgIds, commandHeader(command.id), nullptr,
                                          command.table, record);
}

std::int32_t Proxy::receive(Notification const& notification,
                            frame::TransportInfo const& transportInfo, void const* record,
                            void* context) {
    traceCall(notification.receiver);
    for (auto const& client : static_cast<Proxy*>(context)->copyClients()) {
        notification.deliver(*client, frame::MsgIds::none, transportInfo, record);
    }
    return 0;
}

#define AUDVIK_COMMAND(NAME, ...)                                                               \
    std::int32_t Proxy::cmd##NAME(frame::MsgIds& msgIds,                                        \
                                  frame::TransportInfo const& AUDVIK_PARAMETERS(__VA_ARGS__)) { \
        static constexpr auto kCommand = Command::of<__VA_ARGS__>(                              \
            "cmd" #NAME, MessageId::cmd##NAME, Message<MessageId::cmd##NAME>::kTable);          \
        return send(kCommand, msgIds __VA_OPT__(, &first));                                     \
    }
#define AUDVIK_NOTIFICATION(NAME, ...)                                                  \
    std::int32_t Proxy::callOn##NAME##Notify(frame::MsgMeta const&,                     \
                                             frame::TransportInfo const& transportInfo, \
                                             void const* record, void* context) {       \
        static constexpr Notification kNotification{                                    \
            "callOn" #NAME "Notify",                                                    \
            &deliver<MessageId::on##NAME##Notify, &ClientInterface::on##NAME##Notify>}; \
        return receive(kNotification, transportInfo, record, context);                  \
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
