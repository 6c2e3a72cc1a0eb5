/// @file
/// Options that all programs have.
#pragma once

#include <CLI/CLI.hpp>
#include <cstdlib>
#include <map>
#include <memory>
#include <string>

#include "names_file.h"
#include "service_address.h"
#include "stream_format.h"

namespace tools {

/// Ends the program when the command line is wrong or asks for help.
inline void parse(CLI::App& app, int argc, char** argv) {
    constexpr int kUsageError = 2;
    try {
        app.parse(argc, argv);
    } catch (CLI::ParseError const& error) {
        std::exit(app.exit(error) == 0 ? EXIT_SUCCESS : kUsageError);
    }
}

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

/// Declares a file for useNamesFile(), which parsing ends with. The program has no other callback.
inline void addNamesOption(CLI::App& app) {
    auto const path = std::make_shared<std::string>();
    app.add_option("--names", *path, "a file with names, units and ranges of fields")
        ->type_name("FILE")
        ->envname("AUDVIK_NAMES");
    app.callback([path] {
        if (!path->empty()) useNamesFile(*path);
    });
}

inline void addDebugLevelOption(CLI::App& app, std::string& level) {
    app.add_option("--debug-level", level, "what the platform's log shows")
        ->check(CLI::IsMember({"error", "warning", "info", "trace"}))
        ->capture_default_str();
}

/// Declares an option that takes a time, as 2, 2s, 500ms or 5min.
/// @param seconds  from @p least to a day; what it holds is the default
inline CLI::Option* addTimeOption(CLI::App& app, std::string const& name, double& seconds,
                                  double least, std::string const& description) {
    constexpr double kDay = 86400;
    std::map<std::string, double> const units{{"ms", 0.001}, {"s", 1}, {"min", 60}};
    return app.add_option(name, seconds, description)
        ->transform(CLI::AsNumberWithUnit(units))
        ->check(CLI::Range(least, kDay))
        ->type_name("TIME");
}

/// Declares what the sound is where the service does not say it.
/// @param isGiven  set when the command line says it
inline void addFormatOptions(CLI::App& app, StreamFormat& format, bool& isGiven) {
    auto const give = [&isGiven](std::string const& /*value*/) { isGiven = true; };
    app.add_option("-r,--rate", format.rate,
                   "frames per second of the sound, where the service does not say them")
        ->check(CLI::Range(1, kHighestRate))
        ->each(give)
        ->capture_default_str()
        ->type_name("HZ");
    app.add_option("-c,--channels", format.channels, "channels of the sound, likewise")
        ->check(CLI::Range(1, kMostChannels))
        ->each(give)
        ->capture_default_str()
        ->type_name("N");
}

}  // namespace tools
