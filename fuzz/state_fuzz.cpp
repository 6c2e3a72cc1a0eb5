// A service's state file of any content.
#include <stdexcept>

#include "MemoryFile.h"
#include "State.h"

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size) {
    fuzz::MemoryFile const file(data, size);
    try {
        sound::service::readState(file.path());
    } catch (std::runtime_error const& error) {
        // It says which file is wrong.
        if (!std::string_view(error.what()).starts_with(file.path() + ": ")) std::abort();
    }
    return 0;
}
