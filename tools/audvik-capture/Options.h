#pragma once

#include <string>

#include "Output.h"

struct Options {
    std::string output;  ///< a file's path, or "-" for standard output
    Format format{48000, 2};
    double duration = 0;  ///< in seconds of sound, 0 for no end
    bool wait = false;
    std::string debugLevel = "warning";
};

/// Reads the command line. Ends the process after --help and --version, and on a wrong one.
Options readOptions(int argc, char** argv);
