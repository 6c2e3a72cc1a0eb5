#pragma once

#include <string>

namespace tools {

/// Where a broker is, and what shows it who we are. No secret is among it.
struct MqttOptions {
    std::string broker = "localhost";  ///< HOST, HOST:PORT or [IPV6]:PORT
    std::string user;                  ///< empty for none, or what AUDVIK_MQTT_USER says
    std::string passwordFile;      ///< its first line; empty to use AUDVIK_MQTT_PASSWORD, if set
    std::string ca;                ///< certificates to check the broker by; empty for no TLS
    std::string certificate, key;  ///< our own, if any
};

/// @return who we are to the broker; empty when nobody in particular
std::string userName(MqttOptions const& options);

}  // namespace tools
