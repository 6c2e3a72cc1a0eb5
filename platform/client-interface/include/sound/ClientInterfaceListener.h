/// @file
/// The base of a sound client: finds the service interface and registers itself with it.
#pragma once

#include <pthread.h>

#include <atomic>
#include <boost/shared_ptr.hpp>
#include <boost/weak_ptr.hpp>
#include <cstdint>

#include "sound/ClientInterface.h"
#include "sound/ServiceInterface.h"

namespace sound {

/// Derive from it, override the notifications you want, and bring it up:
/// @code
/// auto listener = boost::make_shared<MyListener>();  // : ClientInterfaceListener(nullptr, 0, 0)
/// listener->setSelfReference(listener);
/// if (listener->init() < 0) ...
/// listener->getSrvIf()->cmdVolumeSet(msgIds, transportInfo, volume);
/// @endcode
class ClientInterfaceListener : public ClientInterface {
public:
    /// @param mutex   reserved for a lock shared with the platform; null for none
    /// @param first   reserved, 0
    /// @param second  reserved, 0
    ClientInterfaceListener(pthread_mutex_t* mutex, unsigned short first, unsigned short second);
    ~ClientInterfaceListener() override;

/// Each does nothing and returns 0.
#define AUDVIK_NOTIFICATION(NAME, RELATION, COMMAND, ...) \
    std::int32_t on##NAME##Notify(                        \
        frame::MsgIds& msgIds,                            \
        frame::TransportInfo const& transportInfo AUDVIK_PARAMETERS(__VA_ARGS__)) override;
#include "sound/messages.def"

    /// Finds the interface published as kServiceInterfaceName and registers this listener with it
    /// under its self reference. Call after setSelfReference() and once the framework has started
    /// its members.
    /// @return 0; -EINVAL without a self reference; -ENOENT when no interface is published; else
    ///         what addClient() returned
    virtual std::int32_t init();

    /// Stores the reference under which the listener registers. It is held weakly, so that the
    /// listener does not keep itself alive.
    void setSelfReference(boost::shared_ptr<ClientInterfaceListener> self);

    /// @return the interface that init() found, null before. It stays valid until the framework
    ///         destroys the proxy at the end of the process. Any thread.
    ServiceInterface* getSrvIf();

private:
    boost::weak_ptr<ClientInterfaceListener> self_;
    std::atomic<ServiceInterface*> serviceInterface_ = nullptr;
};

}  // namespace sound
