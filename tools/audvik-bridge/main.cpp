#include <sys/utsname.h>

#include <CLI/CLI.hpp>

#include "Bridge.h"
#include "mqtt_options.h"
#include "program.h"
#include "program_options.h"

namespace {

void run(int argc, char** argv) {
    utsname host{};
    ::uname(&host);
    Settings settings;
    settings.set = host.nodename;
    CLI::App app("Connects a set's sound service with an MQTT broker.", "audvik-bridge");
    app.footer("Example: audvik-bridge --broker broker.example --set living-room --names tv.json");
    app.set_version_flag("--version", "audvik-bridge " AUDVIK_VERSION);
    tools::addMqttOptions(app, settings.broker);
    app.add_option("--set", settings.set, "the set's name; the host's when not given")
        ->check(&tools::checkSetName);
    app.add_option("--level-rate", settings.levelRate,
                   "how often a second to tell the level; 4 when not given, 0 for never")
        ->check(CLI::Range(0.0, 50.0));
    app.add_flag("--home-assistant", settings.homeAssistant,
                 "announce the fields with a name and a range to Home Assistant");
    tools::addServiceOption(app);
    tools::addNamesOption(app);
    tools::addDebugLevelOption(app, settings.debugLevel);
    tools::parse(app, argc, argv);

    int const ending = tools::takeEndingSignals();
    // Never destroyed: the delivery thread may use it up to the last moment of the process.
    (new Bridge(std::move(settings)))->run(ending);
}

}  // namespace

int main(int argc, char** argv) {
    return tools::runProgram("audvik-bridge", [=] { run(argc, argv); });
}
