#pragma once

#include <atomic>
#include <memory>
#include <optional>
#include <string>

#include "Client.h"
#include "Commands.h"
#include "Heard.h"
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

/// Stands between a set's sound service and a broker.
class Bridge {
public:
    /// @throws tools::UsageError for settings that do not make sense
    explicit Bridge(Settings settings);

    /// From here on it must stay until the process ends.
    /// @param ending  a descriptor that can be read when it is to end
    /// @throws tools::Failure when this process cannot be a client of the service
    void run(int ending);

private:
    void start();
    void greet();
    void take(tools::MqttMessage const& message);
    void miss(std::string const& reason);
    void publish(std::string const& topic, std::string const& payload);
    void tellNews();
    void tellStatus();
    void meetService();
    void switchSound();
    void wake() const;

    Settings const settings_;
    std::string const root_;  ///< of the set's topics, with a slash
    int const wakeUp_;
    std::unique_ptr<tools::MqttClient> broker_;
    // The delivery thread's, too, from the start on.
    std::atomic<bool> isOtherService_ = false;
    tools::Heard heard_;
    std::shared_ptr<Sound> const sound_;
    // From the start on.
    tools::SoundSource* source_ = nullptr;
    std::optional<sound::reflection::Client> client_;
    std::optional<Commands> commands_;
    bool soundIsOn_ = false;
    std::string missed_;  ///< why there is no broker, as it was printed
};
