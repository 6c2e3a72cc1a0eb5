// The bases of a component. The desktop has no events, so that their operations refuse.

#include <cerrno>

#include "frame/AbstractMarshallingImpl.h"
#include "InterfaceRegistry.h"

// The interface fixes that events are passed by value.
// NOLINTBEGIN(performance-unnecessary-value-param)

namespace frame {

AbstractProcessMember::~AbstractProcessMember() = default;

AbstractComponent::AbstractComponent() = default;
AbstractComponent::~AbstractComponent() {
    pthread_mutex_destroy(&mutex_);
}

std::int32_t AbstractComponent::attachProcess(Process /*process*/) {
    return 0;
}
std::int32_t AbstractComponent::detachProcess() {
    return 0;
}
std::int32_t AbstractComponent::setupDone() {
    return performSetupDone();
}
std::int32_t AbstractComponent::start() {
    return performStarting();
}
std::int32_t AbstractComponent::stop() {
    return performStopping();
}
std::int32_t AbstractComponent::performSetupDone() {
    return 0;
}
std::int32_t AbstractComponent::performStarting() {
    return 0;
}
std::int32_t AbstractComponent::performStopping() {
    return 0;
}

std::string AbstractComponent::getServiceId() const {
    return serviceName_;
}

std::int32_t AbstractComponent::handleEvent(MsgIds& /*msgIds*/,
                                            boost::shared_ptr<EventEntry> /*event*/) {
    return -ENOSYS;
}

std::int32_t AbstractComponent::registerEventHandler(std::uint32_t /*eventId*/,
                                                     EventReceiver* /*handler*/) {
    return -ENOSYS;
}

std::int32_t AbstractComponent::unregisterEventHandler(std::uint32_t /*eventId*/,
                                                       EventReceiver* /*handler*/) {
    return -ENOSYS;
}

void AbstractComponent::setServiceName(std::string const& name) {
    serviceName_ = name;
}

std::int32_t AbstractComponent::registerInterface(void* interface, std::string const& name) {
    if (interface == nullptr || name.empty()) return -EINVAL;
    desktop::InterfaceRegistry::instance().add(interface, name);
    return 0;
}

std::int32_t AbstractComponent::unregisterInterface(void* interface) {
    return desktop::InterfaceRegistry::instance().remove(interface) ? 0 : -ENOENT;
}

pthread_mutex_t* AbstractComponent::mutex() {
    return &mutex_;
}

AbstractApplication::~AbstractApplication() = default;

std::int32_t AbstractApplication::deliverEvent(MsgIds& /*msgIds*/,
                                               boost::shared_ptr<EventEntry> /*event*/) {
    return -ENOSYS;
}

std::int32_t AbstractApplication::deliverInternalEvent(MsgIds& /*msgIds*/,
                                                       boost::shared_ptr<EventEntry> /*event*/) {
    return -ENOSYS;
}

std::int32_t AbstractApplication::postEvent(MsgIds& /*msgIds*/,
                                            boost::shared_ptr<EventEntry> /*event*/) {
    return -ENOSYS;
}

std::int32_t AbstractApplication::postInternalEvent(MsgIds& /*msgIds*/,
                                                    boost::shared_ptr<EventEntry> /*event*/) {
    return -ENOSYS;
}

std::int32_t AbstractApplication::scheduleEvents() {
    return -ENOSYS;
}

AbstractMarshallingImpl::AbstractMarshallingImpl(CouplingMode /*mode*/) {}
AbstractMarshallingImpl::~AbstractMarshallingImpl() = default;

void AbstractMarshallingImpl::setLmqIOModule(void* ioModule) {
    lmqIOModule_ = ioModule;
}

void AbstractMarshallingImpl::onIOConnectionConnected() {}
void AbstractMarshallingImpl::onIOConnectionConnectionFailed(int /*error*/) {}
void AbstractMarshallingImpl::onIOConnectionDisconnected(int /*error*/) {}

void* AbstractMarshallingImpl::lmqIOModule() const {
    return lmqIOModule_;
}

}  // namespace frame

// NOLINTEND(performance-unnecessary-value-param)
