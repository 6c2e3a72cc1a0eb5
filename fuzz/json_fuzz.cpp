// A message's arguments as JSON of any content, as soundctl and the service's state file read them.
#include <cstdint>
#include <cstdlib>
#include <exception>
#include <iterator>
#include <string>

#include "record_json.h"
#include "sound/message_records.h"

namespace {

using sound::MessageId;
using tools::Json;

template <class... Types>
Json backToJson(std::tuple<Types...> const& arguments) {
    return std::apply([](auto const&... each) { return tools::argumentsToJson(each...); },
                      arguments);
}

/// What is accepted means the same when it has been written and read again.
template <class... Types>
void read(Json const& json, std::tuple<Types...> const* /*types*/) {
    try {
        Json const written = backToJson(tools::argumentsFromJson<Types...>(json));
        Json const reread = Json::parse(tools::toText(written));
        if (backToJson(tools::argumentsFromJson<Types...>(reread)) != reread) std::abort();
    } catch (tools::FieldError const&) {
        // Refused, with the field's name.
    }
}

template <MessageId kId>
void read(Json const& json) {
    read(json, static_cast<sound::ArgumentsOf<kId> const*>(nullptr));
}

constexpr void (*kReaders[])(Json const&) = {
#define AUDVIK_COMMAND(NAME, ...) &read<MessageId::cmd##NAME>,
#define AUDVIK_NOTIFICATION(NAME, ...) &read<MessageId::on##NAME##Notify>,
#include "sound/messages.def"
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size) {
    if (size == 0) return 0;
    // The first byte chooses the message.
    std::string const text(reinterpret_cast<char const*>(data) + 1, size - 1);
    Json json;
    try {
        json = tools::parseJson(text);
    } catch (std::exception const&) {
        return 0;
    }
    kReaders[data[0] % std::size(kReaders)](json);
    return 0;
}
