#include "MessageLog.h"

#include <cstdio>

#include "desktop/Service.h"
#include "message_json.h"

namespace sound::service {

void MessageLog::write(char const* kind, char const* name, MessageId id,
                       frame::TransportInfo const* client, tools::Fields const& arguments) {
    tools::Json line = tools::messageLine(kind, name, static_cast<std::uint32_t>(id),
                                          tools::fieldsToJson(arguments));
    line["client"] = client == nullptr ? "all" : desktop::clientName(*client);
    std::scoped_lock const lock(mutex_);
    std::puts(tools::toText(line).c_str());
    std::fflush(stdout);
}

}  // namespace sound::service
