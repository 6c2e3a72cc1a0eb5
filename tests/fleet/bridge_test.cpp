// audvik-bridge between a running sound-service and a running mosquitto, as real processes.
#include <gtest/gtest.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <array>
#include <chrono>
#include <csignal>
#include <map>
#include <memory>
#include <regex>
#include <string>
#include <vector>

#include "errors.h"
#include "LocalSocket.h"
#include "MqttClient.h"
#include "Program.h"
#include "record_json.h"

namespace {

using namespace std::chrono_literals;
using tools::Json;
using tools::MqttClient;
using tools::MqttMessage;
using Clock = std::chrono::steady_clock;

constexpr char kVolume[] = "audvik/tv/on/onVolumeInfoNotify";

/// Somebody on the broker, who hears everything and keeps the last of each topic.
class Observer {
public:
    explicit Observer(std::string const& broker)
        : client_(
              {broker, "", "", "", "", ""}, "",
              {[this] {
                   client_.subscribe("audvik/#", true);
                   client_.subscribe("homeassistant/#", true);
                   client_.subscribe("answers", true);
                   client_.publish({"audvik/ready", "", false});
               },
               [this](MqttMessage const& message) { take(message); }, [](std::string const&) {}},
              {}) {
        EXPECT_TRUE(waitFor([this] { return last.contains("audvik/ready"); }));
    }

    template <class Condition>
    bool waitFor(Condition const& condition, std::chrono::seconds patience = 30s) {
        auto const end = Clock::now() + patience;
        while (!condition()) {
            if (Clock::now() > end) return false;
            auto polled = client_.polled();
            ::poll(&polled, 1, 20);
            client_.work();
        }
        return true;
    }

    /// Waits for a topic's last message to have a part, or to be the whole.
    bool sees(std::string const& topic, std::string const& part) {
        return waitFor([&] { return last[topic].find(part) != std::string::npos; });
    }
    bool isTold(std::string const& topic, std::string const& whole) {
        return waitFor([&] { return last[topic] == whole; });
    }

    void send(std::string const& topic, std::string const& payload,
              std::string const& correlation = "", std::string const& responseTopic = "answers") {
        MqttMessage message{topic, payload};
        message.responseTopic = responseTopic;
        message.correlation = correlation;
        client_.publish(message);
    }

    void retain(std::string const& topic, std::string const& payload) {
        client_.publish({topic, payload, true});
    }

    /// @return the answer to a command
    Json ask(std::string const& command, std::string const& payload) {
        auto const correlation = std::to_string(++asked_);
        send("audvik/tv/do/" + command, payload, correlation);
        EXPECT_TRUE(waitFor([&] { return answers.contains(correlation); })) << command;
        return Json::parse(answers[correlation]);
    }

    std::map<std::string, std::string> last;
    std::map<std::string, std::size_t> count;
    std::map<std::string, std::string> answers;  ///< by correlation data

private:
    void take(MqttMessage const& message) {
        last[message.topic] = message.payload;
        ++count[message.topic];
        if (message.topic == "answers") answers[message.correlation] = message.payload;
    }

    static inline int asked_ = 0;  // nobody else's correlation data are the same
    MqttClient client_;
};

class BridgeTest : public ::testing::Test {
protected:
    BridgeTest() {
        ::setenv("AUDVIK_SERVICE", LocalSocket().address().c_str(), 1);
        ::setenv("AUDVIK_NAMES", AUDVIK_EXAMPLES "/names.json", 1);
        writeFile(folder_.file("mosquitto.conf"), "listener " + port_ + ' ' + host_ +
                                                      "\nallow_anonymous true\n"
                                                      "max_queued_messages 0\n");
        startBroker();
        startService();
        startBridge();
        EXPECT_TRUE(bridge->says("connected to " + address_ + " as tv"));
    }

    void startBroker() {
        broker = std::make_unique<Program>(
            std::vector<std::string>{AUDVIK_MOSQUITTO, "-c", folder_.file("mosquitto.conf")});
        EXPECT_TRUE(broker->says("running"));
    }

    void startService() {
        service = startSoundService({"--tone", "440", "--rate", "32000", "--log-json"});
    }

