#include "Options.h"

#include <unistd.h>

#include <CLI/CLI.hpp>
#include <cmath>

#include "program_options.h"

namespace {

constexpr char kExamples[] = R"(Examples:
  audvik-capture --output evening.wav              until Ctrl-C
  audvik-capture --output short.wav --duration 10  exactly ten seconds of sound
  audvik-capture --format au --idle 2s | aplay     listen to it until it ends
  audvik-capture --wait --output night.wav         whenever a sound service is there

The service is expected at 127.0.0.1:12321, or where --service or AUDVIK_SERVICE says.)";

}  // namespace

Options readOptions(int argc, char** argv) {
    Options options;
    CLI::App app("Records the sound that the sound service plays.", "audvik-capture");
    app.footer(kExamples);
    app.set_version_flag("--version", "audvik-capture " AUDVIK_VERSION);
    app.add_option("-o,--output", options.output,
                   "file to write, or - for standard output, as when not given")
        ->type_name("FILE");
    app.add_option("-f,--format", options.container,
                   "wav, of 4 GiB at most, as when not given for a file; au, which says rate and "
                   "channels in a pipe, too; or raw 16-bit samples, as when not given for standard "
                   "output")
        ->check(CLI::IsMember({"wav", "au", "raw"}))
        ->type_name("FORMAT");
    tools::addFormatOptions(app, options.format, options.formatIsGiven);
    CLI::Option const* const duration =
        app.add_option("-d,--duration", options.duration, "seconds of sound to record, then end")
            ->type_name("S");
    tools::addTimeOption(app, "-i,--idle", options.idle, 0.001,
                         "end when no sound has come for so long, as 2, 2s or 500ms");
    app.add_flag("-w,--wait", options.wait, "wait for the service to come, and to come back");
    tools::addServiceOption(app);
    tools::addDebugLevelOption(app, options.debugLevel);
    app.callback([&] {
        constexpr double kLongest = 1e9;
        if (*duration &&
            !(options.duration * options.format.rate >= 0.5 && options.duration <= kLongest)) {
            throw CLI::ValidationError("--duration", "takes a number of seconds from one frame on");
        }
        if (options.output.empty()) options.output = "-";
        bool const isPipe = options.output == "-";
        if (options.container.empty()) options.container = isPipe ? "raw" : "wav";
        if (isPipe && options.container == "wav") {
            throw CLI::ValidationError(
                "--format", "wav needs a file, whose header is completed at the end; au does not");
        }
        if (isPipe && isatty(STDOUT_FILENO) != 0) {
            throw CLI::ValidationError(
                "--output",
                "is needed: standard output is a terminal, which is no place for "
                "samples; name a file, or direct the output to a file or pipe");
        }
    });
    tools::parse(app, argc, argv);
    return options;
}
