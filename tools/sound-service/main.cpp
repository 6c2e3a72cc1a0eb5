#include <poll.h>
#include <sys/resource.h>

#include <CLI/CLI.hpp>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <system_error>
#include <thread>

#include "desktop/Service.h"
#include "MessageLog.h"
#include "PipeFolder.h"
#include "Player.h"
#include "program.h"
#include "program_options.h"
#include "Replay.h"
#include "Responder.h"
#include "service_address.h"
#include "Sound.h"
#include "State.h"
#include "stream_format.h"
#include "supervisor.h"

namespace {

using sound::service::makeTone;
using sound::service::MessageLog;
using sound::service::PipeFolder;
using sound::service::Player;
using sound::service::readSoundFile;
using sound::service::readState;
using sound::service::Replay;
using sound::service::Responder;
using sound::service::Sound;
using sound::service::State;
using tools::serviceAddress;

struct Options {
    std::string file;
    std::optional<std::uint32_t> tone;
    std::uint32_t rate = 48000;
    std::uint32_t channels = 2;
    std::optional<double> duration;
    bool loop = false;
    std::string replayFile;
    Replay::Settings replay;
    std::string stateFile;
    bool logJson = false;
    Player::Settings player;
};

constexpr std::chrono::milliseconds kLookForClients{10};

constexpr char kDescription[] =
    "The sound service: answers the commands of its clients, and plays sound to each that\n"
    "switches audio data on.";

constexpr char kFooter[] =
    R"(The address to listen on is 127.0.0.1:12321, or what LMQR2_UDPHOST, AUDVIK_SERVICE or --service
says, the later winning over the earlier.

Examples:
  sound-service speech.wav                 play a file once to each client, in real time
  sound-service --tone 440 --channels 1    play a tone without an end
  sound-service --fast --block 16384 music.flac
                                           as fast as clients take it, in large blocks
  sound-service --replay evening.session   play back what soundctl record has recorded
  sound-service --state tv.json --log-json
                                           answer commands only, and log them as JSON
)";

void declare(CLI::App& app, Options& options) {
    app.footer(kFooter);
    app.set_version_flag("--version", "sound-service " AUDVIK_VERSION);
    auto* const file =
        app.add_option("FILE", options.file,
                       "sound file to play: WAV, FLAC, Ogg, MP3 and what else libsndfile reads");
    auto* const tone =
        app.add_option("--tone", options.tone, "play a sine of this frequency instead")
            ->option_text("HZ")
            ->check(CLI::Range(1, 96000))
            ->excludes(file);
    app.add_option("--rate", options.rate, "of the tone, in Hz; 48000 when not given")
        ->option_text("HZ")
        ->check(CLI::Range(2, 192000))
        ->needs(tone);
    app.add_option("--channels", options.channels, "of the tone; 2 when not given")
        ->option_text("N")
        ->check(CLI::Range(1, 8))
        ->needs(tone);
    app.add_option("--duration", options.duration, "of the tone; endless when not given")
        ->option_text("SECONDS")
        ->check(CLI::Range(0.001, 86400.0))
        ->needs(tone);
    auto* const replay =
        app.add_option("--replay", options.replayFile,
                       "play back a session that soundctl record has written, from when the first "
                       "client is there")
            ->option_text("FILE");
    app.add_option("--speed", options.replay.speed, "of the session; 1 when not given")
        ->option_text("X")
        ->check(CLI::Range(0.001, 1000.0))
        ->needs(replay);
    app.add_flag("--loop", options.loop, "play the file, or the session, again and again");
    app.add_option("--block", options.player.blockSize,
                   "bytes per block, 1 to 16384; 4096 when not given")
        ->option_text("BYTES")
        ->check(CLI::Range(1, 16384));
    app.add_flag("--fast", options.player.fast, "play as fast as a client takes the blocks");
    app.add_option("--state", options.stateFile,
                   R"(what to tell before a command sets it: {"onMuteInfoNotify": {"field1": 1}})")
        ->option_text("FILE.json");
    app.add_flag("--log-json", options.logJson,
                 "write each command and notification to standard output, one JSON object a line");
    tools::addServiceOption(app);
    app.callback([&options] {
        options.replay.loop = options.loop;
        if (options.loop && options.file.empty() && options.replayFile.empty()) {
            throw CLI::RequiresError("--loop", "FILE or --replay");
        }
        if (options.tone && *options.tone > options.rate / 2) {
            throw CLI::ValidationError("--tone",
                                       "the frequency must not be above half of --rate, " +
                                           std::to_string(options.rate / 2) + " Hz");
        }
    });
}

