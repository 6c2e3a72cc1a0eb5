#include "fleet.h"

#include <poll.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cstdio>
#include <map>
#include <optional>
#include <random>

#include "errors.h"
#include "format.h"
#include "message_list.h"
#include "MqttClient.h"
#include "program.h"
#include "Step.h"

namespace sound::control {

namespace {

using tools::Json;
using tools::MqttMessage;
using Clock = std::chrono::steady_clock;

/// A set's name out of one of its topics, and what is behind it: "status", "on/onMuteInfoNotify".
std::pair<std::string, std::string> splitTopic(std::string const& topic) {
    auto const begin = topic.find('/') + 1;
    auto const end = std::min(topic.find('/', begin), topic.size() - 1);
    return {topic.substr(begin, end - begin), topic.substr(end + 1)};
}

/// Nobody else's, below a topic that access lists can give each user.
std::string answerTopic(tools::MqttOptions const& broker) {
    auto const user = tools::userName(broker);
    return "audvik-answers/" + (user.empty() ? "" : user + '/') + "soundctl-" +
           std::to_string(std::random_device{}());
}

/// A client of the broker that hears of the sets in question.
class Fleet {
public:
    using Hear = std::function<void(std::string const& set, std::string const& topic,
                                    std::string const& payload)>;

    /// Connects, and learns of each set how it is, and whatever is retained in @p topic.
    Fleet(FleetOptions const& options, std::string topic, bool takesRetained, Hear hear)
        : set_(options.set == "*" ? "+" : options.set),
          topic_(std::move(topic)),
          takesRetained_(takesRetained),
          hear_(std::move(hear)),
          answersTo_(answerTopic(options.broker)),
          client_(options.broker, "",
                  {[this] { greet(); }, [this](MqttMessage const& message) { take(message); },
                   [this](std::string const& reason) {
                       throw tools::Failure("no broker at " + client_.address() + ": " + reason);
                   }},
                  {}) {
        constexpr auto kPatience = std::chrono::seconds(10);
        if (!workUntil([this] { return answers.contains(kGreeting); }, kPatience)) {
            throw tools::Failure("the broker at " + client_.address() +
                                 " does not let us listen to " + answersTo_);
        }
        if (!statuses.empty()) return;
        throw tools::Failure(options.set == "*" ? "the broker knows no set"
                                                : "the broker knows no set " + options.set);
    }

    /// @return false when @p time is up
    template <class Condition>
    bool workUntil(Condition const& condition, Clock::duration time) {
        auto const end = Clock::now() + time;
        while (!condition()) {
            if (Clock::now() >= end) return false;
            work();
        }
        return true;
    }

    void work() {
        constexpr int kTick = 50;  // in milliseconds
        auto polled = client_.polled();
        ::poll(&polled, 1, kTick);
        client_.work();
    }

    void send(std::string const& set, std::string const& command, std::string const& payload) {
        MqttMessage message{"audvik/" + set + "/do/" + command, payload};
        message.responseTopic = answersTo_;
        message.correlation = set;
        client_.publish(message);
    }

    std::map<std::string, std::string> statuses;  ///< by set
    std::map<std::string, std::string> answers;   ///< likewise

private:
    static constexpr char kGreeting[] = "";

    /// What is retained comes before what is published now.
    void greet() {
        client_.subscribe(answersTo_, false);
        client_.subscribe("audvik/" + set_ + "/status", true);
        if (!topic_.empty()) client_.subscribe("audvik/" + set_ + '/' + topic_, takesRetained_);
        client_.publish({answersTo_, "greeting"});
    }

    void take(MqttMessage const& message) {
        if (message.topic == answersTo_) {
            answers[message.correlation] = message.payload;
            return;
        }
        auto const [set, topic] = splitTopic(message.topic);
        if (topic == "status") {
            statuses[set] = message.payload;
        } else if (!message.payload.empty()) {
            hear_(set, topic.substr(topic.find('/') + 1), message.payload);
        }
    }

