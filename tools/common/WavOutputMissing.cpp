#include <stdexcept>

#include "SoundOutput.h"

namespace tools {

std::unique_ptr<SoundOutput> makeWavOutput(std::string const& path,
                                           StreamFormat const& /*format*/) {
    throw std::runtime_error("cannot create " + path +
                             ": built without libsndfile, which writes WAV files");
}

}  // namespace tools
