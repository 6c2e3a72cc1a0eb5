// Tells whether two sound files hold the same samples, whatever their headers look like; or, of a
// single one, its rate, channels and frames.
#include <sndfile.h>

#include <cinttypes>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

namespace {

struct Sound {
    SF_INFO info{};
    std::vector<short> samples;
};

Sound readSound(char const* path) {
    Sound sound;
    std::unique_ptr<SNDFILE, int (*)(SNDFILE*)> const file(sf_open(path, SFM_READ, &sound.info),
                                                           &sf_close);
    if (file == nullptr) throw std::runtime_error(std::string(path) + ": " + sf_strerror(nullptr));
    auto const count = sound.info.frames * sound.info.channels;
    sound.samples.resize(static_cast<std::size_t>(count));
    if (sf_read_short(file.get(), sound.samples.data(), count) != count) {
        throw std::runtime_error(std::string(path) + " is truncated");
    }
    return sound;
}

/// Prints the first difference, if there is one.
bool areIdentical(Sound const& first, Sound const& second) {
    if (first.info.samplerate != second.info.samplerate ||
        first.info.channels != second.info.channels || first.info.frames != second.info.frames) {
        std::printf("different: %" PRId64 " frames of %d channels at %d Hz against %" PRId64
                    " frames of %d channels at %d Hz\n",
                    first.info.frames, first.info.channels, first.info.samplerate,
                    second.info.frames, second.info.channels, second.info.samplerate);
        return false;
    }
    for (std::size_t i = 0; i < first.samples.size(); ++i) {
        if (first.samples[i] == second.samples[i]) continue;
        std::printf("different from sample %zu on: %d against %d\n", i, first.samples[i],
                    second.samples[i]);
        return false;
    }
    std::printf("identical: %" PRId64 " frames\n", first.info.frames);
    return true;
}

}  // namespace

int main(int argc, char** argv) {
    if (argc != 2 && argc != 3) {
        std::fputs("usage: compare-samples SOUND-FILE [SOUND-FILE]\n", stderr);
        return 2;
    }
    try {
        Sound const sound = readSound(argv[1]);
        if (argc == 3) {
            return areIdentical(sound, readSound(argv[2])) ? EXIT_SUCCESS : EXIT_FAILURE;
        }
        std::printf("%d %d %" PRId64 "\n", sound.info.samplerate, sound.info.channels,
                    sound.info.frames);
        return EXIT_SUCCESS;
    } catch (std::exception const& error) {
        std::fprintf(stderr, "compare-samples: %s\n", error.what());
        return EXIT_FAILURE;
    }
}