    std::string const set_;
    std::string const topic_;
    bool const takesRetained_;
    Hear const hear_;
    std::string const answersTo_;
    tools::MqttClient client_;
};

/// What a set, or whoever has put it there, has said: an object.
Json lineOf(std::string const& payload) {
    try {
        auto line = tools::parseJson(payload);
        if (line.is_object()) return line;
    } catch (std::exception const&) {  // likewise none
    }
    return {{"payload", payload}};
}

/// @return why a set does not do a command; nothing when it does, or has not answered
std::optional<std::string> refusal(std::map<std::string, std::string> const& answers,
                                   std::string const& set) {
    auto const answer = answers.find(set);
    if (answer == answers.end()) return std::nullopt;
    auto const line = lineOf(answer->second);
    if (line.contains("status")) return std::nullopt;
    bool const isSaid = line.contains("error") && line["error"].is_string();
    return isSaid ? line["error"].get<std::string>() : answer->second;
}

/// A notification's line as text, or as it is when it is none that this program knows.
std::string readable(std::string const& name, std::string const& payload) {
    try {
        return readableLine(reflection::findNotification(name), lineOf(payload).at("arguments"));
    } catch (std::exception const&) {
        return payload;
    }
}

void print(std::string const& set, std::string const& text) {
    std::printf("%-16s %s\n", set.c_str(), text.c_str());
    std::fflush(stdout);
}

void refuseUnknown(std::vector<std::string> const& names) {
    for (auto const& name : names) reflection::findNotification(name);
}

bool isAmong(std::vector<std::string> const& names, std::string const& name) {
    return names.empty() || std::find(names.begin(), names.end(), name) != names.end();
}

}  // namespace

void sendToFleet(FleetOptions const& options, SendOptions const& send) {
    Step const step = stepOf(send);
    std::map<std::string, std::string> told;  // what was expected, by set
    Fleet fleet(options, send.expect.empty() ? "" : "on/" + send.expect, false,
                [&told](std::string const& set, std::string const&, std::string const& payload) {
                    told.try_emplace(set, payload);
                });
    auto const sets = fleet.statuses;
    for (auto const& [set, status] : sets) {
        if (status != "online") continue;
        fleet.send(set, send.command, tools::toText(step.request.arguments));
    }
    auto const& heard = send.expect.empty() ? fleet.answers : told;
    fleet.workUntil(
        [&] {
            return std::all_of(sets.begin(), sets.end(), [&](auto const& set) {
                return set.second != "online" || heard.contains(set.first) ||
                       refusal(fleet.answers, set.first);
            });
        },
        std::chrono::duration_cast<Clock::duration>(step.timeout));
    std::size_t failures = 0;
    for (auto const& [set, status] : sets) {
        auto const refused = refusal(fleet.answers, set);
        bool const isDone = heard.contains(set) && !refused;
        failures += isDone ? 0 : 1;
        if (status != "online") {
            print(set, status);
        } else if (refused) {
            print(set, "error: " + *refused);
        } else if (!isDone) {
            print(set, "no answer within " + tools::toText(step.timeout.count()) + " s");
        } else {
            print(set, send.expect.empty() ? "done" : readable(send.expect, heard.at(set)));
        }
    }
    if (failures == 0) return;
    throw tools::Failure(std::to_string(failures) + " of " + std::to_string(sets.size()) +
                         " sets did not do it");
}

void monitorFleet(FleetOptions const& options, MonitorOptions const& monitor) {
    refuseUnknown(monitor.names);
    std::array<pollfd, 2> ending{{{tools::takeEndingSignals(), POLLIN, 0}, {STDOUT_FILENO, 0, 0}}};
    Fleet fleet(options, "on/+", false,
                [&](std::string const& set, std::string const& name, std::string const& payload) {
                    if (!isAmong(monitor.names, name)) return;
                    if (!monitor.json) return print(set, readable(name, payload));
                    Json line = lineOf(payload);
                    line["set"] = set;
                    std::puts(tools::toText(line).c_str());
                    std::fflush(stdout);
                });
    while (::poll(ending.data(), ending.size(), 0) == 0) fleet.work();
}

void stateOfFleet(FleetOptions const& options, StateOptions const& state) {
    refuseUnknown(state.names);
    std::map<std::string, std::map<std::string, std::string>> known;
    Fleet const fleet(
        options, "on/+", true,
        [&](std::string const& set, std::string const& name, std::string const& payload) {
            if (isAmong(state.names, name)) known[set][name] = payload;
        });
    Json document = Json::object();
    for (auto const& [set, status] : fleet.statuses) {
        document[set] = {{"status", status}};
        if (!state.json) print(set, status);
        for (auto const& [name, payload] : known[set]) {
            document[set][name] = lineOf(payload)["arguments"];
            if (!state.json) print(set, readable(name, payload));
        }
    }
    if (state.json) std::puts(document.dump(2, ' ', false, Json::error_handler_t::replace).c_str());
}

}  // namespace sound::control
