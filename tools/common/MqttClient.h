/// @file
/// A connection to an MQTT broker that comes back by itself. MQTT 5.
#pragma once

#include <mosquitto.h>
#include <poll.h>

#include <chrono>
#include <cstdint>
#include <exception>
#include <functional>
#include <memory>
#include <random>
#include <string>
#include <utility>
#include <vector>

#include "MqttOptions.h"

namespace tools {

struct MqttMessage {
    std::string topic;
    std::string payload;
    bool isRetained = false;  ///< on the way out: to be retained
    std::string responseTopic = {};
    std::string correlation = {};
    std::vector<std::pair<std::string, std::string>> properties = {};  ///< on the way out
};

/// Belongs to one thread, which calls work() whenever poll() tells of what polled() says, and once
/// a second at least. While there is more to write than the connection takes, nothing is read: so
/// what comes in can be answered without a queue that grows.
class MqttClient {
public:
    struct Events {
        std::function<void()> connected;
        std::function<void(MqttMessage const&)> received;
        /// Why the connection is lost or cannot be made. It is tried again by itself, later and
        /// later.
        std::function<void(std::string const& reason)> missed;
    };

    /// Packets larger than this are not taken: the broker drops them.
    static constexpr std::uint32_t kLargestPacket = 256 << 10;

    /// @param will  what the broker publishes when this end is gone without a word; topic empty
    ///              for none
    /// @throws UsageError for options that do not make sense or files that cannot be used
    MqttClient(MqttOptions const& options, std::string const& id, Events events,
               MqttMessage const& will);
    /// Waits a moment until everything is out, and says goodbye.
    ~MqttClient();
    MqttClient(MqttClient const&) = delete;
    MqttClient& operator=(MqttClient const&) = delete;

    /// Each time after it has connected.
    /// @param takesRetained  whether what was retained before counts, too
    void subscribe(std::string const& pattern, bool takesRetained);

    /// At most once (QoS 0). Without a connection, and for a topic that is none, nothing happens.
    void publish(MqttMessage const& message);

    /// Says whether something can be published and goes out before what comes next.
    bool isReady() const;

    pollfd polled() const;
    /// @throws what events.received throws
    void work();

    /// "HOST:PORT"
    std::string address() const;

private:
    using Clock = std::chrono::steady_clock;

    void listen();
    void connect();
    void retryLater();
    void take(mosquitto_message const& message, mosquitto_property const* properties);

    std::unique_ptr<mosquitto, void (*)(mosquitto*)> const mosquitto_;
    Events const events_;
    std::string host_;
    int port_ = 0;
    bool isConnected_ = false;
    std::string refusal_;  ///< what the library or the broker said last of why it fails
    std::exception_ptr failure_;
    std::chrono::duration<double> wait_;
    Clock::time_point retryAt_;
    Clock::time_point connectedAt_;
    std::minstd_rand random_{std::random_device{}()};
};

}  // namespace tools
