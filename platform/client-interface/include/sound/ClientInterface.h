/// @file
/// The sound service's notification interface.
#pragma once

#include <cstdint>

#include "frame/message_meta.h"
#include "sound/message_arguments.h"
#include "sound/records.h"

namespace sound {

/// What a client of the sound service is told. One operation per notification of the message
/// list, in the list's order, which is part of the binary interface.
///
/// `on<Name>Notify(msgIds, transportInfo, argument)` is called on the transport's delivery
/// thread with no lock held: it may block, send commands, and register or unregister clients.
/// The arguments are valid until it returns. Its result is ignored.
class ClientInterface {
public:
    virtual ~ClientInterface() = default;

#define AUDVIK_NOTIFICATION(NAME, RELATION, COMMAND, ...) \
    virtual std::int32_t on##NAME##Notify(                \
        frame::MsgIds& msgIds,                            \
        frame::TransportInfo const& transportInfo AUDVIK_PARAMETERS(__VA_ARGS__)) = 0;
#include "sound/messages.def"
};

}  // namespace sound
