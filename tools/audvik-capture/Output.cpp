#include "Output.h"

#include <fcntl.h>

#include <cerrno>
#include <system_error>

namespace {

Sink openFile(std::string const& path) {
    int const descriptor = open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0666);
    if (descriptor >= 0) return {descriptor, path};
    throw std::system_error(errno, std::generic_category(), "cannot create " + path);
}

}  // namespace

std::unique_ptr<tools::SoundOutput> makeOutput(Options const& options,
                                               tools::StreamFormat const& format,
                                               int standardOutput) {
    if (options.container == "wav") return tools::makeWavOutput(options.output, format);
    Sink sink =
        options.output == "-" ? Sink{standardOutput, "standard output"} : openFile(options.output);
    return options.container == "au" ? makeAuOutput(sink, format) : makeRawOutput(sink);
}
