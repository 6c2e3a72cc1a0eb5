/// @file
/// Options that all programs have.
#pragma once

#include <CLI/CLI.hpp>
#include <string>

#include "service_address.h"

namespace tools {

/// Declares where the service is. Holds for this process from the end of parsing on.
inline void addServiceOption(CLI::App& app) {
    app.add_option_function<std::string>("--service", &useServiceAddress,
                                         "where the sound service is; wins over AUDVIK_SERVICE")
        ->check([](std::string const& address) {
            auto const colon = std::min(address.find(':'), address.size());
            bool const isRight = CLI::ValidIPV4(address.substr(0, colon)).empty() &&
                                 CLI::Range(1, 65535)(address.substr(colon + 1)).empty();
            return isRight ? "" : '"' + address + "\" is not HOST:PORT like 127.0.0.1:12321";
        })
        ->type_name("ADDRESS");
}

inline void addDebugLevelOption(CLI::App& app, std::string& level) {
    app.add_option("--debug-level", level, "what the platform's log shows")
        ->check(CLI::IsMember({"error", "warning", "info", "trace"}))
        ->capture_default_str();
}

}  // namespace tools
