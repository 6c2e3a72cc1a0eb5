/// @file
/// The framework's message-queue transport: sending a packed record and registering a receiver.
#pragma once

#include <cstdint>

#include "csp/endian.h"
#include "frame/message_meta.h"

/// Goes with every message. The transport copies what it keeps of it.
struct frameLmqMessageHeader_t {
    std::uint32_t leadingWord;    ///< 0xFFFFFFFF
    std::uint32_t interfaceCode;  ///< which half of which interface the message belongs to
    std::uint32_t messageId;
    std::uint8_t notification;  ///< 0 for a command, 1 for a notification
};

/// Receives one message. Called on the transport's delivery thread, one message at a time in
/// order of arrival. May block, send, register and unregister.
/// @param meta       what is known of the message besides its record
/// @param transport  where it came from
/// @param record     the packed record in host byte order, laid out as the table says that was
///                   given at registration; valid until the receiver returns
/// @param context    as given at registration
/// @return ignored
using frameLmqMessageHandler_t = std::int32_t (*)(frame::MsgMeta const& meta,
                                                  frame::TransportInfo const& transport,
                                                  void const* record, void* context);

extern "C" {

/// Sends one message. Thread-safe; may be called from inside a receiver. Does not wait for an
/// answer. Everything that the arguments point to may go when the call returns.
/// @param ioModule     the handle given to frame::AbstractMarshallingImpl::setLmqIOModule()
/// @param msgIds       handed through to the receiver
/// @param header       tells the message's kind
/// @param destination  whom to send to: null for the interface's usual peer
/// @param table        describes @p record
/// @param record       the packed record in host byte order, table->size bytes
/// @return 0 or a positive value when the message is on its way; else a negative errno value,
///         within bounded time. At either end:
///         - -EINVAL: a null handle, table or record, or a string with a length and no characters
///         - -EMSGSIZE: it is larger than a message can be
///         - -ENOMEM: memory ran out
///
///         A client's:
///         - -ECONNREFUSED: nobody listens at the service's address
///         - -ETIMEDOUT: the service does not answer, or has taken none of the messages that wait
///           for it for too long
///         - -ECONNRESET: the service went away, or forgot this process, while this message
///           waited for room
///         - -EACCES: the service's address belongs to another user's process
///         - -ESHUTDOWN: the framework has stopped
///
///         A service's:
///         - -ENOTCONN: the destination is no client, or is one no longer
///         - -EAGAIN: too many messages wait for that client
std::int32_t frameLmqIOServiceSendStructure(void* ioModule, frame::MsgIds& msgIds,
                                            frameLmqMessageHeader_t const& header,
                                            frame::TransportInfo const* destination,
                                            cspEndianTable_t const* table, void const* record);

/// Has @p receiver called for every arriving message whose interface code and identifier are
/// those of @p header.
/// @param ioModule  as for sending; the registration lasts as long as the module
/// @param header    the kind of message to receive; its leading word is not looked at
/// @param receiver  called on the delivery thread
/// @param context   handed to the receiver
/// @param table     describes the message's record; must stay valid as long as the registration
/// @return 0, or a negative errno value: -EINVAL for a null handle, receiver or table
std::int32_t frameLmqIOServiceRegisterMessageHandlerFunction(void* ioModule,
                                                             frameLmqMessageHeader_t const& header,
                                                             frameLmqMessageHandler_t receiver,
                                                             void* context,
                                                             cspEndianTable_t const* table);
}
