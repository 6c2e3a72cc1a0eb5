#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstdint>
#include <system_error>
#include <utility>
#include <vector>

#include "Output.h"

namespace {

class RawOutput : public tools::SoundOutput {
public:
    explicit RawOutput(Sink sink) : sink_(std::move(sink)) {}

    std::size_t write(std::span<unsigned char const> samples) override {
        std::size_t written = 0;
        while (written < samples.size()) {
            ssize_t const count =
                ::write(sink_.descriptor, samples.data() + written, samples.size() - written);
            // Interrupted by a signal that asks for the end: the reader may have stopped reading.
            if (count < 0 && errno == EINTR) break;
            if (count < 0) {
                throw std::system_error(errno, std::generic_category(),
                                        "cannot write to " + sink_.name);
            }
            written += static_cast<std::size_t>(count);
        }
        return written;
    }

    void finish() override {}

private:
    Sink sink_;
};

/// Adds big-endian words of 32 bits.
class AuOutput : public tools::SoundOutput {
public:
    AuOutput(Sink sink, tools::StreamFormat const& format) : output_(std::move(sink)) {
        constexpr std::uint32_t kMagic = 0x2E736E64;  // ".snd"
        constexpr std::uint32_t kHeaderSize = 24;
        constexpr std::uint32_t kUnknownLength = 0xFFFFFFFF;
        constexpr std::uint32_t kPcm16 = 3;
        for (std::uint32_t const word :
             {kMagic, kHeaderSize, kUnknownLength, kPcm16, static_cast<std::uint32_t>(format.rate),
              static_cast<std::uint32_t>(format.channels)}) {
            for (unsigned const shift : {24U, 16U, 8U, 0U}) {
                bytes_.push_back(static_cast<unsigned char>(word >> shift));
            }
        }
        output_.write(bytes_);
    }

    std::size_t write(std::span<unsigned char const> samples) override {
        bytes_.clear();
        for (std::size_t i = 1; i < samples.size(); i += 2) {
            bytes_.insert(bytes_.end(), {samples[i], samples[i - 1]});
        }
        return output_.write(bytes_);
    }

    void finish() override {}

private:
    RawOutput output_;
    std::vector<unsigned char> bytes_;
};

}  // namespace

std::unique_ptr<tools::SoundOutput> makeRawOutput(Sink sink) {
    return std::make_unique<RawOutput>(std::move(sink));
}

std::unique_ptr<tools::SoundOutput> makeAuOutput(Sink sink, tools::StreamFormat const& format) {
    return std::make_unique<AuOutput>(std::move(sink), format);
}
