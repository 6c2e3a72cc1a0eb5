#include "stream_format.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <filesystem>
#include <fstream>
#include <stdexcept>

#include "record_json.h"

namespace tools {

namespace {

constexpr char kFileName[] = "format";

/// A regular file's beginning, which is all of a note; empty when there is none. Who puts a pipe or
/// an endless file there keeps nobody waiting.
std::string readNote(std::string const& path) {
    int const file = ::open(path.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC);
    if (file < 0) return "";
    std::array<char, 256> text;
    struct stat status {};
    bool const isFile = ::fstat(file, &status) == 0 && S_ISREG(status.st_mode);
    auto const size = isFile ? ::read(file, text.data(), text.size()) : 0;
    ::close(file);
    return {text.data(), static_cast<std::size_t>(std::max<ssize_t>(size, 0))};
}

/// The rate that is meant where one was measured: one of those in use, if it is close to one.
int likelyRate(double measured) {
    for (int const rate :
         {8000, 11025, 16000, 22050, 24000, 32000, 44100, 48000, 88200, 96000, 176400, 192000}) {
        if (std::abs(measured / rate - 1) < 0.03) return rate;
    }
    return static_cast<int>(std::lround(measured));
}

}  // namespace

std::size_t StreamFormat::frameSize() const {
    return sizeof(std::int16_t) * static_cast<std::size_t>(channels);
}

double StreamFormat::bytesPerSecond() const {
    return static_cast<double>(frameSize()) * rate;
}

std::string StreamFormat::text() const {
    return std::to_string(rate) + " Hz, " + std::to_string(channels) +
           (channels == 1 ? " channel" : " channels");
}

void writeStreamFormat(std::string const& folder, StreamFormat const& format) {
    // As a whole or not at all.
    std::filesystem::path const path = std::filesystem::path(folder) / kFileName;
    std::filesystem::path const draft = path.string() + ".new";
    std::ofstream file(draft);
    // By hand: the JSON library ends the process when memory runs out.
    file << R"({"rate":)" << format.rate << R"(,"channels":)" << format.channels << "}\n";
    file.close();
    if (!file) throw std::runtime_error(draft.string() + " cannot be written");
    std::filesystem::rename(draft, path);
}

std::optional<StreamFormat> readStreamFormat(std::string const& pipe) {
    auto const note = readNote(std::filesystem::path(pipe).replace_filename(kFileName));
    auto const json = Json::parse(note, nullptr, false);
    auto const number = [&json](char const* key, int most) {
        bool const isThere =
            json.is_object() && json.contains(key) && json[key].is_number_unsigned();
        auto const value = isThere ? json[key].get<std::uint64_t>() : 0;
        return value <= static_cast<std::uint64_t>(most) ? static_cast<int>(value) : 0;
    };
    StreamFormat const format{number("rate", kHighestRate), number("channels", kMostChannels)};
    if (format.rate == 0 || format.channels == 0) return std::nullopt;
    return format;
}

void PaceCheck::add(std::size_t size, Clock::time_point time) {
    using namespace std::chrono_literals;
    constexpr auto kWindow = 1s;
    constexpr auto kPause = 1500ms;  // longer than the largest block of the slowest sound
    if (lastBlock_ == 0 || time - last_ > kPause) {
        first_ = time;
        bytes_ = 0;
        pace_ = {};
    } else {
        bytes_ += lastBlock_;
    }
    last_ = time;
    lastBlock_ = size;
    std::chrono::duration<double> const elapsed = time - first_;
    if (elapsed < kWindow) return;
    pace_ = {static_cast<double>(bytes_) / elapsed.count(), pace_[0]};
    first_ = time;
    bytes_ = 0;
}

std::optional<std::string> PaceCheck::contradiction(StreamFormat const& format) const {
    constexpr double kTolerance = 0.03;
    if (pace_[1] == 0) return std::nullopt;
    auto const [slower, faster] = std::minmax(pace_[0], pace_[1]);
    double const expected = format.bytesPerSecond();
    if (slower < expected * (1 + kTolerance) && faster > expected * (1 - kTolerance)) {
        return std::nullopt;
    }
    double const pace = (slower + faster) / 2;
    StreamFormat const mono{likelyRate(pace / 2), 1};
    StreamFormat const stereo{likelyRate(pace / 4), 2};
    return "the pace is that of " + mono.text() + ", or " + stereo.text();
}

}  // namespace tools
