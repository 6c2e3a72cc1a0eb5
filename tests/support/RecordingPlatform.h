/// @file
/// A platform for tests. It implements all that the library takes from a television, records what
/// it is asked to do and answers as it is told.
#pragma once

#include <cstdint>
#include <functional>
#include <iosfwd>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "csp/debug.h"
#include "csp/endian.h"
#include "frame/AbstractMarshallingImpl.h"
#include "frame/lmq.h"
#include "frame/Process.h"
#include "sound/ClientInterfaceListener.h"

namespace recording {

struct LogLine {
    std::uint32_t levelWord;
    std::string file;
    std::string function;
    std::string text;
    bool operator==(LogLine const&) const = default;
};
std::ostream& operator<<(std::ostream& out, LogLine const& line);

/// One call of frameLmqIOServiceSendStructure().
struct Message {
    void* ioModule;
    frame::MsgIds* msgIds;
    frame::MsgIds msgIdsValue;
    frameLmqMessageHeader_t header;
    frame::TransportInfo const* destination;
    cspEndianTable_t const* table;
    std::vector<unsigned char> record;
};

/// One call of frameLmqIOServiceRegisterMessageHandlerFunction().
struct Receiver {
    void* ioModule;
    frameLmqMessageHeader_t header;
    frameLmqMessageHandler_t function;
    void* context;
    cspEndianTable_t const* table;
};

/// The platform's state. Its functions lock it; a test that looks has no thread running.
struct Platform {
    // What to answer.
    std::uint32_t threshold = 5000;                      ///< the highest level that the log wants
    std::function<std::int32_t()> onStart;               ///< a negative result ends the start
    std::function<std::int32_t(Message const&)> onSend;  ///< its result is the send's
    std::function<std::int32_t(Receiver const&)> onRegister;
    std::map<std::string, std::int32_t> results;  ///< of the base's functions; 0 when not here

    // What was asked.
    std::vector<std::string> calls;  ///< of the framework and the listener's base, in order
    std::vector<LogLine> log;
    std::vector<std::string> misuses;  ///< uses that break the platform's rules
    std::vector<Message> sent;
    std::vector<Receiver> receivers;
    std::map<std::string, void*> interfaces;
    std::vector<sound::ClientInterfaceListener*> listeners;  ///< those alive, oldest first
    int argc = -1;
    char** argv = nullptr;
    std::string udpHostAtStart;
    frame::ApplicationArrayFactory factory = nullptr;

    std::vector<std::unique_ptr<frame::AbstractMarshallingImpl>> members;
    std::mutex mutex;
    char ioModule = 0;

    /// Hands a record to the last receiver that was registered for the identifier.
    /// @return what the receiver returned
    std::int32_t deliver(std::uint32_t messageId, frame::TransportInfo const& transport,
                         void const* record) const;

    sound::ServiceInterface* service() const;
};

Platform& platform();

/// Destroys the framework's members and forgets everything.
void resetPlatform();

/// Says whether this thread is at work in the recorder, and not in the library.
bool isRecording();

}  // namespace recording
