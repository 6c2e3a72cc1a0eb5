#include <unistd.h>

#include <cerrno>
#include <system_error>

#include "Output.h"

namespace {

class RawOutput : public Output {
public:
    explicit RawOutput(int descriptor) : descriptor_(descriptor) {}

    std::size_t write(std::span<unsigned char const> samples) override {
        std::size_t written = 0;
        while (written < samples.size()) {
            ssize_t const count =
                ::write(descriptor_, samples.data() + written, samples.size() - written);
            // Interrupted by a signal that asks for the end: the reader may have stopped reading.
            if (count < 0 && errno == EINTR) break;
            if (count < 0) {
                throw std::system_error(errno, std::generic_category(),
                                        "cannot write to standard output");
            }
            written += static_cast<std::size_t>(count);
        }
        return written;
    }

    void finish() override {}

private:
    int descriptor_;
};

}  // namespace

std::unique_ptr<Output> makeRawOutput(int descriptor) {
    return std::make_unique<RawOutput>(descriptor);
}
