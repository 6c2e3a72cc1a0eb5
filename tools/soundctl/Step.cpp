#include "Step.h"

#include <future>

#include "errors.h"

namespace sound::control {

std::optional<tools::Json> run(reflection::Client& client, Step const& step) {
    if (step.expected == nullptr) {
        client.send(*step.command, step.request);
        return std::nullopt;
    }
    // Shared with the sink, which may outlive a step that has failed.
    struct Answer {
        std::promise<tools::Json> arguments;
        bool given = false;
    };
    auto const answer = std::make_shared<Answer>();
    auto future = answer->arguments.get_future();
    client.listen([answer, expected = step.expected](reflection::Notification const& notification,
                                                     tools::Json const& arguments) {
        if (answer->given || &notification != expected) return;
        answer->given = true;
        answer->arguments.set_value(arguments);
    });
    client.send(*step.command, step.request);
    if (future.wait_for(step.timeout) != std::future_status::ready) {
        throw tools::Failure("no " + std::string(step.expected->name) + " came within " +
                             tools::toText(step.timeout.count()) + " s");
    }
    return future.get();
}

}  // namespace sound::control
