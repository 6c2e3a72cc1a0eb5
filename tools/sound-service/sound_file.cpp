#include <sndfile.h>
#include <sys/stat.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cmath>
#include <cstring>
#include <fstream>
#include <iterator>
#include <memory>
#include <stdexcept>

#include "Sound.h"

namespace sound::service {

namespace {

[[noreturn]] void refuse(std::string const& path, std::string const& what) {
    throw std::runtime_error(
        path + ": " + what +
        "; accepted is what libsndfile reads: WAV, FLAC, Ogg, MP3, AIFF and more");
}

/// The number of bytes that a WAV file's header announces, up to the end of its samples; 0 for
/// other files. libsndfile quietly corrects the header of a file that was cut off.
std::uint64_t announcedSize(std::string const& path) {
    std::ifstream file(path, std::ios::binary);
    std::array<char, 12> riff;
    if (!file.read(riff.data(), riff.size())) return 0;
    if (std::memcmp(riff.data(), "RIFF", 4) != 0 || std::memcmp(&riff[8], "WAVE", 4) != 0) return 0;
    std::uint64_t offset = riff.size();
    std::array<unsigned char, 8> chunk;
    while (file.seekg(static_cast<std::streamoff>(offset)) &&
           file.read(reinterpret_cast<char*>(chunk.data()), chunk.size())) {
        std::uint64_t const size = chunk[4] | std::uint64_t{chunk[5]} << 8 |
                                   std::uint64_t{chunk[6]} << 16 | std::uint64_t{chunk[7]} << 24;
        offset += chunk.size() + size;
        if (std::memcmp(chunk.data(), "data", 4) == 0) return offset;
        offset += size % 2;
    }
    return 0;
}

void checkSize(std::string const& path) {
    struct stat status;
    if (::stat(path.c_str(), &status) != 0) refuse(path, std::strerror(errno));
    if (!S_ISREG(status.st_mode)) refuse(path, "not a regular file");
    if (status.st_size == 0) refuse(path, "the file is empty");
    auto const size = static_cast<std::uint64_t>(status.st_size);
    auto const announced = announcedSize(path);
    if (announced > size) {
        refuse(path, "truncated: its header announces " + std::to_string(announced) +
                         " bytes, and it has " + std::to_string(size));
    }
}

std::int16_t toSixteenBits(float sample) {
    constexpr float kFullScale = 32768;
    if (std::isnan(sample)) return 0;
    return static_cast<std::int16_t>(
        std::lrint(std::clamp(sample * kFullScale, -kFullScale, kFullScale - 1)));
}

/// What libsndfile calls this kind of samples: "Signed 24 bit PCM", "Vorbis".
std::string sampleKind(int format) {
    SF_FORMAT_INFO kind{};
    kind.format = format & SF_FORMAT_SUBMASK;
    sf_command(nullptr, SFC_GET_FORMAT_INFO, &kind, sizeof kind);
    return kind.name != nullptr ? kind.name : "another kind";
}

}  // namespace

Sound readSoundFile(std::string const& path) {
    checkSize(path);
    SF_INFO info{};
    std::unique_ptr<SNDFILE, decltype(&sf_close)> const file(sf_open(path.c_str(), SFM_READ, &info),
                                                             &sf_close);
    if (!file) refuse(path, std::string("libsndfile says \"") + sf_strerror(nullptr) + '"');
    if (info.frames == 0) refuse(path, "there are no samples in it");

    Sound sound{{},
                static_cast<std::uint32_t>(info.samplerate),
                static_cast<std::uint32_t>(info.channels),
                std::nullopt};
    if ((info.format & SF_FORMAT_SUBMASK) != SF_FORMAT_PCM_16) {
        sound.convertedFrom = sampleKind(info.format);
    }
    // In portions, since the header may announce more than there is memory for.
    constexpr sf_count_t kPortion = 4096;
    std::vector<float> portion(std::size_t{kPortion} * sound.channels);
    sf_count_t frames = 0;
    while (auto const count = sf_readf_float(file.get(), portion.data(), kPortion)) {
        frames += count;
        std::transform(portion.begin(), portion.begin() + count * info.channels,
                       std::back_inserter(sound.samples),
                       [](float sample) { return toPipeOrder(toSixteenBits(sample)); });
    }
    if (frames != info.frames) {
        refuse(path, "truncated or damaged: only " + std::to_string(frames) +
                         " frames of it can be read");
    }
    sound.length = std::as_bytes(std::span(sound.samples)).size();
    return sound;
}

}  // namespace sound::service