Sound makeSound(Options const& options) {
    if (options.tone) {
        return makeTone(*options.tone, options.rate, options.channels, options.duration);
    }
    if (options.file.empty()) return {};
    auto sound = readSoundFile(options.file);
    if (options.loop) sound.length.reset();
    return sound;
}

std::string describe(Options const& options, Sound const& sound) {
    if (options.tone) {
        return "playing a tone of " + std::to_string(*options.tone) + " Hz (" + sound.describe() +
               ')';
    }
    if (options.file.empty()) return "playing nothing";
    return "playing " + options.file + " (" + sound.describe() + ')';
}

/// Each block that a client has not taken yet needs a descriptor, and the usual limit is there
/// for programs that use select().
void raiseDescriptorLimit() {
    rlimit limit;
    if (::getrlimit(RLIMIT_NOFILE, &limit) != 0) return;
    limit.rlim_cur = limit.rlim_max;
    ::setrlimit(RLIMIT_NOFILE, &limit);
}

void serve(Options const& options) {
    auto sound = makeSound(options);
    auto state = options.stateFile.empty() ? State{} : readState(options.stateFile);
    std::optional<Replay> replay;
    if (!options.replayFile.empty()) replay.emplace(options.replayFile, options.replay);
    auto const description = describe(options, sound);
    auto const address = serviceAddress();
    auto const format = sound.format();
    pollfd ending{tools::takeEndingSignals(), POLLIN, 0};
    // When nobody reads the log any more the clients are served all the same.
    std::signal(SIGPIPE, SIG_IGN);
    raiseDescriptorLimit();

    // In the order in which one needs the other: the last goes first.
    MessageLog log(options.logJson);
    PipeFolder folder(address);
    if (format.channels > 0) tools::writeStreamFormat(folder.path(), format);
    Player player(std::move(sound), options.player, folder);
    Responder responder(
        std::move(state),
        [&player](frame::TransportInfo const& client, bool on) { player.switchStream(client, on); },
        log);
    desktop::Service service(
        address, [&player](frame::TransportInfo const& client) { player.forget(client); });
    responder.connect(service.ioModule());
    service.start();
    std::jthread const playing([&](std::stop_token const& stop) {
        player.run(stop, [&responder](auto const&... block) {
            return responder.announceAudioData(block...);
        });
    });
    std::jthread const replaying([&](std::stop_token const& stop) {
        if (!replay) return;
        while (service.clients() == 0 && !stop.stop_requested()) {
            sound::service::sleepUntil(std::chrono::steady_clock::now() + kLookForClients, stop);
        }
        replay->run(stop, [&responder](auto const&... message) { responder.tell(message...); });
    });
    std::fprintf(stderr, "sound-service: listening on %s, %s\n", address.c_str(),
                 description.c_str());
    tools::notifySupervisor("READY=1");
    auto const interval = static_cast<int>(tools::watchdogInterval().count());
    do {
        service.clients();  // which no thread keeps waiting that works
        tools::notifySupervisor("WATCHDOG=1");
    } while (::poll(&ending, 1, interval) <= 0);
}

int fail(std::string const& message) {
    std::fprintf(stderr, "sound-service: %s\n", message.c_str());
    return 1;
}

}  // namespace

int main(int argc, char** argv) try {
    Options options;
    CLI::App app(kDescription, "sound-service");
    declare(app, options);
    tools::parse(app, argc, argv);
    serve(options);
    return 0;
} catch (std::system_error const& error) {
    if (error.code() != std::errc::address_in_use) return fail(error.what());
    return fail(serviceAddress() +
                " is in use by another program; stop it, or choose another with --service");
} catch (std::exception const& error) {
    return fail(error.what());
}
