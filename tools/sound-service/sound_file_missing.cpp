#include <stdexcept>

#include "Sound.h"

namespace sound::service {

Sound readSoundFile(std::string const& path) {
    throw std::runtime_error(path +
                             ": this program was built without libsndfile and reads no "
                             "sound files; use --tone");
}

}  // namespace sound::service
