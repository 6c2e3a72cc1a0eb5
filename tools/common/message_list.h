/// @file
/// The commands and notifications of the sound interface at run time, by name.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <span>
#include <string>
#include <string_view>

#include "record_json.h"
#include "sound/ServiceInterface.h"

namespace sound::reflection {

/// What is known of any message.
struct Message {
    std::string_view name;       ///< "cmdVolumeSet"
    std::uint32_t id;            ///< on the transport
    std::string_view arguments;  ///< their types, as the message list has them
    std::string fields;          ///< "field1-field3 uint32, field4 bool"
    std::size_t valueCount;      ///< how many scalars the fields hold in all
};

/// Sends a command with its arguments.
using Request = std::function<std::int32_t(ServiceInterface& service)>;

struct Command : Message {
    /// Makes a request of arguments that are zero and empty but for what @p fill sets.
    Request (*makeRequest)(std::function<void(tools::Fields const& fields)> const& fill);
};

/// @throws tools::FieldError for arguments that do not fit
Request requestFromJson(Command const& command, tools::Json const& arguments);

/// Takes the values of the scalars in order; those left out are zero or empty.
/// @throws tools::FieldError for values that do not fit
Request requestFromText(Command const& command, std::span<std::string const> values);

/// All of them, in the message list's order.
std::span<Command const> commands();
std::span<Message const> notifications();

/// @throws tools::UsageError for an unknown name, with the nearest right one
Command const& findCommand(std::string_view name);
Message const& findNotification(std::string_view name);

}  // namespace sound::reflection
