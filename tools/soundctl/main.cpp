#include <array>
#include <CLI/CLI.hpp>
#include <cstdio>
#include <functional>
#include <memory>

#include "csp/debug.h"
#include "errors.h"
#include "fleet.h"
#include "mqtt_options.h"
#include "program.h"
#include "program_options.h"
#include "Step.h"
#include "subcommands.h"

namespace sound::control {

namespace {

constexpr char kExamples[] = R"(Examples:
  soundctl list volume
  soundctl send cmdVolumeSet 1 30 0 0 0
  soundctl send cmdVolumeSet --json '{"field2": 30}' --expect onVolumeInfoNotify
  soundctl monitor onVolumeInfoNotify onMuteInfoNotify
  soundctl monitor --json > notifications.jsonl
  soundctl record evening.session
  soundctl diff evening.session morning.session
  soundctl state onCapabilityNotify
  soundctl batch commands.jsonl
  mosquitto_sub -t tv/sound | soundctl batch --stream -
  soundctl --broker localhost --set '*' send cmdMuteSet 1
  source <(soundctl completion bash)

The service is expected at 127.0.0.1:12321, or where LMQR2_UDPHOST, AUDVIK_SERVICE or --service
says, the later winning over the earlier.
Exit status: 0 done, 1 failed, 2 wrong usage.)";

constexpr char kSendNotes[] =
    R"(Values are those of the fields in order, with nested records and arrays written out; those
left out are 0, false or empty. Integers may be hexadecimal (0x1f). When a string begins with
"-", "--" comes before the first value. With --json, the answer is printed as JSON, too.

Examples:
  soundctl send cmdVolumeSet 1 30 0 0 0 --expect onVolumeInfoNotify --timeout 500ms
  soundctl send cmdSoundModeInfoSet -1
  echo '{"field1": "hello"}' | soundctl send cmdAudiolinkTest --json -)";

constexpr char kStateNotes[] =
    R"(A notification that answers a command is asked for; the others come when something changes.
What --json prints is a file for sound-service --state.

Example:
  soundctl state --json onSoundFlagsInfoNotify onCapabilityNotify > tv.json)";

constexpr char kRecordNotes[] =
    R"(With --audio, the session says where in the WAV file each moment lies.

Example:
  soundctl record evening.session --audio evening.wav)";

constexpr char kBatchNotes[] =
    R"(A line is an object with "command" and, as needed, "arguments" (an object), "expect" (a
notification to wait for) and "timeout" (in seconds, 1 if left out). All lines are checked
before the first command is sent; answers are printed as JSON lines. Lines that sound-service
--log-json has written may be among them: its notifications are passed over.

Example of a line:
  {"command": "cmdVolumeSet", "arguments": {"field2": 30}, "expect": "onVolumeInfoNotify"})";

void initialiseLog(std::string level) {
    std::string program = "soundctl";
    level = "--debug-level=" + level;
    std::array<char*, 3> words{program.data(), level.data(), nullptr};
    cspDebugInit(2, words.data());
}

/// What the subcommand does, once the whole command line has been understood: with the service
/// here, or with sets on a broker.
struct Action {
    std::function<void()> here;
    std::function<void(FleetOptions const&)> onBroker = nullptr;
};

void declareList(CLI::App& app, Action& action) {
    auto const options = std::make_shared<ListOptions>();
    CLI::App* const listing = app.add_subcommand("list", "Shows commands and notifications");
    listing->add_option("PATTERN", options->pattern, "a part of their names");
    listing->add_flag("--json", options->json, "print one JSON document");
    listing->callback([&action, options] { action = {[options] { list(*options); }}; });
}

void declareSend(CLI::App& app, Action& action) {
    auto const options = std::make_shared<SendOptions>();
    CLI::App* const sending = app.add_subcommand("send", "Sends a command");
    sending->footer(kSendNotes);
    sending->add_option("COMMAND", options->command, "its name")->required();
    CLI::Option* const values =
        sending->add_option("VALUE", options->values, "the values of its fields");
    sending
        ->add_option("--json", options->json,
                     "its fields as a JSON object, or - to read that from standard input")
        ->type_name("OBJECT")
        ->excludes(values);
    CLI::Option* const expect =
        sending->add_option("--expect", options->expect, "a notification to wait for and print")
            ->type_name("NOTIFICATION");
    tools::addTimeOption(*sending, "--timeout", options->timeout, 0,
                         "how long to wait, as 2, 2s or 500ms; a second when not given")
        ->needs(expect);
    sending->callback([&action, options] {
        action = {[options] { send(*options); },
                  [options](auto const& fleet) { sendToFleet(fleet, *options); }};
    });
}

void declareMonitor(CLI::App& app, Action& action) {
    auto const options = std::make_shared<MonitorOptions>();
    CLI::App* const monitoring =
        app.add_subcommand("monitor", "Prints notifications as they arrive, until Ctrl-C");
    monitoring->add_option("NAME", options->names, "the notifications to print; all if left out");
    monitoring->add_flag("--json", options->json, "print JSON lines");
    monitoring->callback([&action, options] {
        action = {[options] { monitor(*options); },
                  [options](auto const& fleet) { monitorFleet(fleet, *options); }};
    });
}

