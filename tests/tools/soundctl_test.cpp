// soundctl against a running sound-service, as real processes.
#include <gtest/gtest.h>

#include <algorithm>
#include <csignal>
#include <cstdint>
#include <map>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

#include "LocalSocket.h"
#include "Program.h"
#include "record_json.h"
#include "wav.h"

namespace sound {
namespace {

using tools::Json;

/// Lines of JSON.
std::vector<Json> linesOf(std::string const& text) {
    std::istringstream input(text);
    std::vector<Json> lines;
    for (std::string line; std::getline(input, line);) lines.push_back(Json::parse(line));
    return lines;
}

/// Of a recorded session.
std::string line(double at, std::string const& name, Json const& arguments) {
    return tools::toText({{"at", at}, {"notification", name}, {"arguments", arguments}}) + '\n';
}

/// Arguments near both ends of their ranges, hardly two of them alike.
Json exampleOf(Json const& field, int& count) {
    if (field.contains("fields")) {
        Json record = Json::object();
        for (Json const& member : field["fields"])
            record[member["name"]] = exampleOf(member, count);
        return record;
    }
    if (field["type"] == "array") {
        Json array = Json::array();
        while (array.size() < field["count"]) array.push_back(exampleOf(field["element"], count));
        return array;
    }
    if (field["type"] == "bool") return true;
    int const step = ++count % 100;
    if (field["type"] == "string") return "text " + std::to_string(count);
    return step % 2 == 0 ? field["least"].get<std::int64_t>() + step
                         : field["most"].get<std::int64_t>() - step;
}

/// Words and what is complained of.
using Refusal = std::pair<std::vector<std::string>, std::string>;

class Soundctl : public testing::Test {
protected:
    Soundctl() { useOwnAddress(); }

    void startService(std::vector<std::string> const& options = {}) {
        service_ = startSoundService(options);
    }

    /// Expects it to end with a status and to say a text.
    /// @return what it prints
    static std::string run(std::vector<std::string> const& arguments, int status = 0,
                           std::string const& text = "") {
        Program program(joined({AUDVIK_SOUNDCTL}, arguments));
        EXPECT_TRUE(program.ends(status, text)) << Json(arguments);
        return program.output();
    }

