#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <utility>
#include <vector>

#include "fields.h"
#include "sound/ClientInterface.h"

namespace sound {

/// One call of a client's notification.
struct Received {
    std::string client;
    std::string notification;
    frame::MsgIds* msgIds;
    frame::TransportInfo const* transport;
    std::vector<std::string> values;
};

/// Adds each notification to a list that clients share, and then does as it is told.
class RecordingClient : public sound::ClientInterface {
public:
    RecordingClient(std::string name, std::vector<Received>& received)
        : name_(std::move(name)), received_(received) {}

    ~RecordingClient() override {
        if (onDestruction) onDestruction();
    }

#define AUDVIK_NOTIFICATION(NAME, RELATION, COMMAND, ...)                                \
    std::int32_t on##NAME##Notify(                                                       \
        frame::MsgIds& msgIds,                                                           \
        frame::TransportInfo const& transport AUDVIK_PARAMETERS(__VA_ARGS__)) override { \
        return receive(#NAME, msgIds, transport AUDVIK_ARGUMENTS(__VA_ARGS__));          \
    }
#include "sound/messages.def"

    std::function<void()> onNotification;
    std::function<void()> onDestruction;

private:
    template <class... Arguments>
    std::int32_t receive(char const* notification, frame::MsgIds& msgIds,
                         frame::TransportInfo const& transport, Arguments const&... arguments) {
        std::vector<std::string> values;
        (write(arguments, values), ...);
        received_.push_back({name_, notification, &msgIds, &transport, std::move(values)});
        if (onNotification) onNotification();
        return -1;
    }

    std::string name_;
    std::vector<Received>& received_;
};

}  // namespace sound
