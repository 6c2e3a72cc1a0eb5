// A recorded session of any content, read and played back.
#include "errors.h"
#include "MemoryFile.h"
#include "Replay.h"

namespace {

void play(std::string const& path) {
    std::stop_source stop;
    sound::service::Replay const replay(path, {.speed = 0.001, .loop = false});
    stop.request_stop();
    replay.run(stop.get_token(), [](auto const&...) {});
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size) {
    fuzz::MemoryFile const file(data, size);
    try {
        play(file.path());
    } catch (tools::UsageError const& error) {
        // It says which file is wrong.
        if (!std::string_view(error.what()).starts_with(file.path() + ':')) std::abort();
    }
    return 0;
}
