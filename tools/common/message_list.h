/// @file
/// The commands and notifications of the sound interface at run time, by name.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "record_json.h"

namespace sound {
class ServiceInterface;
}

namespace sound::reflection {

/// What is known of any message.
struct Message {
    std::string_view name;       ///< "cmdVolumeSet"
    std::uint32_t id;            ///< on the transport
    std::string_view arguments;  ///< their types, as the message list has them
    std::string_view record;     ///< the name of the one that is its only argument, if so
    std::vector<tools::FieldType const*> fields;
    std::size_t valueCount;  ///< how many scalars the fields hold in all

    /// Whatever the case of @p pattern.
    bool nameContains(std::string_view pattern) const;
};

/// What the user's names file says of a field.
struct NamedField {
    std::string path;  ///< "field2", or "field46.field1" inside a record
    tools::FieldType const* type;
    tools::FieldNote const* note;
};

/// Of a message's fields those that have a name, inside records, too, in order.
std::vector<NamedField> namedFields(Message const& message);

struct Notification : Message {
    std::string_view command;   ///< brings it about
    std::string_view relation;  ///< to that: "reports", "answers" or "streams"
};

/// A command with its arguments.
struct Request {  // NOLINT(bugprone-exception-escape): JSON frees with the help of a vector
    std::function<std::int32_t(ServiceInterface& service)> send;
    tools::Json arguments;  ///< all of them
};

struct Command : Message {
    /// Makes what sends it, with arguments that are zero and empty but for what @p fill sets.
    std::function<std::int32_t(ServiceInterface& service)> (*makeSender)(
        std::function<void(tools::Fields const& fields)> const& fill);
};

/// @throws tools::FieldError for arguments that do not fit
Request requestFromJson(Command const& command, tools::Json const& arguments);

/// The same from the text of the JSON.
/// @throws tools::UsageError for a text that is no JSON
Request requestFromJsonText(Command const& command, std::string const& arguments);

/// Takes the values of the scalars in order; those left out are zero or empty.
/// @throws tools::FieldError for values that do not fit
Request requestFromText(Command const& command, std::span<std::string const> values);

/// All of them, in the message list's order.
std::span<Command const> commands();
std::span<Notification const> notifications();

/// @throws tools::UsageError for an unknown name, with the nearest right one
Command const& findCommand(std::string_view name);
Notification const& findNotification(std::string_view name);

}  // namespace sound::reflection
