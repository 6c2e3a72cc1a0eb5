#pragma once

#include <string>

#include "stream_format.h"

struct Options {
    std::string output;                    ///< a file's path, or "-" for standard output
    std::string container;                 ///< "wav", "au" or "raw"
    tools::StreamFormat format{48000, 2};  ///< where the service does not say it
    bool formatIsGiven = false;            ///< on the command line, and not only as a default
    double duration = 0;                   ///< in seconds of sound, 0 for no end
    double idle = 0;  ///< in seconds: ends when nothing has come for so long; 0 for no end
    bool wait = false;
    std::string debugLevel = "warning";
};

/// Reads the command line. Ends the process after --help and --version, and on a wrong one.
Options readOptions(int argc, char** argv);
