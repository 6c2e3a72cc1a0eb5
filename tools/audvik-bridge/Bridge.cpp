#include "Bridge.h"

#include <poll.h>
#include <sys/eventfd.h>
#include <sys/signalfd.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <csignal>
#include <cstdio>

#include "ConnectionWatcher.h"
#include "home_assistant.h"
#include "interface_schema.h"
#include "message_json.h"
#include "service_address.h"
#include "supervisor.h"

namespace reflection = sound::reflection;
using tools::MqttMessage;
using namespace std::chrono_literals;
using std::chrono::steady_clock;

namespace {

constexpr std::size_t kMostUntold = 1000;
constexpr std::chrono::milliseconds kTick = 500ms;

/// @param changed  hears of the service, from the first moment on
tools::SoundSource& startSource(std::function<void(bool)> changed, Settings const& settings) {
    tools::watchConnection(std::move(changed));
    return tools::SoundSource::start({"audvik-bridge", "--debug-level=" + settings.debugLevel});
}

}  // namespace

Bridge::Bridge(Settings settings)
    : settings_(std::move(settings)),
      root_("audvik/" + settings_.set + '/'),
      wakeUp_(::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)),
      sound_(std::make_shared<Sound>(settings_.levelRate, [this] { wake(); })),
      source_(startSource([this](bool isPresent) { changeService(isPresent); }, settings_)),
      client_(reflection::Client::Proxy::kIsStarted),
      commands_(client_, settings_.set) {
    source_.add(sound_);
    client_.listen([this](auto const&... heard) { hear(heard...); });
    broker_ = std::make_unique<tools::MqttClient>(
        settings_.broker, "audvik-bridge-" + settings_.set,
        tools::MqttClient::Events{[this] { greet(); },
                                  [this](MqttMessage const& message) { take(message); },
                                  [this](std::string const& reason) { miss(reason); }},
        MqttMessage{root_ + "status", "offline", true});
}

void Bridge::run(sigset_t const& signals) {
    int const ending = ::signalfd(-1, &signals, SFD_CLOEXEC);
    tools::notifySupervisor("READY=1");
    auto watchdogDue = steady_clock::now();
    for (std::array<pollfd, 3> polled{}; polled[2].revents == 0;) {
        polled = {{broker_->polled(), {wakeUp_, POLLIN, 0}, {ending, POLLIN, 0}}};
        auto const wait =
            broker_->isReady() ? std::clamp(sound_->untilLevel(), 0ms, kTick) : kTick;
        ::poll(polled.data(), polled.size(), static_cast<int>(wait.count()));
        eventfd_t count = 0;
        ::eventfd_read(wakeUp_, &count);
        broker_->work();
        tellStatus();
        tellNews();
        switchSound();
        if (steady_clock::now() < watchdogDue) continue;
        tools::notifySupervisor("WATCHDOG=1");
        watchdogDue = steady_clock::now() + tools::watchdogInterval();
    }
    client_.listen(nullptr);
    publish({"status", "offline: the bridge was stopped", true});
    broker_.reset();
    ::close(ending);
}

void Bridge::hear(reflection::Notification const& notification, tools::Json const& arguments) {
    // A block's pipe is of no use to anybody elsewhere.
    if (notification.relation == "streams") return;
    auto line = tools::toText(tools::notificationLine(notification, arguments));
    std::lock_guard const lock(mutex_);
    last_[std::string(notification.name)] = line;
    if (untold_.size() < kMostUntold) {
        untold_.emplace_back(notification.name, std::move(line));
    } else {
        queueAll();
    }
    wake();
}

/// What another service, or the same one later, would say is not known.
void Bridge::changeService(bool isPresent) {
    std::lock_guard const lock(mutex_);
    asks_ = isPresent;
    last_.clear();
    queueAll();
    wake();
}

/// A broker may know nothing yet, or what an earlier bridge or service has said.
void Bridge::greet() {
    std::fprintf(stderr, "audvik-bridge: connected to %s as %s\n", broker_->address().c_str(),
                 settings_.set.c_str());
    missed_.clear();
    broker_->subscribe(root_ + "do/+", false);
    broker_->subscribe(root_ + "audio/lease", false);
    publish({"interface", tools::toText(tools::interfaceSchema()), true});
    if (settings_.homeAssistant) {
        for (auto const& entity : homeAssistantEntities("audvik/" + settings_.set, settings_.set)) {
            broker_->publish(entity);
        }
    }
    statusTold_.clear();
    std::lock_guard const lock(mutex_);
    queueAll();
}

void Bridge::take(MqttMessage const& message) {
    if (message.isRetained) return;  // long ago
    auto const topic = message.topic.substr(root_.size());
    if (!topic.starts_with("do/")) return sound_->renewLease();
    constexpr std::size_t kLongestName = 64;
    MqttMessage answer{message.responseTopic,
                       commands_.take(topic.substr(3, kLongestName), message)};
    answer.correlation = message.correlation;
    // What this bridge says in its own topics nobody else makes it say.
    bool const isWanted = !answer.topic.empty() && !answer.topic.starts_with(root_);
    if (isWanted) broker_->publish(answer);
}

void Bridge::miss(std::string const& reason) {
    if (std::exchange(missed_, reason) == reason) return;
    std::fprintf(stderr, "audvik-bridge: no broker at %s: %s; trying again\n",
                 broker_->address().c_str(), reason.c_str());
}

void Bridge::publish(MqttMessage message) {
    message.topic.insert(0, root_);
    broker_->publish(message);
}

void Bridge::tellStatus() {
    auto const status =
        tools::isConnected() ? "online" : "offline: no sound service at " + tools::serviceAddress();
    if (!broker_->isReady() || status == statusTold_) return;
    publish({"status", status, true});
    statusTold_ = status;
}

void Bridge::tellNews() {
    bool const asks = [this] {
        std::lock_guard const lock(mutex_);
        return std::exchange(asks_, false);
    }();
    for (auto const& notification : reflection::notifications()) {
        if (!asks || notification.relation != "answers") continue;
        commands_.take(std::string(notification.command), {});
    }
    while (broker_->isReady()) {
        auto news = nextNotification();
        if (!news) news = sound_->nextLevel();
        if (!news) news = sound_->nextBlock();
        if (!news) return;
        publish(std::move(*news));
    }
}

std::optional<MqttMessage> Bridge::nextNotification() {
    std::lock_guard const lock(mutex_);
    if (untold_.empty()) return std::nullopt;
    MqttMessage message{"on/" + untold_.front().first, std::move(untold_.front().second), true};
    untold_.pop_front();
    return message;
}

void Bridge::queueAll() {
    untold_.clear();
    for (auto const& notification : reflection::notifications()) {
        if (notification.relation == "streams") continue;
        std::string const name(notification.name);
        untold_.emplace_back(name, last_.contains(name) ? last_[name] : "");
    }
}

/// The service is asked again by itself when it comes back.
void Bridge::switchSound() {
    if (sound_->isWanted() == soundIsOn_) return;
    soundIsOn_ = !soundIsOn_;
    if (soundIsOn_) {
        source_.enable();
    } else {
        source_.disable();
    }
}

void Bridge::wake() const {
    ::eventfd_write(wakeUp_, 1);
}