    TemporaryFolder folder_;
    std::unique_ptr<Program> service_;
};

TEST_F(Soundctl, SendsEachCommandAndHearsEachNotificationWhole) {
    Json const interface = Json::parse(run({"list", "--json"}));
    ASSERT_EQ(interface["commands"].size(), 53U);
    ASSERT_EQ(interface["notifications"].size(), 22U);
    EXPECT_EQ(interface["notifications"][0]["id"], "0x2867126b");
    int count = 0;
    Json states;
    std::map<Json, Json> notifications;  // by command
    for (Json const& each : interface["notifications"]) {
        notifications[each["command"]] = each;
        if (each["relation"] == "answers") states[each["name"]] = exampleOf(each, count);
    }
    std::vector<Json> sent;
    std::string batch;
    for (Json const& each : interface["commands"]) {
        sent.push_back({{"command", each["name"]}, {"arguments", exampleOf(each, count)}});
        if (notifications.contains(each["name"])) {
            sent.back()["expect"] = notifications[each["name"]]["name"];
        }
        batch += tools::toText(sent.back()) + '\n';
    }
    writeFile(folder_.file("states"), tools::toText(states));
    writeFile(folder_.file("batch"), batch);
    startService({"--tone", "440", "--log-json", "--state", folder_.file("states")});

    auto const answers = linesOf(run({"batch", folder_.file("batch")}));
    ASSERT_EQ(answers.size(), 22U);
    for (Json const& answer : answers) {
        Json const& command = sent.at(answer["line"].get<std::size_t>() - 1);
        SCOPED_TRACE(answer);
        EXPECT_EQ(answer["notification"], command["expect"]);
        Json const& relation = notifications[command["command"]]["relation"];
        Json const& arguments = answer["arguments"];
        if (relation == "answers") {
            EXPECT_EQ(arguments, states[answer["notification"]]);
        } else if (relation == "reports") {
            EXPECT_EQ(arguments["field1"], command["arguments"]["field1"]);
        } else {
            EXPECT_EQ(arguments["field2"], 4096);
        }
    }

    ASSERT_TRUE(service_->says("\"command\":\"cmdGetAudioCertVer\""));
    writeFile(folder_.file("log"), service_->output());
    std::size_t next = 0;
    for (Json const& line : linesOf(readFile(folder_.file("log")))) {
        EXPECT_TRUE(line["client"] == "all" ||
                    line["client"].get<std::string>().starts_with("127.0.0.1:"))
            << line;
        if (!line.contains("command")) continue;
        ASSERT_LT(next, sent.size());
        EXPECT_EQ(line["command"], sent[next]["command"]);
        EXPECT_EQ(line["id"], interface["commands"][next]["id"]);
        EXPECT_EQ(line["arguments"], sent[next]["arguments"]);
        ++next;
    }
    EXPECT_EQ(next, sent.size());
    run({"batch", folder_.file("log")});
}

TEST_F(Soundctl, TakesValuesInOrderThroughRecordsAndArrays) {
    startService({"--log-json"});
    run({"send", "cmdSoundModeInfoSet", "-1"});
    run({"send", "cmdSoundDTSSet_VirtualXParams", "--", "0x10", "two", "-three"});
    // Field 46 is a record of two; behind it comes field 47's first.
    std::vector<std::string> words{"send", "cmdSoundParamsSet"};
    for (int i = 1; i <= 48; ++i) words.push_back(i == 44 || i == 45 ? "true" : std::to_string(i));
    run(words);
    ASSERT_TRUE(service_->says(R"("field47":{"field1":48,"field2":0})"));
    std::string const log = service_->output();
    EXPECT_TRUE(has(log, R"("arguments":{"field1":-1})"));
    EXPECT_TRUE(has(log, R"({"field1":16,"field2":"two","field3":"-three"})"));
    EXPECT_TRUE(has(log, R"("field46":{"field1":46,"field2":47})"));
    // Three of the report's fields are none of the command's; what lies behind them is.
    EXPECT_TRUE(
        service_->says(R"("field42":42,"field43":0,"field44":0,"field45":0,"field46":43,)"));
    EXPECT_TRUE(service_->says(R"("field49":{"field1":46,"field2":47},"field50":{"field1":48,)"));
}

TEST_F(Soundctl, RefusesWhatIsWrongWithStatusTwoBeforeAnythingIsSent) {
    // With no service there, anything that is sent would be a failure, status 1.
    for (auto const& [arguments, message] : std::vector<Refusal>{
             {{"send", "cmdVolumSet"}, "did you mean cmdVolumeSet?"},
             {{"send", "cmdMuteAPM"}, "did you mean cmdMuteAMP?"},
             {{"send", "CMDMUTESET"}, "did you mean cmdMuteSet?"},
             {{"send", "VolumeSet"}, "did you mean cmdVolumeSet?"},
             {{"send", "cmdVolumeSet", "--expect", "onVolumInfoNotify"}, "onVolumeInfoNotify?"},
             {{"monitor", "onMuteInfo"}, "did you mean onMuteInfoNotify?"},
             {{"send", "cmdVolumeSet", "1", "x"}, "field2: \"x\" is not a uint32 from 0 to"},
             {{"send", "cmdVolumeSet", "1", "4294967296"},
              "field2: \"4294967296\" is not a uint32"},
             {{"send", "cmdSoundModeInfoSet", "-129"}, "an int8 from -128 to 127"},
             {{"send", "cmdMuteAMP", "yes"}, "field1: \"yes\" is not a bool, true or false"},
             {{"send", "cmdBalanceSet", "1", "2", "3"}, "3 values are given; at most 2"},
             {{"send", "cmdInitAMP", "1"}, "at most 0 are accepted"},
             {{"send", "cmdVolumeSet", "--json", "{"}, "no JSON"},
             {{"send", "cmdVolumeSet", "1", "--json", "{}"}, "excludes"},
             {{"send", "cmdVolumeSet", "--unknown"}, "--unknown"},
             {{"--service", "localhost:12321", "list"}, "\"localhost:12321\" is not HOST:PORT"},
             {{"completion", "fish"}, "fish"},
             {{}, "subcommand"}}) {
        run(arguments, 2, message);
    }
}

TEST_F(Soundctl, FailsWithStatusOneWithoutAServiceOrAnswer) {
    run({"send", "cmdVolumeSet", "1"}, 1, getenv("LMQR2_UDPHOST"));
    startService();
    run({"send", "cmdVolumeSet", "--expect", "onMuteInfoNotify", "--timeout", "100ms"}, 1,
        "no onMuteInfoNotify");
    run({"list", "brightness"}, 1);
}

TEST_F(Soundctl, TalksToTheServiceThatIsChosen) {
    std::string const address = LocalSocket().address();
    startService({"--service", address});
    run({"send", "cmdMuteSet"}, 1);
    setenv("AUDVIK_SERVICE", LocalSocket().address().c_str(), 1);
    run({"--service", address, "send", "cmdMuteSet"});
    run({"send", "cmdMuteSet", "--service", address});
}

TEST_F(Soundctl, MonitorPrintsTheWantedNotificationsUntilItIsInterrupted) {
    Program all({AUDVIK_SOUNDCTL, "monitor"});
    Program mute({AUDVIK_SOUNDCTL, "monitor", "--json", "onMuteInfoNotify"});
    EXPECT_TRUE(all.says("no sound service at") && mute.says("no sound service at"));
    startService();
    EXPECT_TRUE(all.says("found the sound service") && mute.says("found the sound service"));

    run({"send", "cmdBalanceSet", "3", "4"});
    run({"send", "cmdMuteSet", "1", "2"});
    EXPECT_TRUE(all.says(" onBalanceInfoNotify field1=3 field2=4\n")) << all.output();
    EXPECT_TRUE(all.says(" onMuteInfoNotify field1=1 field2=2\n")) << all.output();
    ASSERT_TRUE(mute.says("\n"));
    all.signal(SIGINT);
    mute.signal(SIGTERM);
    EXPECT_TRUE(all.ends(0) && mute.ends(0));
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
    run({"batch", file}, 2, file + ":3: field9");
    EXPECT_EQ(service_->output(), "");

    writeFile(file, right + '\n' + R"({"command": "cmdInitAMP"})" + '\n' + right + '\n');
    auto const answers = linesOf(run({"batch", file}));
    ASSERT_EQ(answers.size(), 2U);
    EXPECT_EQ(answers[0]["line"], 1);
    EXPECT_EQ(answers[1]["line"], 3);
    EXPECT_EQ(answers[1]["notification"], "onMuteInfoNotify");
    EXPECT_EQ(answers[1]["arguments"], Json::parse(R"({"field1": 1, "field2": 0})"));

    writeFile(file,
              right + '\n' +
                  R"({"command": "cmdInitAMP", "expect": "onMuteInfoNotify", "timeout": 0.1})");
    run({"batch", file}, 1, file + ":2: no onMuteInfoNotify");
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

TEST_F(Soundctl, StateIsTheLastThatWasHeard) {
    std::string const flags = "onSoundFlagsInfoNotify";
    run({"state", "--timeout", "10ms"}, 1, "no sound service at");
    writeFile(folder_.file("preset"), R"({"onSoundFlagsInfoNotify": {"field1": 7}})");
    startService({"--log-json", "--state", folder_.file("preset")});
    Program waiting({AUDVIK_SOUNDCTL, "state", "--json", "--timeout", "20s", "onMuteInfoNotify",
                     flags, "onBalanceInfoNotify"});
    ASSERT_TRUE(service_->says("cmdGetSoundFlags")) << waiting.errors();
    run({"send", "cmdMuteSet", "1", "2"});
    run({"send", "cmdMuteSet", "5", "6"});
    run({"send", "cmdBalanceSet", "3", "4"});
    EXPECT_TRUE(waiting.ends(0));
    Json const document = Json::parse(waiting.output());
    EXPECT_EQ(document.size(), 3U);
    EXPECT_EQ(document["onMuteInfoNotify"], Json::parse(R"({"field1": 5, "field2": 6})"));

    service_.reset();
    writeFile(folder_.file("preset"), waiting.output());
    startService({"--state", folder_.file("preset")});
    auto const asked = run({"state", flags, "--timeout", "20s"});
    EXPECT_EQ(asked.find(flags + " field1=7"), 0U) << asked;
    run({"state", "onVolumeInfoNotify", "--timeout", "10ms"}, 1, "no onVolumeInfoNotify came");
}

TEST_F(Soundctl, NamesOfFieldsAreTakenAndShownAndTheirRangesHold) {
    setenv("AUDVIK_NAMES", AUDVIK_EXAMPLES "/names.json", 1);
    startService();
    auto const sent = run({"send", "cmdVolumeSet", "1", "100", "--expect", "onVolumeInfoNotify"});
    EXPECT_EQ(sent, "onVolumeInfoNotify field1=1 volume=100 field3=0 field4=0\n");
    for (std::string const name : {"volume", "field2"}) {
        auto const answer = run({"send", "cmdVolumeSet", "--json", "{\"" + name + "\": 42}",
                                 "--expect", "onVolumeInfoNotify"});
        EXPECT_EQ(Json::parse(answer)["arguments"]["field2"], 42);
    }
    for (std::vector<std::string> const& arguments :
         {std::vector<std::string>{"1", "101"}, {"--json", R"({"volume": 101})"}}) {
        run(joined({"send", "cmdVolumeSet"}, arguments), 2, "is not a uint32 from 0 to 100");
    }
    EXPECT_TRUE(has(run({"list", "cmdVol"}), "field2 volume, from 0 to 100, in %"));
    Json const field = Json::parse(run({"list", "--json", "cmdVol"}))["commands"][0]["fields"][1];
    EXPECT_EQ(field, Json::parse(R"({"name": "field2", "title": "volume", "type": "uint32",
                                     "least": 0, "most": 100, "unit": "%"})"));
    unsetenv("AUDVIK_NAMES");
}

TEST_F(Soundctl, AWrongNamesFileIsRefused) {
    std::string const file = folder_.file("names.json");
    run({"--names", file, "list"}, 2);
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
        Program refused({AUDVIK_SOUNDCTL, "--names", file, "list"});
        EXPECT_TRUE(refused.ends(2, message)) << text;
        EXPECT_EQ(refused.errors().find("soundctl: " + file + ": "), 0U) << refused.errors();
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
    EXPECT_TRUE(becomesTrue([&] { return has(readFile(file), "onBalance"); }));
    recording.signal(SIGINT);
    EXPECT_TRUE(recording.ends(0));
    auto const lines = linesOf(readFile(file));
    ASSERT_GE(lines.size(), 3U) << readFile(file);
    EXPECT_EQ(lines[0]["session"], 1);
    EXPECT_EQ(lines[0]["interface"], Json::parse(run({"list", "--json"}))["fingerprint"]);
    auto const& balance = lines.back();
    EXPECT_EQ(balance["notification"], "onBalanceInfoNotify");
    double const between = balance["at"].get<double>() - lines[1]["at"].get<double>();
    EXPECT_GT(between, 0);
    EXPECT_NEAR(balance["time"].get<double>() - lines[1]["time"].get<double>(), between, 0.01);

    run({"record", "/dev/full"}, 1);
}

TEST_F(Soundctl, TheSoundOfASessionIsWholeAndLiesWhereTheSessionSays) {
    if (!AUDVIK_WRITES_WAV) GTEST_SKIP() << "soundctl was built without libsndfile";
    constexpr std::uint32_t kRate = 8000;
    constexpr std::size_t kHeaderSize = 44;
    constexpr std::size_t kFrameSize = 4;
    std::string source;
    for (std::uint32_t frame = 1; frame < 60 * kRate; ++frame)
        source += littleEndian(frame, kFrameSize);
    writeFile(folder_.file("source.wav"), wav(kRate, 2, source));
    // Blocks end within frames, and so does what is heard of a service that dies.
    std::vector<std::string> const playing{folder_.file("source.wav"), "--block", "1001"};
    auto const session = folder_.file("evening");
    auto const track = folder_.file("evening.wav");
    auto const soundLines = [](std::string const& text) {
        auto lines = linesOf(text);
        std::erase_if(lines, [](Json const& each) { return !each.contains("audio"); });
        return lines;
    };
    auto const hearsMore = [&] {
        auto const before = readFile(track).size();
        return becomesTrue([&] { return readFile(track).size() > before + 10000; });
    };
    startService(playing);
    Program recording({AUDVIK_SOUNDCTL, "record", session, "--audio", track});
    ASSERT_TRUE(hearsMore()) << recording.errors();
    service_->signal(SIGKILL);
    ASSERT_TRUE(recording.says("waiting for it"));
    auto const linesBefore = soundLines(readFile(session)).size();
    startService(playing);
    ASSERT_TRUE(hearsMore()) << recording.errors();
    run({"send", "cmdMuteSet", "1", "--expect", "onMuteInfoNotify"});
    ASSERT_TRUE(becomesTrue([&] { return has(readFile(session), "onMute"); }));
    recording.signal(SIGINT);
    EXPECT_TRUE(recording.ends(0, " 0 blocks lost\n"));

    auto const text = readFile(session);
    auto const lines = soundLines(text);
    ASSERT_GT(lines.size(), linesBefore) << text;
    EXPECT_EQ(lines[0]["frame"], 0);
    auto const& again = lines[linesBefore];
    auto const written = readFile(track);
    auto const samples = written.substr(kHeaderSize);
    EXPECT_TRUE(written == wav(kRate, 2, samples));
    auto const first = again["frame"].get<std::size_t>() * kFrameSize;
    ASSERT_GT(first, 10000U) << text;
    EXPECT_EQ(samples.compare(0, first - kFrameSize, source, 0, first - kFrameSize), 0);
    auto const rest = (samples.size() - first) / kFrameSize * kFrameSize;
    EXPECT_GT(rest, 9000U);
    EXPECT_EQ(samples.compare(first, rest, source, 0, rest), 0) << text;
    auto const end = [&](Json const& from, std::size_t frame) {
        return from["at"].get<double>() +
               static_cast<double>(frame - from["frame"].get<std::size_t>()) / kRate;
    };
    EXPECT_GT(again["at"], end(lines[linesBefore - 1], first / kFrameSize) + 0.1) << text;
    auto const all = linesOf(text);
    auto const mute = std::find_if(all.begin(), all.end(),
                                   [](Json const& each) { return each.contains("notification"); });
    EXPECT_NEAR((*mute)["at"].get<double>(), end(lines.back(), samples.size() / kFrameSize), 0.5);
    writeFile(folder_.file("silent"), "{\"session\": 1}\n" + tools::toText(*mute) + '\n');
    run({"diff", session, folder_.file("silent")});
}

TEST_F(Soundctl, ARecordingWithoutItsSoundFails) {
    if (!AUDVIK_WRITES_WAV) GTEST_SKIP() << "soundctl was built without libsndfile";
    auto const session = folder_.file("evening");
    run({"record", session, "--audio", session}, 2, "a file of its own");
    run({"record", session, "--audio", folder_.file("no/folder.wav")}, 1, "No such file");
    Program silent({AUDVIK_SOUNDCTL, "record", session, "--audio", folder_.file("silent.wav")});
    ASSERT_TRUE(silent.says("waiting for it"));
    silent.signal(SIGINT);
    EXPECT_TRUE(silent.ends(1, "no sound was heard"));
    EXPECT_TRUE(readFile(folder_.file("silent.wav")) == wav(48000, 2, ""));
    startService({"--tone", "440"});
    run({"record", session, "--audio", "/dev/full"}, 1, "/dev/full");
}

TEST_F(Soundctl, ASessionIsPlayedBackAsItWasRecorded) {
    std::string const file = folder_.file("session");
    std::string text = "{\"session\": 1, \"interface\": \"of another year\"}\n" +
                       line(0.5, "onNewNotify", {}) +
                       line(0.6, "onMuteInfoNotify", {{"field9", 1}});
    for (int i = 1; i <= 5; ++i) text += line(1 + i * 0.4, "onMuteInfoNotify", {{"field1", i}});
    writeFile(file, text + line(3.1, "onSoundFlagsInfoNotify", {{"field1", 7}}));
    startService({"--replay", file, "--speed", "4", "--loop"});
    for (auto const* const complaint :
         {" was recorded with other messages or fields than there are now",
          ":2: no notification that tells a state is called onNewNotify",
          ":3: onMuteInfoNotify: field9"}) {
        EXPECT_TRUE(has(service_->errors(), file + complaint));
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
    EXPECT_EQ(state.find("onSoundFlagsInfoNotify field1=7"), 0U) << state;
}

TEST_F(Soundctl, DiffFindsWhatOnlyOneSessionHas) {
    auto const session = [this](std::string const& name,
                                std::vector<std::pair<double, int>> const& messages) {
        std::string text = "{\"session\": 1}\n";
        for (auto const& [at, volume] : messages) {
            text += line(at, volume < 0 ? "onNew" : "onMuteInfoNotify",
                         {{"field2", 0}, {"field1", volume}});
        }
        writeFile(folder_.file(name), text);
        return folder_.file(name);
    };
    auto const first = session("first", {{1, 1}, {2, 2}, {2.05, 3}, {3, 1}, {9, -1}});
    // Later, and two in another order.
    auto const same = session("same", {{5, 1}, {6.01, 3}, {6.04, 2}, {7.05, 1}, {13, -1}});
    EXPECT_EQ(run({"diff", first, same}), "");
    run({"diff", first, same, "--tolerance", "10ms"}, 1);
    auto const other = session("other", {{5, 1}, {6, 2}, {6.05, 3}, {7.2, 1}, {8, 4}, {13, -1}});
    EXPECT_EQ(
        run({"diff", first, other}, 1, "4 messages in common, 1 only in " + first + ", 2 only in "),
        "- 3.000 onMuteInfoNotify field1=1 field2=0\n"
        "+ 7.200 onMuteInfoNotify field1=1 field2=0\n"
        "+ 8.000 onMuteInfoNotify field1=4 field2=0\n");
    for (std::string const text : {"", "{}", "[", R"({"session": 2})",
                                   "{\"session\": 1}\n{\"at\": 1}", "{\"session\": 1}\n\n"}) {
        writeFile(folder_.file("wrong"), text);
        run({"diff", first, folder_.file("wrong")}, 2);
    }
    run({"diff", first, folder_.file("missing")}, 2);
}

TEST_F(Soundctl, EndlessInputIsRefused) {
    Program service({AUDVIK_SOUND_SERVICE, "--state", "/dev/zero"});
    EXPECT_TRUE(service.ends(1, "/dev/zero: the text has more than"));
    run({"batch", "/dev/zero"}, 2);
    std::string const script = "exec $EMULATOR \"$0\" send cmdMuteSet --json - < /dev/zero";
    Program json({"/bin/sh", "-c", script, AUDVIK_SOUNDCTL});
    EXPECT_TRUE(json.ends(2));
}

TEST_F(Soundctl, MonitorEndsWhenItsReaderHasGone) {
    std::string const script = "{ $EMULATOR \"$0\" monitor; echo ended >&2; } | sleep 0.3";
    Program pipeline({"/bin/sh", "-c", script, AUDVIK_SOUNDCTL});
    EXPECT_TRUE(pipeline.ends(0, "ended"));
}

class Completion : public Soundctl {
protected:
    /// Has a shell read its completion and then run a script.
    /// @return what that prints
    std::string runIn(std::string const& shell, std::string const& before,
                      std::string const& script) {
        writeFile(folder_.file("completion"), run({"completion", shell}));
        writeFile(folder_.file("script"),
                  before + "\nsource " + folder_.file("completion") + '\n' + script + '\n');
        Program program({"/bin/sh", "-c", "exec \"$0\" \"$1\"", shell, folder_.file("script")});
        EXPECT_TRUE(program.ends(0));
        return program.output();
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
    EXPECT_TRUE(has(reply, "1:command:(cmdVolumeSet "));
    EXPECT_TRUE(has(reply, ":notification:(onVolumeInfoNotify "));
}

}  // namespace
}  // namespace sound
