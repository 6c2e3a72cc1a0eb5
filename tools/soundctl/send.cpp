#include <cstdio>
#include <iostream>

#include "errors.h"
#include "format.h"
#include "message_json.h"
#include "Step.h"
#include "subcommands.h"
#include "text_input.h"

namespace sound::control {

Step stepOf(SendOptions const& options) {
    reflection::Command const& command = reflection::findCommand(options.command);
    Step step{&command, {}};
    if (!options.expect.empty()) step.expected = &reflection::findNotification(options.expect);
    step.timeout = std::chrono::duration<double>(options.timeout);
    try {
        step.request =
            options.json.empty()
                ? reflection::requestFromText(command, options.values)
                : reflection::requestFromJsonText(
                      command, options.json == "-" ? tools::readText(std::cin) : options.json);
    } catch (std::runtime_error const& error) {
        throw tools::UsageError(options.command + ": " + error.what());
    }
    return step;
}

void send(SendOptions const& options) {
    Step const step = stepOf(options);
    reflection::Client client;
    auto const answer = run(client, step);
    if (!answer) return;
    std::string const line = options.json.empty()
                                 ? readableLine(*step.expected, *answer)
                                 : tools::toText(tools::notificationLine(*step.expected, *answer));
    std::puts(line.c_str());
}

}  // namespace sound::control
