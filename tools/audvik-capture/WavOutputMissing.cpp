#include <stdexcept>

#include "Output.h"

std::unique_ptr<Output> makeWavOutput(std::string const& path, Format const& /*format*/) {
    throw std::runtime_error("cannot create " + path +
                             ": built without libsndfile, only raw samples on standard output");
}
