#pragma once

#include <csignal>
#include <deque>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <utility>

#include "Client.h"
#include "Commands.h"
#include "MqttClient.h"
#include "Sound.h"
#include "SoundSource.h"

struct Settings {
    std::string set;  ///< its name
    tools::MqttOptions broker;
    double levelRate = 4;  ///< how often a second the level is told; 0 for never
    bool homeAssistant = false;
    std::string debugLevel = "warning";
};

/// Stands between a set's sound service and a broker. Must stay until the process ends. Whatever
/// is kept for the broker is bounded: of each notification the last, of all a number, of sound a
/// second.
class Bridge {
public:
    /// @throws tools::UsageError, tools::Failure
    explicit Bridge(Settings settings);

    /// @param signals  that end it; they have to be blocked
    void run(sigset_t const& signals);

private:
    // On the thread that delivers notifications.
    void hear(sound::reflection::Notification const& notification, tools::Json const& arguments);
    void changeService(bool isPresent);

    void greet();
    void take(tools::MqttMessage const& message);
    void miss(std::string const& reason);
    void publish(tools::MqttMessage message);
    void tellStatus();
    void tellNews();
    std::optional<tools::MqttMessage> nextNotification();
    void queueAll();
    void switchSound();
    void wake() const;

    Settings const settings_;
    std::string const root_;  ///< of the set's topics, with a slash
    int const wakeUp_;
    // The delivery thread's, too. Before those who call on it.
    std::mutex mutex_;  ///< for the next three
    bool asks_ = false;
    std::map<std::string, std::string> last_;  ///< of each notification, by name
    std::deque<std::pair<std::string, std::string>> untold_;

    std::shared_ptr<Sound> const sound_;
    tools::SoundSource& source_;
    sound::reflection::Client client_;
    Commands commands_;
    std::unique_ptr<tools::MqttClient> broker_;
    bool soundIsOn_ = false;
    std::string statusTold_;
    std::string missed_;  ///< why there is no broker, as it was printed
};
