#include "message_list.h"

#include <algorithm>
#include <array>
#include <cctype>
#include <charconv>
#include <tuple>
#include <vector>

#include "errors.h"
#include "sound/message_records.h"
#include "sound/ServiceInterface.h"
#include "suggest.h"

namespace sound::reflection {

namespace {

void setScalar(std::string const& path, std::string const& text, tools::Field const& scalar) {
    using Kind = tools::FieldType::Kind;
    auto const refuse = [&] {
        tools::refuse(path, '"' + text + '"', tools::acceptedValues(scalar));
    };
    if (scalar.type->kind == Kind::kString) {
        *static_cast<std::string*>(scalar.address) = text;
        return;
    }
    if (scalar.type->kind == Kind::kBool) {
        bool const isTrue = text == "true" || text == "1";
        if (!isTrue && text != "false" && text != "0") refuse();
        *static_cast<bool*>(scalar.address) = isTrue;
        return;
    }
    bool const isHex = text.starts_with("0x");
    char const* const end = text.data() + text.size();
    std::int64_t value = 0;
    auto const [stop, error] =
        std::from_chars(text.data() + (isHex ? 2 : 0), end, value, isHex ? 16 : 10);
    auto const [least, most] = tools::rangeOf(*scalar.type, scalar.note);
    if (error != std::errc{} || stop != end || value < least || value > most) {
        refuse();
    }
    tools::setInteger(scalar, value);
}

using Fill = std::function<void(tools::Fields const&)>;

template <auto kOperation, class... Types>
std::function<std::int32_t(ServiceInterface&)> makeSender(Fill const& fill) {
    std::tuple<Types...> arguments{};
    fill(std::apply([](auto const&... each) { return tools::fieldsOf(each...); }, arguments));
    return [arguments = std::move(arguments)](ServiceInterface& service) {
        frame::MsgIds msgIds = frame::MsgIds::none;
        return std::apply(
            [&](auto const&... each) {
                return (service.*kOperation)(msgIds, frame::TransportInfo{}, each...);
            },
            arguments);
    };
}

template <class... Types>
Message makeMessage(std::string_view name, MessageId id, std::string_view arguments) {
    std::tuple<Types...> const values{};
    auto const fields =
        std::apply([](auto const&... each) { return tools::fieldsOf(each...); }, values);
    Message message{name, static_cast<std::uint32_t>(id), arguments, "", {}, 0};
    if constexpr ((packing::Record<Types> && ...) && sizeof...(Types) == 1) {
        message.record = (PackedTraits<Types>::kName, ...);
    }
    for (auto const& field : fields) message.fields.push_back(field.type);
    tools::visitScalars(
        fields, [&message](std::string const&, tools::Field const&) { ++message.valueCount; });
    return message;
}

template <auto kOperation, class... Types>
Command makeCommand(std::string_view name, MessageId id, std::string_view arguments) {
    return {makeMessage<Types...>(name, id, arguments), &makeSender<kOperation, Types...>};
}

Request makeRequest(Command const& command, Fill const& fill) {
    Request request;
    request.send = command.makeSender([&](tools::Fields const& fields) {
        fill(fields);
        request.arguments = tools::fieldsToJson(fields);
    });
    return request;
}

template <class Named>
Named const& find(std::span<Named const> messages, std::string_view kind, std::string_view name) {
    std::vector<std::string_view> names;
    for (Named const& message : messages) {
        if (message.name == name) return message;
        names.push_back(message.name);
    }
    std::string text = "there is no " + std::string(kind) + " \"" + std::string(name) + '"';
    std::string const nearest = tools::nearest(name, names);
    text += nearest.empty() ? "; soundctl list shows all" : "; did you mean " + nearest + '?';
    throw tools::UsageError(text);
}

void collectNamed(std::string const& path, std::string_view record,
                  std::vector<tools::FieldType const*> const& types,
                  std::vector<NamedField>& found) {
    for (std::size_t i = 0; i < types.size(); ++i) {
        NamedField const field{tools::memberPath(path, nullptr, i), types[i],
                               tools::noteOf(record, i)};
        if (field.note != nullptr) found.push_back(field);
        if (types[i]->kind == tools::FieldType::Kind::kRecord) {
            collectNamed(field.path, types[i]->name, tools::memberTypes(*types[i]), found);
        }
    }
}

}  // namespace

std::vector<NamedField> namedFields(Message const& message) {
    std::vector<NamedField> found;
    collectNamed("", message.record, message.fields, found);
    return found;
}

bool Message::nameContains(std::string_view pattern) const {
    auto const sameLetter = [](unsigned char a, unsigned char b) {
        return std::tolower(a) == std::tolower(b);
    };
    return std::search(name.begin(), name.end(), pattern.begin(), pattern.end(), sameLetter) !=
           name.end();
}

Request requestFromJson(Command const& command, tools::Json const& arguments) {
    return makeRequest(
        command, [&](tools::Fields const& fields) { tools::fieldsFromJson(arguments, fields); });
}

Request requestFromJsonText(Command const& command, std::string const& arguments) {
    try {
        return requestFromJson(command, tools::parseJson(arguments));
    } catch (tools::Json::parse_error const& error) {
        throw tools::UsageError(std::string("the arguments are no JSON: ") + error.what());
    }
}

Request requestFromText(Command const& command, std::span<std::string const> values) {
    if (values.size() > command.valueCount) {
        throw tools::FieldError(std::to_string(values.size()) + " values are given; at most " +
                                std::to_string(command.valueCount) + " are accepted");
    }
    return makeRequest(command, [values](tools::Fields const& fields) {
        std::size_t next = 0;
        tools::visitScalars(fields, [&](std::string const& path, tools::Field const& scalar) {
            if (next < values.size()) setScalar(path, values[next++], scalar);
        });
    });
}

std::span<Command const> commands() {
    static std::array const kCommands{
#define AUDVIK_COMMAND(NAME, ...)                                         \
    makeCommand<&ServiceInterface::cmd##NAME __VA_OPT__(, ) __VA_ARGS__>( \
        "cmd" #NAME, MessageId::cmd##NAME, #__VA_ARGS__),
#include "sound/messages.def"
    };
    return kCommands;
}

std::span<Notification const> notifications() {
    static std::array const kNotifications{
#define AUDVIK_NOTIFICATION(NAME, RELATION, COMMAND, ...)                                         \
    Notification{                                                                                 \
        makeMessage<__VA_ARGS__>("on" #NAME "Notify", MessageId::on##NAME##Notify, #__VA_ARGS__), \
        "cmd" #COMMAND, #RELATION},
#include "sound/messages.def"
    };
    return kNotifications;
}

Command const& findCommand(std::string_view name) {
    return find(commands(), "command", name);
}

Notification const& findNotification(std::string_view name) {
    return find(notifications(), "notification", name);
}

}  // namespace sound::reflection
