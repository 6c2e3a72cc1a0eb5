#include "ConnectionWatcher.h"

#include <atomic>
#include <cstdlib>
#include <cstring>
#include <string>

#include "errors.h"
#include "frame/AbstractMarshallingImpl.h"

namespace sound::control {

namespace {

std::atomic<bool> connected = false;

/// A member of the process that does nothing but listen to the transport.
class ConnectionWatcher : public frame::AbstractMarshallingImpl {
public:
    ConnectionWatcher() : AbstractMarshallingImpl(kDefaultCoupling) {}

    std::int32_t registerMessageHandlers() override { return 0; }
    void onIOConnectionConnected() override { connected = true; }
    void onIOConnectionConnectionFailed(int /*error*/) override { connected = false; }
    void onIOConnectionDisconnected(int /*error*/) override { connected = false; }
};

void** createWatcher() {
    auto** const members = static_cast<void**>(std::calloc(2, sizeof(void*)));
    if (members == nullptr) return nullptr;
    frame::AbstractMarshallingImpl* const watcher = new ConnectionWatcher;
    members[0] = watcher;
    return members;
}

}  // namespace

void watchConnection() {
    std::int32_t const status = frame::Process::getInstance().startAppMembersSync(&createWatcher);
    if (status < 0)
        throw tools::Failure(std::string("the client does not start: ") + strerror(-status));
}

bool isConnected() {
    return connected;
}

}  // namespace sound::control
