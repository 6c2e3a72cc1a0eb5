/// @file
/// The client side of the platform's sound service.
#pragma once

#include <boost/shared_ptr.hpp>
#include <cstdint>
#include <vector>

#include "frame/AbstractMarshallingImpl.h"
#include "frame/lmq.h"
#include "sound/ClientInterface.h"
#include "sound/export.h"
#include "sound/ServiceInterface.h"

namespace sound {

/// An application component that offers the sound service's commands to the process and hands
/// the service's notifications to every registered client.
///
/// The framework creates it through CreateSoundProxy(), owns it and drives its life cycle. Others
/// use it through the ServiceInterface that it publishes as kServiceInterfaceName.
///
/// Threads: commands and the client registry may be used from any thread at any time between the
/// framework's setLmqIOModule() and the proxy's destruction. The framework makes sure that no
/// receiver runs while the proxy is destroyed.
class AUDVIK_EXPORT Proxy : public frame::AbstractMarshallingImpl, public ServiceInterface {
public:
    Proxy();
    ~Proxy() override;

    /// Publishes the service interface.
    /// @return 0, or the negative status of the step that failed
    std::int32_t performSetupDone() override;
    /// @return 0, or the base's negative status
    std::int32_t performStarting() override;
    /// Leaves the interface published.
    /// @return 0, or the base's negative status
    std::int32_t performStopping() override;

    /// Registers a receiver for each notification. A registration that fails is skipped.
    /// @return 0
    std::int32_t registerMessageHandlers() override;

#define AUDVIK_COMMAND(NAME, ...) \
    std::int32_t cmd##NAME(       \
        frame::MsgIds& msgIds,    \
        frame::TransportInfo const& transportInfo AUDVIK_PARAMETERS(__VA_ARGS__)) override;
#include "sound/messages.def"

    std::int32_t addClient(boost::shared_ptr<ClientInterface> client) override;
    std::int32_t removeClient(boost::shared_ptr<ClientInterface> client) override;

/// The receivers: each calls the notification's operation on every client. The context is the
/// proxy. They return 0; what a client throws leaves them.
#define AUDVIK_NOTIFICATION(NAME, RELATION, COMMAND, ...)                               \
    static std::int32_t callOn##NAME##Notify(frame::MsgMeta const& meta,                \
                                             frame::TransportInfo const& transportInfo, \
                                             void const* record, void* context);
#include "sound/messages.def"

private:
    using Clients = std::vector<boost::shared_ptr<ClientInterface>>;

    /// The clients as they are now, copied under the registry lock.
    [[gnu::visibility("hidden")]] Clients copyClients();

    /// The element that holds the same object as @p client. Call with the registry lock held.
    [[gnu::visibility("hidden")]] Clients::iterator find(
        boost::shared_ptr<ClientInterface> const& client);

    struct Command;
    struct Notification;

    /// @param argument  what the command's operation was given, null for nothing
    [[gnu::visibility("hidden")]] std::int32_t send(Command const& command, frame::MsgIds& msgIds,
                                                    void const* argument = nullptr);
    [[gnu::visibility("hidden")]] static std::int32_t receive(
        Notification const& notification, frame::TransportInfo const& transportInfo,
        void const* record, void* context);

    Clients clients_;
};

}  // namespace sound

extern "C" {

/// Creates a proxy.
/// @return a `calloc`ed array of two pointers: the proxy, as a frame::AbstractMarshallingImpl,
///         and null. Both belong to the caller, the framework. Null when memory ran out.
AUDVIK_EXPORT void** CreateSoundProxy();

/// The name under which a framework that loads the library by itself looks for its factory.
/// @return what CreateSoundProxy() returns
AUDVIK_EXPORT void** frameCreateApplicationArray();
}
