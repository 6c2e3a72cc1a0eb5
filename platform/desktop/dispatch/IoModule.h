// What the handle of the platform's transport functions points to.
#pragma once

#include <atomic>
#include <cstdint>

#include "Dispatcher.h"
#include "frame/message_meta.h"
#include "Payload.h"

namespace desktop {

/// An owner of receivers at one end of the transport. Each void* handle is a pointer to one.
class IoModule {
public:
    explicit IoModule(Dispatcher& dispatcher) : dispatcher_(dispatcher) {}
    virtual ~IoModule() = default;
    IoModule(IoModule const&) = delete;
    IoModule& operator=(IoModule const&) = delete;

    /// Sends a message whose header and record are in their form on the wire already.
    /// @return as for frameLmqIOServiceSendStructure()
    virtual std::int32_t send(Payload message, frame::TransportInfo const* destination) = 0;

    Dispatcher& dispatcher() { return dispatcher_; }

    /// Whether a receiver could not be registered. Whoever registered it may not look at the
    /// result, and would never hear of that message.
    void noteFailedRegistration() { registrationFailed_ = true; }
    bool registrationFailed() const { return registrationFailed_; }

private:
    std::atomic<bool> registrationFailed_ = false;
    Dispatcher& dispatcher_;
};

}  // namespace desktop