void declareState(CLI::App& app, Action& action) {
    auto const options = std::make_shared<StateOptions>();
    CLI::App* const asking = app.add_subcommand("state", "Prints the last notifications heard");
    asking->footer(kStateNotes);
    asking->add_option("NAME", options->names,
                       "the notifications to wait for; whatever comes in time if left out");
    tools::addTimeOption(*asking, "--timeout", options->timeout, 0,
                         "how long to wait, as 2, 2s or 500ms; a second when not given");
    asking->add_flag("--json", options->json, "print one JSON document");
    asking->callback([&action, options] {
        action = {[options] { state(*options); },
                  [options](auto const& fleet) { stateOfFleet(fleet, *options); }};
    });
}

void declareRecord(CLI::App& app, Action& action) {
    auto const options = std::make_shared<RecordOptions>();
    auto& audio = options->audio;
    CLI::App* const recording =
        app.add_subcommand("record", "Records notifications and their times, until Ctrl-C");
    recording->footer(kRecordNotes);
    recording->add_option("FILE", options->path, "the session's file to write")->required();
    auto* const path =
        recording
            ->add_option("--audio", audio.path,
                         "a WAV file to write, of 4 GiB at most, with the sound played")
            ->type_name("FILE.wav");
    tools::addFormatOptions(*recording, audio.format, audio.formatIsGiven);
    for (auto const* const name : {"--rate", "--channels"}) {
        recording->get_option(name)->needs(path);
    }
    recording->callback([&app, &action, options] {
        options->audio.debugLevel = app["--debug-level"]->as<std::string>();
        action = {[options] { record(*options); }};
    });
}

void declareDiff(CLI::App& app, Action& action) {
    auto const options = std::make_shared<DiffOptions>();
    CLI::App* const comparing = app.add_subcommand("diff", "Compares two recorded sessions");
    comparing->footer(
        "Prints what only the first has behind -, what only the second has behind +. The status "
        "is\n"
        "0 when there is nothing of either, 1 when they differ, 2 when one cannot be read.");
    comparing->add_option("A", options->first, "a session's file")->required();
    comparing->add_option("B", options->second, "another")->required();
    tools::addTimeOption(*comparing, "--tolerance", options->tolerance, 0,
                         "by how much times may differ, as 2, 2s or 500ms; 100ms when not given");
    comparing->callback([&action, options] { action = {[options] { diff(*options); }}; });
}

void declareBatch(CLI::App& app, Action& action) {
    auto const options = std::make_shared<BatchOptions>();
    CLI::App* const batching = app.add_subcommand("batch", "Sends what a file says");
    batching->footer(kBatchNotes);
    batching->add_option("FILE", options->path, "a file of JSON lines, or - for standard input")
        ->required();
    batching->add_flag("--stream", options->stream,
                       "send each line as it comes, and answer each, with an \"error\" if need be");
    batching->callback([&action, options] { action = {[options] { batch(*options); }}; });
}

void declareCompletion(CLI::App& app, Action& action) {
    auto const shell = std::make_shared<std::string>();
    CLI::App* const completing =
        app.add_subcommand("completion", "Prints a completion script for a shell");
    completing->add_option("SHELL", *shell, "bash or zsh")
        ->required()
        ->check(CLI::IsMember({"bash", "zsh"}));
    completing->callback([&action, shell] { action = {[shell] { completion(*shell); }}; });
}

void runProgram(int argc, char** argv) {
    CLI::App app("Sends commands to the sound service and shows its notifications.", "soundctl");
    app.footer(kExamples);
    app.require_subcommand(1);
    app.set_version_flag("--version", "soundctl " AUDVIK_VERSION);
    std::string debugLevel = "warning";
    tools::addDebugLevelOption(app, debugLevel);
    tools::addServiceOption(app);
    tools::addNamesOption(app);
    FleetOptions fleet;
    auto const* const broker = tools::addMqttOptions(app, fleet.broker);
    app.add_option("--set", fleet.set, "a set on the broker, or all of them as * says, or nothing")
        ->needs("--broker")
        ->check(
            [](std::string const& name) { return name == "*" ? "" : tools::checkSetName(name); });
    app.fallthrough();  // they may stand behind the subcommand, too
    Action action;
    for (auto* const declare : {declareList, declareSend, declareMonitor, declareState,
                                declareRecord, declareDiff, declareBatch, declareCompletion}) {
        declare(app, action);
    }
    tools::parse(app, argc, argv);
    initialiseLog(debugLevel);
    if (broker->empty()) {
        action.here();
    } else if (action.onBroker) {
        action.onBroker(fleet);
    } else {
        throw tools::UsageError("of sets on a broker there are send, monitor and state only");
    }
    if (std::fflush(stdout) != 0 || std::ferror(stdout) != 0) {
        throw tools::Failure("standard output cannot be written");
    }
}

}  // namespace

}  // namespace sound::control

int main(int argc, char** argv) {
    return tools::runProgram("soundctl", [=] { sound::control::runProgram(argc, argv); });
}
