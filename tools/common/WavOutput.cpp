#include <sndfile.h>

#include <cstdint>
#include <stdexcept>

#include "SoundOutput.h"

namespace tools {

namespace {

/// What a WAV file's header can tell: 6 hours of 48000 Hz and 2 channels.
constexpr std::uint64_t kMost = 0xFFFFFFFF - 36;

class WavOutput : public SoundOutput {
public:
    WavOutput(std::string path, StreamFormat const& format)
        : path_(std::move(path)), format_(format) {
        SF_INFO info{};
        info.samplerate = format.rate;
        info.channels = format.channels;
        info.format = SF_FORMAT_WAV | SF_FORMAT_PCM_16;
        file_ = sf_open(path_.c_str(), SFM_WRITE, &info);
        if (file_ == nullptr) fail("cannot create ", sf_strerror(nullptr));
        // With each write, so that what is there can be read even when this process is killed.
        sf_command(file_, SFC_SET_UPDATE_HEADER_AUTO, nullptr, SF_TRUE);
    }

    ~WavOutput() override { sf_close(file_); }
    WavOutput(WavOutput const&) = delete;
    WavOutput& operator=(WavOutput const&) = delete;

    std::size_t write(std::span<unsigned char const> samples) override {
        std::size_t const size = samples.size() / format_.frameSize() * format_.frameSize();
        if (size > kMost - written_) {
            fail("cannot write more to ",
                 "a WAV file has room for 4 GiB; what is recorded until here is complete");
        }
        auto const wanted = static_cast<sf_count_t>(size);
        if (sf_write_raw(file_, samples.data(), wanted) != wanted) {
            fail("cannot write to ", sf_strerror(file_));
        }
        written_ += size;
        return size;
    }

    void finish() override {
        int const status = sf_close(file_);
        file_ = nullptr;
        if (status != 0) fail("cannot complete ", sf_error_number(status));
    }

private:
    [[noreturn]] void fail(char const* what, std::string const& why) const {
        throw std::runtime_error(what + path_ + ": " + why);
    }

    std::string path_;
    StreamFormat format_;
    SNDFILE* file_;
    std::uint64_t written_ = 0;
};

}  // namespace

std::unique_ptr<SoundOutput> makeWavOutput(std::string const& path, StreamFormat const& format) {
    return std::make_unique<WavOutput>(path, format);
}

}  // namespace tools
