#include <unistd.h>

#include <csignal>
#include <cstdio>
#include <exception>
#include <filesystem>
#include <optional>

#include "AudioTrack.h"
#include "errors.h"
#include "session.h"
#include "subcommands.h"
#include "until_ended.h"

namespace sound::control {

namespace {

void checkPaths(RecordOptions const& options) {
    using std::filesystem::weakly_canonical;
    auto const& audio = options.audio.path;
    if (audio.empty() || weakly_canonical(audio) != weakly_canonical(options.path)) return;
    throw tools::UsageError("--audio needs a file of its own, not the session's " + options.path);
}

}  // namespace

void record(RecordOptions const& options) {
    checkPaths(options);
    tools::SessionWriter session(options.path);
    std::exception_ptr failure;
    // On the delivery thread, which lets nothing out.
    auto const attempt = [&failure](auto const& action) {
        if (failure) return;
        try {
            action();
        } catch (std::exception const&) {
            failure = std::current_exception();
            ::kill(::getpid(), SIGTERM);
        }
    };
    std::optional<AudioTrack> audio;
    if (auto const& path = options.audio.path; !path.empty()) {
        audio.emplace(options.audio, [&](std::uint64_t frame, tools::StreamFormat const& format) {
            attempt([&] { session.addAudio(path, frame, format); });
        });
    }
    std::fprintf(stderr, "soundctl: recording until Ctrl-C\n");
    listenUntilEnded(
        [&](reflection::Notification const& notification, tools::Json const& arguments) {
            // A block's pipe is of no use to anybody later.
            if (notification.relation == "streams") return;
            attempt([&] { session.add(notification, arguments); });
        },
        audio ? &*audio : nullptr);
    if (failure) std::rethrow_exception(failure);
    if (audio) audio->finish();
}

}  // namespace sound::control
