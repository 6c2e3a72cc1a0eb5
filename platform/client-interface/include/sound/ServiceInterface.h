/// @file
/// The sound service's command interface.
#pragma once

#include <boost/shared_ptr.hpp>
#include <cstdint>

#include "frame/message_meta.h"
#include "sound/ClientInterface.h"
#include "sound/message_arguments.h"
#include "sound/records.h"

namespace sound {

/// Everything that the sound service can be told, and the registration of those who want to
/// hear from it. One operation per command of the message list, in the list's order, which is
/// part of the binary interface.
///
/// `cmd<Name>(msgIds, transportInfo[, argument])` sends one message and does not wait for an
/// answer; what the service has to say arrives as a notification. Any thread may call it, also
/// from inside a notification.
/// - `msgIds` goes with the message; `transportInfo` is not used.
/// - The result is the transport's status: negative when the message was not sent.
class ServiceInterface {
public:
    virtual ~ServiceInterface() = default;

#define AUDVIK_COMMAND(NAME, ...)   \
    virtual std::int32_t cmd##NAME( \
        frame::MsgIds& msgIds,      \
        frame::TransportInfo const& transportInfo AUDVIK_PARAMETERS(__VA_ARGS__)) = 0;
#include "sound/messages.def"

    /// Registers a client for all notifications, in order of registration. Takes effect from the
    /// next notification on. Any thread, also from inside a notification.
    /// @return 0; -EEXIST when this object is registered already; -EINVAL for an empty reference
    virtual std::int32_t addClient(boost::shared_ptr<ClientInterface> client) = 0;

    /// Unregisters a client. A notification in progress still reaches it.
    /// @return 0; -ENOENT when this object is not registered
    virtual std::int32_t removeClient(boost::shared_ptr<ClientInterface> client) = 0;
};

}  // namespace sound
