// A names file of any content, and the interface in its words.
#include "errors.h"
#include "MemoryFile.h"
#include "message_json.h"
#include "names_file.h"

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size) {
    fuzz::MemoryFile const file(data, size);
    try {
        tools::useNamesFile(file.path());
        auto const text = tools::toText(tools::describeInterface(""));
        if (tools::Json::parse(text)["commands"].empty()) std::abort();
    } catch (tools::UsageError const& error) {
        // It says which file is wrong.
        if (!std::string_view(error.what()).starts_with(file.path() + ": ")) std::abort();
    }
    return 0;
}
