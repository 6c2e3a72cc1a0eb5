#include "ConnectionWatcher.h"

#include <atomic>
#include <cstdlib>
#include <cstring>
#include <string>
#include <utility>

#include "errors.h"
#include "frame/AbstractMarshallingImpl.h"
#include "service_address.h"

namespace tools {

namespace {

std::atomic<bool> connected = false;

/// Set before there is a watcher, and never destroyed: one may be told in the last moment.
auto& whenChanged = *new std::function<void(bool)>;

void change(bool isConnected) {
    if (connected.exchange(isConnected) != isConnected && whenChanged) whenChanged(isConnected);
}

/// A member of the process that does nothing but listen to the transport.
class ConnectionWatcher : public frame::AbstractMarshallingImpl {
public:
    ConnectionWatcher() : AbstractMarshallingImpl(kDefaultCoupling) {}

    std::int32_t registerMessageHandlers() override { return 0; }
    void onIOConnectionConnected() override { change(true); }
    void onIOConnectionConnectionFailed(int /*error*/) override { change(false); }
    void onIOConnectionDisconnected(int /*error*/) override { change(false); }
};

void** createWatcher() {
    auto** const members = static_cast<void**>(std::calloc(2, sizeof(void*)));
    if (members == nullptr) return nullptr;
    frame::AbstractMarshallingImpl* const watcher = new ConnectionWatcher;
    members[0] = watcher;
    return members;
}

}  // namespace

void watchConnection(std::function<void(bool)> changed) {
    whenChanged = std::move(changed);
    std::int32_t const status = frame::Process::getInstance().startAppMembersSync(&createWatcher);
    if (status < 0) throw Failure(std::string("the client does not start: ") + strerror(-status));
}

bool isConnected() {
    return connected;
}

void requireService() {
    if (!connected) throw Failure("no sound service at " + serviceAddress());
}

}  // namespace tools
