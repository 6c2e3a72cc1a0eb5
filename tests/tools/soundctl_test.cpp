// soundctl against a running sound-service, as real processes.
#include <gtest/gtest.h>

#include <array>
#include <chrono>
#include <csignal>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

#include "LocalSocket.h"
#include "Program.h"
#include "record_json.h"
#include "sound/records.h"

namespace sound {
namespace {

using tools::Json;

/// A command that a notification goes back to, and what to send and to expect.
struct Exchange {
    std::string command;
    std::string notification;
    std::string relation;
    Json commandArguments;
    Json notificationArguments;
};

/// Puts something else than zero into every scalar.
void fill(Json& value, std::size_t& count) {
    if (value.is_structured()) {
        for (Json& inner : value) fill(inner, count);
        return;
    }
    ++count;
    if (value.is_string()) {
        value = "text " + std::to_string(count);
    } else if (value.is_boolean()) {
        value = true;
    } else {
        value = count % 100;
    }
}

template <class... Types>
Json exampleOf() {
    Json example = tools::argumentsToJson(Types{}...);
    std::size_t count = 0;
    fill(example, count);
    return example;
}

Json commandExample(std::string const& command) {
#define AUDVIK_COMMAND(NAME, ...) \
    if (command == "cmd" #NAME) return exampleOf<__VA_ARGS__>();
#include "sound/messages.def"
    return {};
}

std::vector<Exchange> exchanges() {
    std::vector<Exchange> all;
#define AUDVIK_NOTIFICATION(NAME, RELATION, COMMAND, ...)                                          \
    all.push_back({"cmd" #COMMAND, "on" #NAME "Notify", #RELATION, commandExample("cmd" #COMMAND), \
                   exampleOf<__VA_ARGS__>()});
#include "sound/messages.def"
    return all;
}

/// Lines of JSON.
std::vector<Json> linesOf(std::string const& text) {
    std::istringstream input(text);
    std::vector<Json> lines;
    for (std::string line; std::getline(input, line);) lines.push_back(Json::parse(line));
    return lines;
}

/// Arguments with the largest values that the interface's description allows.
Json largestOf(Json const& field) {
    if (field["type"] == "array") {
        return std::vector<Json>(field["count"].get<std::size_t>(), largestOf(field["element"]));
    }
    if (field["type"] == "string") return "text";
    if (field["type"] == "bool") return true;
    if (field["type"] != "record") return field["most"];
    Json record = Json::object();
    for (Json const& member : field["fields"]) record[member["name"]] = largestOf(member);
    return record;
}

class Soundctl : public testing::Test {
protected:
    Soundctl() { useOwnAddress(); }

    void startService(std::vector<std::string> const& options = {}) {
        std::vector<std::string> words{AUDVIK_SOUND_SERVICE};
        words.insert(words.end(), options.begin(), options.end());
        service_.emplace(words);
        ASSERT_TRUE(service_->says("listening on")) << service_->errors();
    }

    struct Result {
        int status;
        std::string output;
        std::string errors;
    };

    static Result run(std::vector<std::string> const& arguments) {
        std::vector<std::string> words{AUDVIK_SOUNDCTL};
        words.insert(words.end(), arguments.begin(), arguments.end());
        Program program(words);
        int const status = program.status();
        return {status, program.output(), program.errors()};
    }

    TemporaryFolder folder_;
    std::optional<Program> service_;
};

TEST_F(Soundctl, GetsAnAnswerToEachCommandThatHasOne) {
    auto const all = exchanges();
    ASSERT_EQ(all.size(), 22U);
    Json states;
    for (auto const& exchange : all) {
        if (exchange.relation == "answers") {
            states[exchange.notification] = exchange.notificationArguments;
        }
    }
    writeFile(folder_.file("states.json"), tools::toText(states));
    startService({"--tone", "440", "--state", folder_.file("states.json")});

    for (auto const& exchange : all) {
        SCOPED_TRACE(exchange.command);
        auto const [status, output, errors] =
            run({"send", exchange.command, "--json", tools::toText(exchange.commandArguments),
                 "--expect", exchange.notification, "--timeout", "5s"});
        ASSERT_EQ(status, 0) << errors;
        Json const answer = Json::parse(output);
        EXPECT_EQ(answer["notification"], exchange.notification);
        EXPECT_GT(answer["time"], 1.6e9);
        Json const& arguments = answer["arguments"];
        if (exchange.relation == "answers") {
            EXPECT_EQ(arguments, exchange.notificationArguments);
        } else if (exchange.relation == "reports") {
            EXPECT_EQ(arguments["field1"], exchange.commandArguments["field1"]);
        } else {
            EXPECT_EQ(arguments["field2"], 4096);
        }
    }
}

TEST_F(Soundctl, TakesValuesInOrderThroughRecordsAndArrays) {
    startService({"--log-json"});
    ASSERT_EQ(run({"send", "cmdSoundModeInfoSet", "-1"}).status, 0);
    ASSERT_EQ(run({"send", "cmdSoundDTSSet_VirtualXParams", "--", "0x10", "two", "-three"}).status,
              0);
    // Field 46 is a record of two; behind it comes field 47's first.
    std::vector<std::string> words{"send", "cmdSoundParamsSet"};
    for (int i = 1; i <= 48; ++i) words.push_back(i == 44 || i == 45 ? "true" : std::to_string(i));
    ASSERT_EQ(run(words).status, 0);
    ASSERT_TRUE(service_->says(R"("field47":{"field1":48,"field2":0})"));
    std::string const log = service_->output();
    EXPECT_NE(log.find(R"("arguments":{"field1":-1})"), std::string::npos) << log;
    EXPECT_NE(log.find(R"({"field1":16,"field2":"two","field3":"-three"})"), std::string::npos);
    EXPECT_NE(log.find(R"("field46":{"field1":46,"field2":47})"), std::string::npos) << log;
}

TEST_F(Soundctl, RefusesWhatIsWrongWithStatusTwoBeforeAnythingIsSent) {
    struct Case {
        std::vector<std::string> arguments;
        std::string message;
    };
    std::array const cases{
        Case{{"send", "cmdVolumSet"}, "did you mean cmdVolumeSet?"},
        Case{{"send", "cmdMuteAPM"}, "did you mean cmdMuteAMP?"},
        Case{{"send", "CMDMUTESET"}, "did you mean cmdMuteSet?"},
        Case{{"send", "VolumeSet"}, "did you mean cmdVolumeSet?"},
        Case{{"send", "cmdVolumeSet", "--expect", "onVolumInfoNotify"}, "onVolumeInfoNotify?"},
        Case{{"monitor", "onMuteInfo"}, "did you mean onMuteInfoNotify?"},
        Case{{"send", "cmdVolumeSet", "1", "x"}, "field2: \"x\" is not a uint32 from 0 to"},
        Case{{"send", "cmdVolumeSet", "1", "4294967296"}, "field2: \"4294967296\" is not a uint32"},
        Case{{"send", "cmdSoundModeInfoSet", "-129"}, "an int8 from -128 to 127"},
        Case{{"send", "cmdMuteAMP", "yes"}, "field1: \"yes\" is not a bool, true or false"},
        Case{{"send", "cmdBalanceSet", "1", "2", "3"}, "3 values are given; at most 2"},
        Case{{"send", "cmdInitAMP", "1"}, "at most 0 are accepted"},
        Case{{"send", "cmdVolumeSet", "--json", "{"}, "no JSON"},
        Case{{"send", "cmdVolumeSet", "1", "--json", "{}"}, "excludes"},
        Case{{"send", "cmdVolumeSet", "--unknown"}, "--unknown"},
        Case{{"--service", "localhost:12321", "list"}, "\"localhost:12321\" is not HOST:PORT"},
        Case{{"completion", "fish"}, "fish"},
        Case{{}, "subcommand"},
    };
    // With no service there, anything that is sent would be a failure, status 1.
    for (auto const& [arguments, message] : cases) {
        SCOPED_TRACE(message);
        auto const result = run(arguments);
        EXPECT_EQ(result.status, 2);
        EXPECT_NE(result.errors.find(message), std::string::npos) << result.errors;
    }
}

TEST_F(Soundctl, FailsWithStatusOneWithoutAServiceOrAnswer) {
    auto const unsent = run({"send", "cmdVolumeSet", "1"});
    EXPECT_EQ(unsent.status, 1);
    EXPECT_NE(unsent.errors.find(getenv("LMQR2_UDPHOST")), std::string::npos) << unsent.errors;

    startService();
    auto const unanswered =
        run({"send", "cmdVolumeSet", "--expect", "onMuteInfoNotify", "--timeout", "100ms"});
    EXPECT_EQ(unanswered.status, 1);
    EXPECT_NE(unanswered.errors.find("no onMuteInfoNotify"), std::string::npos);
    EXPECT_EQ(run({"list", "brightness"}).status, 1);
}

TEST_F(Soundctl, TalksToTheServiceThatIsChosen) {
    std::string const address = LocalSocket().address();
    startService({"--service", address});
    EXPECT_EQ(run({"send", "cmdMuteSet"}).status, 1);
    setenv("AUDVIK_SERVICE", LocalSocket().address().c_str(), 1);
    EXPECT_EQ(run({"--service", address, "send", "cmdMuteSet"}).status, 0);
    EXPECT_EQ(run({"send", "cmdMuteSet", "--service", address}).status, 0);
}

TEST_F(Soundctl, MonitorPrintsTheWantedNotificationsUntilItIsInterrupted) {
    Program all({AUDVIK_SOUNDCTL, "monitor"});
    Program mute({AUDVIK_SOUNDCTL, "monitor", "--json", "onMuteInfoNotify"});
    EXPECT_TRUE(all.says("no sound service at")) << all.errors();
    EXPECT_TRUE(mute.says("no sound service at")) << mute.errors();
    startService();
    EXPECT_TRUE(all.says("found the sound service")) << all.errors();
    EXPECT_TRUE(mute.says("found the sound service")) << mute.errors();

    ASSERT_EQ(run({"send", "cmdBalanceSet", "3", "4"}).status, 0);
    ASSERT_EQ(run({"send", "cmdMuteSet", "1", "2"}).status, 0);
    EXPECT_TRUE(all.says(" onBalanceInfoNotify field1=3 field2=4\n")) << all.output();
    EXPECT_TRUE(all.says(" onMuteInfoNotify field1=1 field2=2\n")) << all.output();
    ASSERT_TRUE(mute.says("\n"));
    all.signal(SIGINT);
    mute.signal(SIGTERM);
    EXPECT_EQ(all.status(), 0);
    EXPECT_EQ(mute.status(), 0);
    Json const line = Json::parse(mute.output());
    EXPECT_GT(line["time"], 1.6e9);
    EXPECT_EQ(line["notification"], "onMuteInfoNotify");
    EXPECT_EQ(line["arguments"], Json::parse(R"({"field1": 1, "field2": 2})"));
}

TEST_F(Soundctl, BatchChecksAllLinesBeforeItSendsOne) {
    startService({"--log-json"});
    std::string const file = folder_.file("batch.jsonl");
    std::string const right =
        R"({"command": "cmdMuteSet", "arguments": {"field1": 1}, "expect": "onMuteInfoNotify"})";

    writeFile(file, right + "\n\n" + R"({"command": "cmdMuteSet", "arguments": {"field9": 1}})");
    auto const refused = run({"batch", file});
    EXPECT_EQ(refused.status, 2);
    EXPECT_NE(refused.errors.find(file + ":3: field9"), std::string::npos) << refused.errors;
    EXPECT_EQ(service_->output(), "");

    writeFile(file, right + '\n' + R"({"command": "cmdInitAMP"})" + '\n' + right + '\n');
    auto const done = run({"batch", file});
    EXPECT_EQ(done.status, 0) << done.errors;
    auto const answers = linesOf(done.output);
    ASSERT_EQ(answers.size(), 2U);
    EXPECT_EQ(answers[0]["line"], 1);
    EXPECT_EQ(answers[1]["line"], 3);
    EXPECT_EQ(answers[1]["notification"], "onMuteInfoNotify");
    EXPECT_EQ(answers[1]["arguments"], Json::parse(R"({"field1": 1, "field2": 0})"));

    writeFile(file,
              right + '\n' +
                  R"({"command": "cmdInitAMP", "expect": "onMuteInfoNotify", "timeout": 0.1})");
    auto const failed = run({"batch", file});
    EXPECT_EQ(failed.status, 1);
    EXPECT_NE(failed.errors.find(file + ":2: no onMuteInfoNotify"), std::string::npos);
}

TEST_F(Soundctl, StreamAnswersEachLineAsItComes) {
    startService();
    std::string const script = R"sh(
        { echo '{"command": "cmdMuteSet", "expect": "onMuteInfoNotify"}'
          while [ ! -e "$1" ]; do sleep 0.01; done
          echo '{"command": "cmdVolumSet"}'; echo ' '; echo '{"command": "cmdInitAMP"}'
          echo '{"command": "cmdInitAMP", "expect": "onMuteInfoNotify", "timeout": 0.01}'
        } | $EMULATOR "$0" batch --stream -)sh";
    Program stream({"/bin/sh", "-c", script, AUDVIK_SOUNDCTL, folder_.file("go")});
    ASSERT_TRUE(stream.says("\"notification\":\"onMuteInfoNotify\"")) << stream.errors();
    writeFile(folder_.file("go"), "");
    EXPECT_EQ(stream.status(), 1);
    auto const answers = linesOf(stream.output());
    ASSERT_EQ(answers.size(), 4U) << stream.output();
    EXPECT_EQ(answers[0]["line"], 1);
    EXPECT_EQ(answers[1]["error"],
              "there is no command \"cmdVolumSet\"; did you mean cmdVolumeSet?");
    EXPECT_EQ(answers[2]["command"], "cmdInitAMP");
    EXPECT_EQ(answers[2]["line"], 4);
    EXPECT_EQ(answers[3]["error"], "no onMuteInfoNotify came within 0.01 s");
}

TEST_F(Soundctl, WhatOneProgramWritesAnotherReads) {
    Json const interface = Json::parse(run({"list", "--json"}).output);
    ASSERT_EQ(interface["commands"].size(), 53U);
    ASSERT_EQ(interface["notifications"].size(), 22U);
    EXPECT_EQ(interface["notifications"][0]["id"], "0x2867126b");
    std::string batch;
    for (Json command : interface["commands"]) {
        command["type"] = "record";
        batch += tools::toText({{"command", command["name"]}, {"arguments", largestOf(command)}});
        batch += '\n';
    }
    EXPECT_NE(batch.find(R"("cmdSoundModeInfoSet","arguments":{"field1":127})"), std::string::npos);
    writeFile(folder_.file("batch"), batch);

    startService({"--log-json"});
    ASSERT_EQ(run({"batch", folder_.file("batch")}).status, 0);
    ASSERT_TRUE(service_->says("\"command\":\"cmdGetAudioCertVer\""));
    auto const sent = linesOf(batch);
    std::size_t next = 0;
    for (Json const& line : linesOf(service_->output())) {
        if (!line.contains("command")) continue;
        ASSERT_LT(next, sent.size());
        EXPECT_EQ(line["command"], sent[next]["command"]);
        EXPECT_EQ(line["id"], interface["commands"][next]["id"]);
        EXPECT_EQ(line["arguments"], sent[next]["arguments"]);
        ++next;
    }
    EXPECT_EQ(next, sent.size());
    writeFile(folder_.file("log"), service_->output());
    auto const again = run({"batch", folder_.file("log")});
    EXPECT_EQ(again.status, 0) << again.errors;
}

TEST_F(Soundctl, StateIsTheLastThatWasHeard) {
    std::string const flags = "onSoundFlagsInfoNotify";
    EXPECT_NE(run({"state", "--timeout", "10ms"}).errors.find("no sound service at"),
              std::string::npos);
    writeFile(folder_.file("preset"), R"({"onSoundFlagsInfoNotify": {"field1": 7}})");
    startService({"--log-json", "--state", folder_.file("preset")});
    Program waiting({AUDVIK_SOUNDCTL, "state", "--json", "--timeout", "20s", "onMuteInfoNotify",
                     flags, "onBalanceInfoNotify"});
    ASSERT_TRUE(service_->says("cmdGetSoundFlags")) << waiting.errors();
    run({"send", "cmdMuteSet", "1", "2"});
    run({"send", "cmdMuteSet", "5", "6"});
    run({"send", "cmdBalanceSet", "3", "4"});
    EXPECT_EQ(waiting.status(), 0) << waiting.errors();
    Json const document = Json::parse(waiting.output());
    EXPECT_EQ(document.size(), 3U);
    EXPECT_EQ(document["onMuteInfoNotify"], Json::parse(R"({"field1": 5, "field2": 6})"));

    service_.reset();
    writeFile(folder_.file("preset"), waiting.output());
    startService({"--state", folder_.file("preset")});
    auto const asked = run({"state", flags, "--timeout", "20s"});
    EXPECT_EQ(asked.status, 0) << asked.errors;
    EXPECT_EQ(asked.output.find(flags + " field1=7"), 0U) << asked.output;
    auto const missing = run({"state", "onVolumeInfoNotify", "--timeout", "10ms"});
    EXPECT_EQ(missing.status, 1);
    EXPECT_NE(missing.errors.find("no onVolumeInfoNotify came"), std::string::npos);
}

TEST_F(Soundctl, NamesOfFieldsAreTakenAndShownAndTheirRangesHold) {
    setenv("AUDVIK_NAMES", AUDVIK_EXAMPLES "/names.json", 1);
    startService();
    auto const sent = run({"send", "cmdVolumeSet", "1", "100", "--expect", "onVolumeInfoNotify"});
    EXPECT_EQ(sent.output, "onVolumeInfoNotify field1=1 volume=100 field3=0 field4=0\n");
    for (std::string const name : {"volume", "field2"}) {
        auto const answer = run({"send", "cmdVolumeSet", "--json", "{\"" + name + "\": 42}",
                                 "--expect", "onVolumeInfoNotify"});
        EXPECT_EQ(Json::parse(answer.output)["arguments"]["field2"], 42) << answer.errors;
    }
    for (std::vector<std::string> const& arguments :
         {std::vector<std::string>{"1", "101"}, {"--json", R"({"volume": 101})"}}) {
        std::vector<std::string> words{"send", "cmdVolumeSet"};
        words.insert(words.end(), arguments.begin(), arguments.end());
        auto const refused = run(words);
        EXPECT_EQ(refused.status, 2);
        EXPECT_NE(refused.errors.find("is not a uint32 from 0 to 100"), std::string::npos)
            << refused.errors;
    }
    EXPECT_NE(run({"list", "cmdVol"}).output.find("field2 volume, from 0 to 100, in %"),
              std::string::npos);
    Json const field =
        Json::parse(run({"list", "--json", "cmdVol"}).output)["commands"][0]["fields"][1];
    EXPECT_EQ(field, Json::parse(R"({"name": "field2", "title": "volume", "type": "uint32",
                                     "least": 0, "most": 100, "unit": "%"})"));
    unsetenv("AUDVIK_NAMES");
}

TEST_F(Soundctl, AWrongNamesFileIsRefused) {
    std::string const file = folder_.file("names.json");
    EXPECT_EQ(run({"--names", file, "list"}).status, 2);
    std::string const record = "{\"soundBalanceInfo_t\": ";
    for (auto const& [text, message] : std::vector<std::pair<std::string, std::string>>{
             {R"({"soundBalance_t": {}})", "did you mean soundBalanceInfo_t?"},
             {record + R"({"field3": {"name": "x"}}})", "field3: there is no such field"},
             {record + R"({"field1": "x"}})", "expected is an object like"},
             {record + R"({"field1": {"name": "field2"}}})", "a name has letters"},
             {record + R"({"field1": {"name": "a b"}}})", "a name has letters"},
             {record + R"({"field1": {"name": "x"}, "field2": {"name": "x"}}})", "another field"},
             {record + R"({"field1": {"name": "x", "least": -1}}})", "no range of a uint32"},
             {record + R"({"field1": {"name": "x", "least": 2, "most": 1}}})", "no range"},
             {record + R"({"field1": {"name": "x", "most": 1e9}}})", "most is no whole number"},
             {record + R"({"field1": {"name": "x", "max": 1}}})", "max is none of"}}) {
        writeFile(file, text);
        auto const refused = run({"--names", file, "list"});
        EXPECT_EQ(refused.status, 2) << text;
        EXPECT_EQ(refused.errors.find("soundctl: " + file + ": "), 0U) << refused.errors;
        EXPECT_NE(refused.errors.find(message), std::string::npos) << refused.errors;
    }
}

TEST_F(Soundctl, ARecordedSessionHasWhatWasHeardAndWhen) {
    std::string const file = folder_.file("evening");
    startService();
    Program recording({AUDVIK_SOUNDCTL, "record", file});
    // It is not known when it has registered.
    std::size_t sent = 0;
    while (sent < 100 && linesOf(readFile(file)).size() < 2) {
        run({"send", "cmdMuteSet", std::to_string(++sent), "--expect", "onMuteInfoNotify"});
    }
    run({"send", "cmdBalanceSet", "3", "4"});
    for (int i = 0; i < 1000 && readFile(file).find("onBalance") == std::string::npos; ++i) {
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
    }
    recording.signal(SIGINT);
    EXPECT_EQ(recording.status(), 0) << recording.errors();
    auto const lines = linesOf(readFile(file));
    ASSERT_GE(lines.size(), 3U) << readFile(file);
    EXPECT_EQ(lines[0]["session"], 1);
    EXPECT_EQ(lines[0]["interface"], Json::parse(run({"list", "--json"}).output)["fingerprint"]);
    auto const& balance = lines.back();
    EXPECT_EQ(balance["notification"], "onBalanceInfoNotify");
    double const between = balance["at"].get<double>() - lines[1]["at"].get<double>();
    EXPECT_GT(between, 0);
    EXPECT_NEAR(balance["time"].get<double>() - lines[1]["time"].get<double>(), between, 0.01);

    Program full({AUDVIK_SOUNDCTL, "record", "/dev/full"});
    EXPECT_EQ(full.status(), 1);
}

TEST_F(Soundctl, ASessionIsPlayedBackAsItWasRecorded) {
    std::string const file = folder_.file("session");
    auto const line = [](double at, std::string const& name, Json const& arguments) {
        return tools::toText({{"at", at}, {"notification", name}, {"arguments", arguments}}) + '\n';
    };
    std::string text = "{\"session\": 1}\n" + line(0.5, "onNewNotify", {}) +
                       line(0.6, "onMuteInfoNotify", {{"field9", 1}});
    for (int i = 1; i <= 5; ++i) text += line(1 + i * 0.4, "onMuteInfoNotify", {{"field1", i}});
    writeFile(file, text + line(3.1, "onSoundFlagsInfoNotify", {{"field1", 7}}));
    startService({"--replay", file, "--speed", "4", "--loop"});
    for (auto const* const complaint :
         {":2: no notification that tells a state is called onNewNotify",
          ":3: onMuteInfoNotify: field9"}) {
        EXPECT_NE(service_->errors().find(file + complaint), std::string::npos)
            << service_->errors();
    }
    Program monitor({AUDVIK_SOUNDCTL, "monitor", "--json"});
    ASSERT_TRUE(monitor.says("onSoundFlags")) << monitor.errors();
    auto const heard = linesOf(monitor.output());
    ASSERT_EQ(heard.size(), 6U) << monitor.output();
    EXPECT_EQ(heard[0]["arguments"], Json::parse(R"({"field1": 1, "field2": 0})"));
    EXPECT_EQ(heard[4]["arguments"], Json::parse(R"({"field1": 5, "field2": 0})"));
    EXPECT_NEAR(heard[4]["time"].get<double>() - heard[0]["time"].get<double>(), 0.4, 0.1);
    // Once more; and what was told has become the state.
    Program again({AUDVIK_SOUNDCTL, "monitor", "onMuteInfoNotify"});
    EXPECT_TRUE(again.says(" onMuteInfoNotify field1=1 field2=0\n")) << again.errors();
    auto const state = run({"state", "onSoundFlagsInfoNotify"});
    EXPECT_EQ(state.output.find("onSoundFlagsInfoNotify field1=7"), 0U) << state.output;
}

TEST_F(Soundctl, DiffFindsWhatOnlyOneSessionHas) {
    auto const session = [this](std::string const& name,
                                std::vector<std::pair<double, int>> const& messages) {
        std::string text = "{\"session\": 1}\n";
        for (auto const& [at, volume] : messages) {
            text += tools::toText({{"at", at},
                                   {"notification", volume < 0 ? "onNew" : "onMuteInfoNotify"},
                                   {"arguments", {{"field2", 0}, {"field1", volume}}}});
            text += '\n';
        }
        writeFile(folder_.file(name), text);
        return folder_.file(name);
    };
    auto const first = session("first", {{1, 1}, {2, 2}, {2.05, 3}, {3, 1}, {9, -1}});
    // Later, and two in another order.
    auto const same = session("same", {{5, 1}, {6.01, 3}, {6.04, 2}, {7.05, 1}, {13, -1}});
    auto const equal = run({"diff", first, same});
    EXPECT_EQ(equal.status, 0) << equal.errors;
    EXPECT_EQ(equal.output, "");
    EXPECT_EQ(run({"diff", first, same, "--tolerance", "10ms"}).status, 1);
    auto const other = session("other", {{5, 1}, {6, 2}, {6.05, 3}, {7.2, 1}, {8, 4}, {13, -1}});
    auto const differ = run({"diff", first, other});
    EXPECT_EQ(differ.status, 1);
    EXPECT_EQ(differ.output,
              "- 3.000 onMuteInfoNotify field1=1 field2=0\n"
              "+ 7.200 onMuteInfoNotify field1=1 field2=0\n"
              "+ 8.000 onMuteInfoNotify field1=4 field2=0\n");
    EXPECT_NE(differ.errors.find("4 messages in common, 1 only in " + first + ", 2 only in "),
              std::string::npos)
        << differ.errors;
    for (std::string const text : {"", "{}", "[", R"({"session": 2})",
                                   "{\"session\": 1}\n{\"at\": 1}", "{\"session\": 1}\n\n"}) {
        writeFile(folder_.file("wrong"), text);
        EXPECT_EQ(run({"diff", first, folder_.file("wrong")}).status, 2) << text;
    }
    EXPECT_EQ(run({"diff", first, folder_.file("missing")}).status, 2);
}

TEST_F(Soundctl, EndlessInputIsRefused) {
    Program service({AUDVIK_SOUND_SERVICE, "--state", "/dev/zero"});
    EXPECT_EQ(service.status(), 1);
    EXPECT_NE(service.errors().find("/dev/zero: the text has more than"), std::string::npos);
    EXPECT_EQ(run({"batch", "/dev/zero"}).status, 2);
    std::string const script = "exec $EMULATOR \"$0\" send cmdMuteSet --json - < /dev/zero";
    Program json({"/bin/sh", "-c", script, AUDVIK_SOUNDCTL});
    EXPECT_EQ(json.status(), 2);
}

TEST_F(Soundctl, MonitorEndsWhenItsReaderHasGone) {
    std::string const script = "{ $EMULATOR \"$0\" monitor; echo ended >&2; } | sleep 0.3";
    Program pipeline({"/bin/sh", "-c", script, AUDVIK_SOUNDCTL});
    EXPECT_TRUE(pipeline.says("ended"));
    EXPECT_EQ(pipeline.status(), 0);
}

class Completion : public Soundctl {
protected:
    /// Has a shell read its completion and then run a script.
    /// @return what that prints
    std::string runIn(std::string const& shell, std::string const& before,
                      std::string const& script) {
        writeFile(folder_.file("completion"), run({"completion", shell}).output);
        writeFile(folder_.file("script"),
                  before + "\nsource " + folder_.file("completion") + '\n' + script + '\n');
        std::string const command =
            shell + ' ' + folder_.file("script") + " > " + folder_.file("reply");
        EXPECT_EQ(std::system(command.c_str()), 0);
        return readFile(folder_.file("reply"));
    }
};

TEST_F(Completion, OffersNamesInBash) {
    auto const complete = [this](std::string const& words, int index) {
        return runIn("bash", "COMP_WORDS=(" + words + ") COMP_CWORD=" + std::to_string(index),
                     "_soundctl; echo \"${COMPREPLY[*]}\"");
    };
    EXPECT_EQ(complete("soundctl se", 1), "send\n");
    EXPECT_EQ(complete("soundctl send cmdVol", 2), "cmdVolumeSet\n");
    EXPECT_EQ(complete("soundctl send cmdVolumeSet --expect onVol", 4), "onVolumeInfoNotify\n");
    EXPECT_EQ(complete("soundctl monitor onMuteInfoNotify onBeep", 3), "onBeepSoundInfoNotify\n");
    EXPECT_EQ(complete("soundctl --debug-level w", 2), "warning\n");
    EXPECT_EQ(complete("soundctl --service 127.0.0.1 : 12321 se", 5), "send\n");
    EXPECT_EQ(complete("soundctl --debug-level info send cmdInitAMPF", 4),
              "cmdInitAMPForExternalLS\n");
}

TEST_F(Completion, OffersNamesInZsh) {
    auto const reply = runIn(
        "zsh", "compdef() { }; _arguments() { print -r -- $@; state=arguments; }; words=(send)",
        "_soundctl");
    EXPECT_NE(reply.find("1:command:(cmdVolumeSet "), std::string::npos) << reply;
    EXPECT_NE(reply.find(":notification:(onVolumeInfoNotify "), std::string::npos) << reply;
}

}  // namespace
}  // namespace sound
