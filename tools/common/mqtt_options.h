/// @file
/// Options of the programs that speak to a broker.
#pragma once

#include <CLI/CLI.hpp>
#include <string>

#include "MqttOptions.h"

namespace tools {

/// Declares where the broker is, and by what it knows us.
inline CLI::Option* addMqttOptions(CLI::App& app, MqttOptions& options) {
    auto* const broker = app.add_option("--broker", options.broker, "where the MQTT broker is")
                             ->type_name("HOST[:PORT]");
    app.add_option("--user", options.user, "the name to show it; wins over AUDVIK_MQTT_USER")
        ->type_name("NAME");
    app.add_option("--password-file", options.passwordFile,
                   "its first line is the password; wins over AUDVIK_MQTT_PASSWORD")
        ->type_name("FILE");
    app.add_option("--ca", options.ca, "use TLS, and check the broker by these certificates")
        ->type_name("FILE");
    app.add_option("--cert", options.certificate, "our certificate")->type_name("FILE");
    app.add_option("--key", options.key, "its key")->type_name("FILE");
    return broker;
}

/// @return what is wrong with the name of a set, which is a part of topics; empty when nothing is
inline std::string checkSetName(std::string const& name) {
    constexpr std::size_t kLongest = 64;
    bool const isRight = !name.empty() && name.size() <= kLongest &&
                         name.find_first_not_of(
                             "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789_-.") ==
                             std::string::npos;
    return isRight ? ""
                   : '"' + name + "\" is no name of a set: 1 to 64 letters, digits, _, - and .";
}

}  // namespace tools
