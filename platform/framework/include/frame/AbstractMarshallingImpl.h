/// @file
/// The bases of an application component that speaks over the message-queue transport.
///
/// The order of the virtual operations is part of the binary interface: a component's virtual
/// table has its slots in exactly this order.
#pragma once

#include <pthread.h>

#include <boost/shared_ptr.hpp>
#include <cstdint>
#include <string>

#include "frame/message_meta.h"
#include "frame/Process.h"

namespace frame {

/// An event of the framework's own event queue. This library neither posts nor handles any.
class EventEntry;

/// Takes in events.
class EventReceiver {
public:
    virtual ~EventReceiver() = default;
    virtual std::int32_t deliverEvent(MsgIds& msgIds, boost::shared_ptr<EventEntry> event) = 0;
};

/// Hears about the transport's connection to its peer, on a thread of the transport.
class IOConnectionListener {
public:
    virtual ~IOConnectionListener() = default;
    virtual void onIOConnectionConnected() = 0;
    /// @param error  a negative errno value
    virtual void onIOConnectionConnectionFailed(int error) = 0;
    /// @param error  a negative errno value, 0 when the peer said goodbye
    virtual void onIOConnectionDisconnected(int error) = 0;
};

/// A member of the process, as the framework drives it: attachProcess(), setupDone(), start(),
/// and on the way down stop(), detachProcess(). Each step returns a negative status on failure.
class AbstractProcessMember {
public:
    virtual ~AbstractProcessMember();
    virtual std::int32_t attachProcess(Process process);
    virtual std::int32_t detachProcess();
    virtual std::int32_t setupDone();
    virtual std::int32_t start();
    virtual std::int32_t stop();
    /// What the member itself does in setupDone(), start() and stop(); an override calls its
    /// base's operation first and passes a negative result on.
    virtual std::int32_t performSetupDone() = 0;
    virtual std::int32_t performStarting() = 0;
    virtual std::int32_t performStopping() = 0;
};

/// A component: a process member with a service name, interfaces and events.
class AbstractComponent : public AbstractProcessMember, public EventReceiver {
public:
    AbstractComponent();
    ~AbstractComponent() override;
    AbstractComponent(AbstractComponent const&) = delete;
    AbstractComponent& operator=(AbstractComponent const&) = delete;

    virtual std::string getServiceId() const;
    std::int32_t deliverEvent(MsgIds& msgIds, boost::shared_ptr<EventEntry> event) override = 0;
    virtual std::int32_t handleEvent(MsgIds& msgIds, boost::shared_ptr<EventEntry> event);
    virtual std::int32_t registerEventHandler(std::uint32_t eventId, EventReceiver* handler);
    virtual std::int32_t unregisterEventHandler(std::uint32_t eventId, EventReceiver* handler);

protected:
    void setServiceName(std::string const& name);

    /// Publishes @p interface under @p name for the whole process. A name published already
    /// leads to the new interface until that is withdrawn.
    /// @return 0, or -EINVAL for a null interface or an empty name
    std::int32_t registerInterface(void* interface, std::string const& name);

    /// Withdraws every name of @p interface.
    /// @return 0, or -ENOENT when it has none
    std::int32_t unregisterInterface(void* interface);

    /// The component's mutex: plain, not recursive, for the derived class to lock. The
    /// framework itself never holds it.
    pthread_mutex_t* mutex();

private:
    std::string serviceName_;
    pthread_mutex_t mutex_ = PTHREAD_MUTEX_INITIALIZER;
};

/// A component with an event queue.
class AbstractApplication : public AbstractComponent {
public:
    ~AbstractApplication() override;
    std::int32_t deliverEvent(MsgIds& msgIds, boost::shared_ptr<EventEntry> event) override;
    virtual std::int32_t deliverInternalEvent(MsgIds& msgIds, boost::shared_ptr<EventEntry> event);
    virtual std::int32_t postEvent(MsgIds& msgIds, boost::shared_ptr<EventEntry> event);
    virtual std::int32_t postInternalEvent(MsgIds& msgIds, boost::shared_ptr<EventEntry> event);
    virtual std::int32_t scheduleEvents();
};

/// An application that sends and receives messages.
class AbstractMarshallingImpl : public AbstractApplication, public IOConnectionListener {
public:
    /// How the component is coupled to the transport; 0 is the only mode in use.
    enum CouplingMode : std::int32_t { kDefaultCoupling = 0 };

    explicit AbstractMarshallingImpl(CouplingMode mode);
    ~AbstractMarshallingImpl() override;

    /// Each adds nothing.
    /// @return 0
    std::int32_t performSetupDone() override;
    std::int32_t performStarting() override;
    std::int32_t performStopping() override;

    /// Called by the framework before registerMessageHandlers() and before the interface is
    /// published. The handle stays the framework's.
    virtual void setLmqIOModule(void* ioModule);

    /// Called by the framework once the handle is set: registers the component's receivers.
    virtual std::int32_t registerMessageHandlers() = 0;

    void onIOConnectionConnected() override;
    void onIOConnectionConnectionFailed(int error) override;
    void onIOConnectionDisconnected(int error) override;

protected:
    /// @return the handle for the transport's functions; null before setLmqIOModule()
    void* lmqIOModule() const;

private:
    void* lmqIOModule_ = nullptr;
};

}  // namespace frame
