#include "Commands.h"

#include <algorithm>

#include "ConnectionWatcher.h"
#include "errors.h"
#include "message_json.h"
#include "service_address.h"

namespace reflection = sound::reflection;
using std::chrono::steady_clock;

namespace {

constexpr std::size_t kLargestPayload = 64 << 10;
constexpr std::size_t kLongestCorrelation = 128;
constexpr std::size_t kRemembered = 1000;
constexpr std::chrono::seconds kRefusal{1};

bool switchesStream(reflection::Command const& command) {
    auto const all = reflection::notifications();
    return std::any_of(all.begin(), all.end(), [&](auto const& notification) {
        return notification.relation == "streams" && notification.command == command.name;
    });
}

/// @throws tools::UsageError for what nothing should be tried with
void check(reflection::Command const& command, tools::MqttMessage const& message) {
    if (message.payload.size() > kLargestPayload) {
        throw tools::UsageError("the payload has " + std::to_string(message.payload.size()) +
                                " bytes; at most " + std::to_string(kLargestPayload) +
                                " are taken");
    }
    if (switchesStream(command)) {
        throw tools::UsageError("the bridge itself switches that; for sound, ask at audio/lease");
    }
}

reflection::Request read(reflection::Command const& command, std::string const& payload) {
    try {
        return reflection::requestFromJson(
            command, payload.empty() ? tools::Json::object() : tools::parseJson(payload));
    } catch (tools::Json::parse_error const& error) {
        throw tools::UsageError(std::string("the payload is no JSON: ") + error.what());
    }
}

}  // namespace

Commands::Commands(reflection::Client& client, std::string set)
    : client_(client), set_(std::move(set)) {}

std::string Commands::take(std::string const& name, tools::MqttMessage const& message) {
    auto answer = tools::timedLine();
    answer["set"] = set_;
    answer["command"] = name;
    auto const key = message.responseTopic + '\0' + message.correlation;
    try {
        if (message.correlation.size() > kLongestCorrelation) {
            throw tools::UsageError("the correlation data have more than " +
                                    std::to_string(kLongestCorrelation) + " bytes");
        }
        auto const earlier = std::find_if(answered_.rbegin(), answered_.rend(),
                                          [&](auto const& each) { return each.first == key; });
        if (!message.correlation.empty() && earlier != answered_.rend()) return earlier->second;
        answer.update(send(reflection::findCommand(name), message));
    } catch (std::exception const& error) {
        answer["error"] = error.what();
        return tools::toText(answer);
    }
    auto text = tools::toText(answer);
    if (message.correlation.empty()) return text;
    answered_.emplace_back(key, text);
    if (answered_.size() > kRemembered) answered_.pop_front();
    return text;
}

tools::Json Commands::send(reflection::Command const& command, tools::MqttMessage const& message) {
    check(command, message);
    auto request = read(command, message.payload);
    if (!tools::isConnected()) {
        throw tools::Failure("no sound service at " + tools::serviceAddress());
    }
    if (steady_clock::now() < refusedUntil_) {
        throw tools::Failure("the sound service takes no more at the moment; send fewer at a time");
    }
    try {
        client_.send(command, request);
    } catch (tools::Failure const&) {
        refusedUntil_ = steady_clock::now() + kRefusal;
        throw;
    }
    return {{"id", tools::idText(command.id)},
            {"arguments", std::move(request.arguments)},
            {"status", 0}};
}
