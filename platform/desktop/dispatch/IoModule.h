// What the handle of the platform's transport functions points to.
#pragma once

#include <cstdint>

#include "bytes.h"
#include "Dispatcher.h"
#include "frame/message_meta.h"

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

private:
    Dispatcher& dispatcher_;
};

}  // namespace desktop
