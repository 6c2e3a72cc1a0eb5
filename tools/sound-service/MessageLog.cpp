#include "MessageLog.h"

#include <chrono>
#include <cstdio>

#include "client_name.h"
#include "record_json.h"

namespace sound::service {

void MessageLog::write(char const* kind, char const* name, MessageId id,
                       frame::TransportInfo const* client, tools::Fields const& arguments) {
    if (!on_) return;
    std::chrono::duration<double> const time = std::chrono::system_clock::now().time_since_epoch();
    char idText[11];
    std::snprintf(idText, sizeof idText, "0x%08X", static_cast<unsigned>(id));
    tools::Json const line = {{"time", time.count()},
                              {kind, name},
                              {"id", idText},
                              {"client", client == nullptr ? "all" : clientName(*client)},
                              {"arguments", tools::fieldsToJson(arguments)}};
    std::scoped_lock const lock(mutex_);
    std::puts(tools::toText(line).c_str());
    std::fflush(stdout);
}

}  // namespace sound::service
