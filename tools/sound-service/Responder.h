/// @file
/// Takes the clients' commands and answers them.
#pragma once

#include <cstdint>
#include <functional>
#include <mutex>

#include "MessageLog.h"
#include "State.h"

namespace sound::service {

/// Keeps the state that the commands set, and sends the notifications that they bring about. All
/// of it follows from the message list.
class Responder {
public:
    /// Switches a client's audio data on or off.
    using Switch = std::function<void(frame::TransportInfo const& client, bool on)>;

    /// @param log  must outlive the responder
    Responder(State state, Switch switchAudioData, MessageLog& log);

    /// Receives commands from an IO module and answers through it, until the module goes.
    void connect(void* ioModule);

    /// Sets what a notification tells, and tells it to all clients. Any thread.
    /// @throws std::runtime_error when setState() does
    void tell(std::string const& notification, tools::Json const& arguments);

    /// Tells a client of a block of audio data. Any thread.
    /// @return what the transport returned
    std::int32_t announceAudioData(frame::TransportInfo const& client, std::string const& path,
                                   std::uint32_t size);

private:
    template <MessageId kId>
    static std::int32_t receive(frame::MsgMeta const& meta, frame::TransportInfo const& client,
                                void const* record, void* context);
    template <MessageId kId>
    void handle(frame::TransportInfo const& client, ArgumentsOf<kId> const& arguments);

    // What to do for a command, named as the relation to its notification in the message list.
    template <MessageId kNotification, class Arguments>
    void reports(frame::TransportInfo const& client, Arguments const& arguments,
                 ArgumentsOf<kNotification>& state);
    template <MessageId kNotification, class Arguments>
    void answers(frame::TransportInfo const& client, Arguments const& arguments,
                 ArgumentsOf<kNotification>& state);
    template <MessageId kNotification, class Arguments>
    void streams(frame::TransportInfo const& client, Arguments const& arguments,
                 ArgumentsOf<kNotification>& state);

    /// @param client  null for all
    template <MessageId kId>
    std::int32_t send(frame::TransportInfo const* client, ArgumentsOf<kId> const& arguments);

    std::mutex mutex_;
    State state_;  // guarded by mutex_
    Switch switchAudioData_;
    MessageLog& log_;
    void* ioModule_ = nullptr;
};

}  // namespace sound::service
