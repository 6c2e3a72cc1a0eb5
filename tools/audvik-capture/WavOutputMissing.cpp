#include <stdexcept>

#include "Output.h"

std::unique_ptr<Output> makeWavOutput(std::string const& path,
                                      tools::StreamFormat const& /*format*/) {
    throw std::runtime_error("cannot create " + path +
                             ": built without libsndfile, only raw samples on standard output");
}
