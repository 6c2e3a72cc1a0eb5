#include "State.h"

#include <algorithm>
#include <fstream>
#include <stdexcept>
#include <string_view>
#include <vector>

#include "suggest.h"
#include "text_input.h"

namespace sound::service {

namespace {

/// The notifications that tell a state: all but those that stream.
std::vector<std::string_view> names() {
    std::vector<std::string_view> names;
#define AUDVIK_NOTIFICATION(NAME, RELATION, ...) \
    if (Relation::RELATION != Relation::streams) names.emplace_back("on" #NAME "Notify");
#include "sound/messages.def"
    return names;
}

void refuseUnknown(std::string const& name) {
    auto const known = names();
    if (std::find(known.begin(), known.end(), name) != known.end()) return;
    auto const nearest = tools::nearest(name, known);
    throw std::runtime_error("no notification that tells a state is called " + name +
                             (nearest.empty() ? "" : "; did you mean " + nearest + "?"));
}

tools::Json readJson(std::string const& path) {
    std::ifstream file(path);
    if (!file) throw std::runtime_error("cannot be read");
    auto json = tools::parseJson(tools::readText(file));
    if (json.is_object()) return json;
    throw std::runtime_error(R"(expected is an object like {"onMuteInfoNotify": {"field1": 1}})");
}

}  // namespace

void setState(State& state, std::string const& name, tools::Json const& arguments) {
    refuseUnknown(name);
    try {
#define AUDVIK_NOTIFICATION(NAME, RELATION, COMMAND, ...)                          \
    if (name == Message<MessageId::on##NAME##Notify>::kName) {                     \
        state.on##NAME##Notify = tools::argumentsFromJson<__VA_ARGS__>(arguments); \
    }
#include "sound/messages.def"
    } catch (tools::FieldError const& error) {
        throw std::runtime_error(name + ": " + error.what());
    }
}

State readState(std::string const& path) {
    try {
        State state;
        auto const json = readJson(path);
        for (auto const& [name, arguments] : json.items()) setState(state, name, arguments);
        return state;
    } catch (std::exception const& error) {
        throw std::runtime_error(path + ": " + error.what());
    }
}

}  // namespace sound::service
