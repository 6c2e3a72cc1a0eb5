#include <unistd.h>

#include <csignal>
#include <cstdio>
#include <exception>

#include "session.h"
#include "subcommands.h"
#include "until_ended.h"

namespace sound::control {

void record(std::string const& path) {
    tools::SessionWriter session(path);
    std::exception_ptr failure;
    std::fprintf(stderr, "soundctl: recording until Ctrl-C\n");
    listenUntilEnded(
        [&](reflection::Notification const& notification, tools::Json const& arguments) {
            // A block's pipe is of no use to anybody later.
            if (failure || notification.relation == "streams") return;
            try {
                session.add(notification, arguments);
            } catch (std::exception const&) {
                failure = std::current_exception();
                ::kill(::getpid(), SIGTERM);
            }
        });
    if (failure) std::rethrow_exception(failure);
}

}  // namespace sound::control