    void startBridge(std::vector<std::string> const& options = {}) {
        bridge = std::make_unique<Program>(
            joined({AUDVIK_BRIDGE, "--broker", address_, "--set", "tv"}, options));
    }

    /// How many commands of a name the service has received.
    std::ptrdiff_t received(std::string const& command) const {
        auto const log = service->output();
        std::regex const part("\"command\":\"" + command + '"');
        return std::distance(std::sregex_iterator(log.begin(), log.end(), part), {});
    }

    TemporaryFolder folder_;
    std::string const address_ = LocalSocket(SOCK_STREAM).address();
    std::string const host_ = address_.substr(0, address_.find(':'));
    std::string const port_ = address_.substr(host_.size() + 1);
    std::unique_ptr<Program> broker, service, bridge;
};

TEST_F(BridgeTest, TellsWhoComesLateWhatItIsAndHowItStands) {
    Json const answer = Observer(address_).ask("cmdVolumeSet", R"({"field1": 1, "volume": 30})");
    EXPECT_EQ(answer["status"], 0) << answer;
    EXPECT_EQ(answer["set"], "tv");
    EXPECT_EQ(answer["arguments"]["field2"], 30);

    Observer late(address_);
    ASSERT_TRUE(late.sees(kVolume, R"("field2":30)"));
    EXPECT_TRUE(late.sees("audvik/tv/status", "online"));
    EXPECT_TRUE(late.sees("audvik/tv/on/onCapabilityNotify", "arguments")) << "was not asked for";
    EXPECT_FALSE(late.last.contains("audvik/tv/on/onAudioDataNotify"));
    Json const interface = Json::parse(late.last["audvik/tv/interface"]);
    Json const& volume = interface["commands"]["cmdVolumeSet"]["properties"]["field2"];
    EXPECT_EQ(volume["title"], "volume");
    EXPECT_EQ(volume["maximum"], 100);
    Json const& plain = interface["commands"]["cmdVolumeSet"]["properties"]["field1"]["$ref"];
    EXPECT_EQ(interface[Json::json_pointer(plain.get<std::string>().substr(1))]["maximum"],
              4294967295);
    EXPECT_EQ(interface["notifications"]["onVolumeInfoNotify"]["command"], "cmdVolumeSet");

    ASSERT_TRUE(late.sees("audvik/tv/level", "peak"));
    Json const level = Json::parse(late.last["audvik/tv/level"]);
    EXPECT_EQ(level["rate"], 32000);
    EXPECT_NEAR(level["peak"][0].get<double>(), -6, 0.2);
}

TEST_F(BridgeTest, RefusesWhatIsWrongAndGoesOn) {
    Observer observer(address_);
    auto const error = [&](std::string const& command, std::string const& payload) {
        return observer.ask(command, payload).value("error", "");
    };
    EXPECT_TRUE(has(error("cmdVolumeSet", "{"), "no JSON"));
    EXPECT_TRUE(has(error("cmdVolumeSet", std::string(70000, ' ')), "70000 bytes"));
    EXPECT_TRUE(has(error("cmdVolume", "{}"), "did you mean cmdVolumeSet"));
    EXPECT_EQ(error("cmdVolumeSet", R"({"volume": 101})"),
              "volume: 101 is not a uint32 from 0 to 100");
    EXPECT_TRUE(has(error("cmdEnabelSoundAudioDataCB", R"({"field1": false})"), "audio/lease"));
    // Nobody speaks through the bridge in its name, and nothing is done without being asked to now.
    observer.send("audvik/tv/do/cmdMuteSet", "{", "", "audvik/tv/status");
    observer.send("audvik/tv/do/cmdMuteSet", std::string(300 << 10, ' '));
    // Retained, by somebody whose name has the broker end the bridge's connection.
    ASSERT_TRUE(Program({"mosquitto_pub", "-h", host_, "-p", port_, "-i", "audvik-bridge-tv", "-r",
                         "-t", "audvik/tv/do/cmdMuteSet", "-m", "{}"})
                    .ends(0));
    ASSERT_TRUE(observer.isTold("audvik/tv/status", "offline"));
    ASSERT_TRUE(observer.isTold("audvik/tv/status", "online"));
    EXPECT_EQ(observer.ask("cmdVolumeSet", R"({"volume": 100})")["status"], 0);
    EXPECT_EQ(observer.last["audvik/tv/status"], "online");
    EXPECT_EQ(received("cmdMuteSet"), 0);
}

TEST_F(BridgeTest, SendsWhatIsDeliveredTwiceOnce) {
    Observer observer(address_);
    for (int i = 0; i < 2; ++i) {
        observer.send("audvik/tv/do/cmdBalanceSet", "{}", "same");
        ASSERT_TRUE(observer.waitFor([&] { return observer.count["answers"] == i + 1U; }));
        EXPECT_EQ(Json::parse(observer.answers["same"])["status"], 0);
    }
    // Somebody else's is another, and so is one that says something else.
    observer.send("audvik/tv/do/cmdBalanceSet", "{}", "same", "audvik/other");
    ASSERT_TRUE(observer.sees("audvik/other", "status"));
    observer.send("audvik/tv/do/cmdBalanceSet", R"({"field1": 1})", "same");
    observer.ask("cmdMuteSet", "{}");
    ASSERT_TRUE(service->says("onMuteInfoNotify"));
    EXPECT_EQ(received("cmdBalanceSet"), 3);
}

TEST_F(BridgeTest, KeepsNothingOfAServiceThatHasGone) {
    Observer observer(address_);
    observer.ask("cmdVolumeSet", R"({"volume": 30})");
    ASSERT_TRUE(observer.sees(kVolume, R"("field2":30)"));
    service.reset();
    ASSERT_TRUE(observer.sees("audvik/tv/status", "offline: no sound service at 127."));
    EXPECT_TRUE(observer.isTold(kVolume, ""));
    EXPECT_TRUE(has(observer.ask("cmdVolumeSet", "{}").value("error", ""), "no sound service"));
    observer.last.clear();
    startService();
    EXPECT_TRUE(observer.isTold("audvik/tv/status", "online"));
    EXPECT_TRUE(observer.sees("audvik/tv/on/onCapabilityNotify", "arguments"));
    EXPECT_TRUE(observer.sees("audvik/tv/level", "peak")) << "the sound is not back";
    EXPECT_EQ(observer.last[kVolume], "");
}

TEST_F(BridgeTest, ComesBackToABrokerThatHasForgottenEverything) {
    Observer(address_).ask("cmdVolumeSet", R"({"volume": 30})");
    broker->signal(SIGKILL);
    ASSERT_TRUE(bridge->says("no broker at " + address_));
    ASSERT_TRUE(Program({AUDVIK_SOUNDCTL, "send", "cmdVolumeSet", "0", "31"}).ends(0));
    startBroker();
    Observer observer(address_);
    EXPECT_TRUE(observer.sees(kVolume, R"("field2":31)"));
    EXPECT_EQ(observer.last["audvik/tv/status"], "online");

    // Both at once.
    broker.reset();
    service.reset();
    observer.last.clear();
    startBroker();
    startService();
    ASSERT_TRUE(bridge->says("is back"));
    EXPECT_TRUE(observer.isTold("audvik/tv/status", "online"));
    EXPECT_EQ(observer.ask("cmdVolumeSet", R"({"volume": 32})")["status"], 0);
    EXPECT_TRUE(observer.sees(kVolume, R"("field2":32)"));

    // And the bridge itself.
    bridge->signal(SIGKILL);
    EXPECT_TRUE(observer.isTold("audvik/tv/status", "offline"));
    startBridge();
    EXPECT_TRUE(observer.isTold("audvik/tv/status", "online"));
    EXPECT_TRUE(observer.isTold(kVolume, "")) << "nobody knows what was changed in between";
    // Told to end while something is on its way to it, it is not taken for dead.
    bridge->signal(SIGSTOP);
    for (int i = 0; i < 9; ++i) observer.send("audvik/tv/do/cmdVolumeSet", "{}");
    Observer{address_};  // all is sent on
    bridge->signal(SIGTERM);
    bridge->signal(SIGCONT);
    EXPECT_EQ(bridge->status(), 0);
    EXPECT_TRUE(observer.sees("audvik/tv/status", "offline: the bridge was stopped"));
}

TEST_F(BridgeTest, RefusesWhatTheServiceDoesNotTake) {
    constexpr std::size_t kMany = 3000;
    Observer observer(address_);
    service->signal(SIGSTOP);
    for (std::size_t i = 0; i < kMany; ++i) {
        observer.send("audvik/tv/do/cmdAudiolinkTest", R"({"field1": "hello"})",
                      "flood " + std::to_string(i));
    }
    ASSERT_TRUE(observer.waitFor([&] { return observer.answers.size() == kMany; }))
        << observer.answers.size();
    std::size_t taken = 0;
    for (auto const& [correlation, answer] : observer.answers) {
        taken += Json::parse(answer).contains("status") ? 1 : 0;
    }
    EXPECT_GT(taken, 0U);
    EXPECT_LT(taken, 1000U) << "the transport has room for less";
    service->signal(SIGCONT);
    EXPECT_TRUE(observer.waitFor(
        [&] { return !observer.ask("cmdVolumeSet", R"({"volume": 33})").contains("error"); }));
    EXPECT_TRUE(observer.sees(kVolume, R"("field2":33)"));
}

TEST_F(BridgeTest, SendsSoundOnlyWhileSomebodyHoldsALease) {
    bridge->signal(SIGTERM);
    ASSERT_EQ(bridge->status(), 0);
    auto const before = received("cmdEnabelSoundAudioDataCB");
    startBridge({"--level-rate", "0"});
    ASSERT_TRUE(bridge->says("connected"));
    Program const heard({"mosquitto_sub", "-V", "5", "-h", host_, "-p", port_, "-t",
                         "audvik/tv/audio", "-F", "%P %l"});
    Observer observer(address_);
    EXPECT_EQ(received("cmdEnabelSoundAudioDataCB"), before) << "nobody listens";
    observer.send("audvik/tv/audio/lease", "", "", "");
    ASSERT_TRUE(heard.says("rate:32000 channels:2 block:0 4096"));
    ASSERT_TRUE(heard.says("rate:32000 channels:2 block:20 4096"));
    auto const begin = Clock::now();
    ASSERT_TRUE(observer.waitFor(
        [&] { return service->output().find(R"({"field1":false})") != std::string::npos; }));
    EXPECT_LT(Clock::now() - begin, 10s);
    observer.waitFor([] { return false; }, 1s);  // for what is on its way
    auto const blocks = heard.output();
    observer.waitFor([] { return false; }, 1s);
    EXPECT_EQ(heard.output(), blocks) << "the lease is over";
    EXPECT_FALSE(observer.last.contains("audvik/tv/level"));
}

TEST_F(BridgeTest, AnnouncesNamedFieldsToHomeAssistant) {
    startBridge({"--home-assistant"});
    Observer observer(address_);
    constexpr char kNumber[] = "homeassistant/number/audvik_tv/cmdVolumeSet_field2/config";
    ASSERT_TRUE(observer.sees(kNumber, "volume"));
    Json const number = Json::parse(observer.last[kNumber]);
    EXPECT_EQ(number["command_topic"], "audvik/tv/do/cmdVolumeSet");
    EXPECT_EQ(number["command_template"], R"({"field2":{{ value }}})");
    EXPECT_EQ(number["state_topic"], kVolume);
    EXPECT_EQ(number["max"], 100);
    EXPECT_EQ(number["availability_topic"], "audvik/tv/status");
    constexpr char kSwitch[] = "homeassistant/switch/audvik_tv/cmdMuteSet_field1/config";
    ASSERT_TRUE(observer.sees(kSwitch, "mute"));
    auto const on = Json::parse(observer.last[kSwitch])["payload_on"].get<std::string>();
    EXPECT_EQ(observer.ask("cmdMuteSet", on)["arguments"]["field1"], 1);
    EXPECT_EQ(
        observer.last.count("homeassistant/sensor/audvik_tv/onVolumeInfoNotify_field2/config"), 0U)
        << "the number shows it";
}

TEST_F(BridgeTest, IsOneOfAllThatSoundctlAsksAndCommands) {
    auto const soundctl = [this](std::string const& words) {
        return joined({AUDVIK_SOUNDCTL, "--broker", address_}, wordsOf(words));
    };
    Observer observer(address_);
    observer.retain("audvik/odd/status", "offline: odd");
    observer.retain("audvik/odd/on/onVolumeInfoNotify", R"({"arguments": {}})");
    observer.retain("audvik/odd/on/onMuteInfoNotify", "no JSON");
    ASSERT_TRUE(observer.isTold("audvik/odd/on/onMuteInfoNotify", "no JSON"));
    Program const monitor(soundctl("monitor --json"));
    Program sent(soundctl("send cmdVolumeSet 0 30 --expect onVolumeInfoNotify"));
    EXPECT_TRUE(sent.ends(1, "1 of 2 sets did not do it"));
    EXPECT_TRUE(has(sent.output(), "odd              offline: odd"));
    EXPECT_TRUE(has(sent.output(), "tv               onVolumeInfoNotify field1=0 volume=30"));
    // Not waiting any longer for what a set has refused.
    Program refused(
        soundctl("--set tv send --expect onVolumeInfoNotify --timeout 1min "
                 "cmdEnabelSoundAudioDataCB false"));
    EXPECT_TRUE(refused.ends(1));
    EXPECT_TRUE(has(refused.output(), "error: the bridge itself switches that"));

    Program state(soundctl("state"));
    EXPECT_TRUE(state.ends(0));
    EXPECT_TRUE(has(state.output(), R"(odd              {"arguments": {}})"));
    EXPECT_TRUE(has(state.output(), "volume=30"));
    Program document(soundctl("state --json"));
    EXPECT_TRUE(document.ends(0));
    Json const sets = Json::parse(document.output());
    EXPECT_EQ(sets["tv"]["onVolumeInfoNotify"]["field2"], 30);
    EXPECT_EQ(sets["odd"]["onMuteInfoNotify"], nullptr);

    EXPECT_TRUE(observer.waitFor([&] {
        observer.retain("audvik/odd/on/onMuteInfoNotify", "no JSON");
        observer.ask("cmdVolumeSet", "{}");
        return has(monitor.output(), R"("set":"tv")") && has(monitor.output(), R"("no JSON")");
    })) << monitor.errors();
}

TEST_F(BridgeTest, TellsItsSupervisorThatItWorks) {
    sockaddr_un address{AF_UNIX, {}};
    folder_.file("notify").copy(address.sun_path, sizeof address.sun_path - 1);
    int const notified = ::socket(AF_UNIX, SOCK_DGRAM, 0);
    ::bind(notified, reinterpret_cast<sockaddr const*>(&address), sizeof address);
    ::setenv("NOTIFY_SOCKET", address.sun_path, 1);
    ::setenv("WATCHDOG_USEC", "200000", 1);
    auto const next = [notified](int patience) {
        std::array<char, 64> text{};
        pollfd polled{notified, POLLIN, 0};
        if (::poll(&polled, 1, patience) == 1) ::recv(notified, text.data(), text.size() - 1, 0);
        return std::string(text.data());
    };
    for (auto const& words :
         {std::vector<std::string>{AUDVIK_BRIDGE, "--broker", address_, "--set", "other"},
          {AUDVIK_SOUND_SERVICE, "--service", LocalSocket().address()}}) {
        Program const program(words);
        for (auto const* const word : {"READY=1", "WATCHDOG=1", "WATCHDOG=1"}) {
            EXPECT_EQ(next(10000), word);
        }
        program.signal(SIGSTOP);
        // What was on its way; then nothing, so that the supervisor notices.
        while (!next(500).empty()) {
        }
    }
    ::unsetenv("NOTIFY_SOCKET");
    ::unsetenv("WATCHDOG_USEC");
    ::close(notified);
}

TEST(BridgeOptionsTest, SayWhatIsWrong) {
    // Before anything is started: that would fail, and be said instead.
    ::setenv("AUDVIK_SERVICE", "no address", 1);
    for (auto const* const options :
         {"--set a/b", "--set tv --broker host:99999", "--set tv --password-file /nowhere",
          "--set tv --ca /nowhere", "--set tv --cert /dev/null"}) {
        EXPECT_TRUE(Program(joined({AUDVIK_BRIDGE}, wordsOf(options))).ends(2)) << options;
    }
    ::unsetenv("AUDVIK_SERVICE");
}

}  // namespace
