// What the bases of a component do on their own. The desktop has no events, so that their
// operations refuse.

#include <cerrno>

#include "frame/AbstractMarshallingImpl.h"

// The interface fixes that events are passed by value.
// NOLINTBEGIN(performance-unnecessary-value-param)

namespace frame {

AbstractProcessMember::~AbstractProcessMember() = default;

std::int32_t AbstractProcessMember::attachProcess(Process /*process*/) {
    return 0;
}
std::int32_t AbstractProcessMember::detachProcess() {
    return 0;
}
std::int32_t AbstractProcessMember::setupDone() {
    return performSetupDone();
}
std::int32_t AbstractProcessMember::start() {
    return performStarting();
}
std::int32_t AbstractProcessMember::stop() {
    return performStopping();
}

AbstractComponent::AbstractComponent() = default;
AbstractComponent::~AbstractComponent() {
    pthread_mutex_destroy(&mutex_);
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
