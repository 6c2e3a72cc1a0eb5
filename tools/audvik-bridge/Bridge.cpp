#include "Bridge.h"

#include <poll.h>
#include <sys/eventfd.h>

#include <array>
#include <cstdio>

#include "ConnectionWatcher.h"
#include "home_assistant.h"
#include "interface_schema.h"
#include "service_address.h"
#include "supervisor.h"

using sound::reflection::Notification;
using std::chrono::steady_clock;
using tools::MqttMessage;

Bridge::Bridge(Settings settings)
    : settings_(std::move(settings)),
      root_("audvik/" + settings_.set + '/'),
      wakeUp_(::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)),
      broker_(std::make_unique<tools::MqttClient>(
          settings_.broker, "audvik-bridge-" + settings_.set,
          tools::MqttClient::Events{[this] { greet(); },
                                    [this](MqttMessage const& message) { take(message); },
                                    [this](std::string const& reason) { miss(reason); }},
          MqttMessage{root_ + "status", "offline", true})),
      sound_(std::make_shared<Sound>(settings_.levelRate, [this] { wake(); })) {}

void Bridge::start() {
    tools::watchConnection([this](bool /*isPresent*/) {
        // What another service would say is not known.
        heard_.forget();
        isOtherService_ = true;
        wake();
    });
    source_ =
        &tools::SoundSource::start({"audvik-bridge", "--debug-level=" + settings_.debugLevel});
    source_->add(sound_);
    client_.emplace(sound::reflection::Client::Proxy::kIsStarted);
    commands_.emplace(*client_, settings_.set);
    client_->listen([this](Notification const& notification, tools::Json const& arguments) {
        // A block's pipe is of no use to anybody elsewhere.
        if (notification.relation == "streams") return;
        heard_.take(notification, arguments);
        wake();
    });
}

void Bridge::run(int ending) {
    constexpr int kTick = 500;  // in milliseconds
    start();
    tools::notifySupervisor("READY=1");
    auto watchdogDue = steady_clock::now();
    for (std::array<pollfd, 3> polled{}; polled[2].revents == 0;) {
        polled = {{broker_->polled(), {wakeUp_, POLLIN, 0}, {ending, POLLIN, 0}}};
        ::poll(polled.data(), polled.size(), kTick);
        eventfd_t count = 0;
        ::eventfd_read(wakeUp_, &count);
        broker_->work();
        if (isOtherService_.exchange(false)) meetService();
        tellNews();
        switchSound();
        if (steady_clock::now() < watchdogDue) continue;
        tools::notifySupervisor("WATCHDOG=1");
        watchdogDue = steady_clock::now() + tools::watchdogInterval();
    }
    client_->listen(nullptr);
    publish("status", "offline: the bridge was stopped");
    broker_.reset();
}

/// A broker may know nothing yet, or what an earlier bridge or service has said.
void Bridge::greet() {
    std::fprintf(stderr, "audvik-bridge: connected to %s as %s\n", broker_->address().c_str(),
                 settings_.set.c_str());
    missed_.clear();
    broker_->subscribe(root_ + "do/+", false);
    broker_->subscribe(root_ + "audio/lease", false);
    tellStatus();
    publish("interface", tools::toText(tools::interfaceSchema()));
    if (settings_.homeAssistant) {
        for (auto const& each : homeAssistantEntities(settings_.set)) broker_->publish(each);
    }
    heard_.passAllOn();
}

void Bridge::take(MqttMessage const& message) {
    auto const topic = message.topic.substr(root_.size());
    if (!topic.starts_with("do/")) return sound_->renewLease();
    constexpr std::size_t kLongestName = 64;
    MqttMessage answer{message.responseTopic,
                       commands_->take(topic.substr(3, kLongestName), message)};
    answer.correlation = message.correlation;
    // What this bridge says in its own topics nobody else makes it say.
    if (!answer.topic.starts_with(root_)) broker_->publish(answer);
}

void Bridge::miss(std::string const& reason) {
    if (std::exchange(missed_, reason) == reason) return;
    std::fprintf(stderr, "audvik-bridge: no broker at %s: %s; trying again\n",
                 broker_->address().c_str(), reason.c_str());
}

void Bridge::publish(std::string const& topic, std::string const& payload) {
    broker_->publish({root_ + topic, payload, true});
}

/// As far as they go out at once: nothing is queued behind here.
void Bridge::tellNews() {
    while (broker_->isReady()) {
        if (auto const heard = heard_.next()) {
            if (heard->first->relation == "streams") continue;
            publish("on/" + std::string(heard->first->name),
                    heard->second.is_null() ? "" : tools::toText(heard->second));
        } else if (auto message = sound_->next()) {
            message->topic.insert(0, root_);
            broker_->publish(*message);
        } else {
            return;
        }
    }
}

void Bridge::tellStatus() {
    publish("status", tools::isConnected()
                          ? "online"
                          : "offline: no sound service at " + tools::serviceAddress());
}

/// Has the service, if there is one, say what can be asked for.
void Bridge::meetService() {
    tellStatus();
    for (auto const& notification : sound::reflection::notifications()) {
        if (notification.relation != "answers") continue;
        commands_->take(std::string(notification.command), {});
    }
}

/// A service that comes back is asked for sound again without us.
void Bridge::switchSound() {
    if (sound_->isWanted() == soundIsOn_) return;
    soundIsOn_ = !soundIsOn_;
    if (soundIsOn_) {
        source_->enable();
    } else {
        source_->disable();
    }
}

void Bridge::wake() const {
    ::eventfd_write(wakeUp_, 1);
}
