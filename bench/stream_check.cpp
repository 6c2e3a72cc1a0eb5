// Checks a stream at full speed: every block whole, in order, none lost or doubled. The service
// plays the numbers that this program writes for it; script/stress runs the two.
//
// usage: stream-check --write FILE        writes the WAV file to play, in a loop
//        stream-check BLOCKS BYTES        expects so many blocks of so many bytes

#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <iostream>
#include <mutex>
#include <string>

#include "audvik/audvik.h"

namespace {

// A prime: no whole number of blocks makes a round, so that a gap of any length shows.
constexpr std::uint32_t kNumbers = 65521;

void putLittleEndian(std::ostream& out, std::uint32_t value, int bytes) {
    for (int i = 0; i < bytes; ++i) out.put(static_cast<char>(value >> (8 * i) & 0xFF));
}

int write(std::string const& path) {
    std::ofstream out(path, std::ios::binary);
    constexpr std::uint32_t kRate = 48000;
    constexpr std::uint32_t kBytes = 2 * kNumbers;
    out << "RIFF";
    putLittleEndian(out, 36 + kBytes, 4);
    out << "WAVEfmt ";
    putLittleEndian(out, 16, 4);         // size of this chunk
    putLittleEndian(out, 1, 2);          // PCM
    putLittleEndian(out, 1, 2);          // channels
    putLittleEndian(out, kRate, 4);      // frames a second
    putLittleEndian(out, 2 * kRate, 4);  // bytes a second
    putLittleEndian(out, 2, 2);          // bytes a frame
    putLittleEndian(out, 16, 2);         // bits a sample
    out << "data";
    putLittleEndian(out, kBytes, 4);
    for (std::uint32_t number = 0; number < kNumbers; ++number) putLittleEndian(out, number, 2);
    out.flush();
    if (out) return 0;
    std::cerr << "stream-check: " << path << " cannot be written\n";
    return 1;
}

class Check {
public:
    Check(long blocks, std::int32_t bytes) : blocks_(blocks), bytes_(bytes) {}

    void take(unsigned char const* data, std::int32_t size) {
        std::lock_guard const lock(mutex_);
        if (taken_ == blocks_ || !fault_.empty()) return;
        if (size != bytes_) {
            fault_ = "block " + std::to_string(taken_) + " has " + std::to_string(size) + " bytes";
        }
        for (std::int32_t i = 0; i + 1 < size && fault_.empty(); i += 2) {
            auto const number = static_cast<std::uint32_t>(data[i] | data[i + 1] << 8);
            if (number != next_) {
                fault_ = "block " + std::to_string(taken_) + " has " + std::to_string(number) +
                         " where " + std::to_string(next_) + " was expected";
            }
            next_ = (next_ + 1) % kNumbers;
        }
        ++taken_;
        changed_.notify_one();
    }

    /// @return what was wrong; empty when nothing was
    std::string wait() {
        std::unique_lock lock(mutex_);
        while (fault_.empty() && taken_ < blocks_) {
            auto const before = taken_;
            changed_.wait_for(lock, std::chrono::seconds(5));
            if (taken_ == before)
                return "nothing came any more after block " + std::to_string(taken_);
        }
        return fault_;
    }

private:
    long const blocks_;
    std::int32_t const bytes_;
    std::mutex mutex_;
    std::condition_variable changed_;
    long taken_ = 0;
    std::uint32_t next_ = 0;
    std::string fault_;
};

void onAudio(unsigned char const* data, std::int32_t size, void* check) {
    static_cast<Check*>(check)->take(data, size);
}

int expect(long blocks, std::int32_t bytes) {
    static Check check(blocks, bytes);
    auto const begin = std::chrono::steady_clock::now();
    if (audioCB_init(0, nullptr) < 0 || set_audioCallback(1, &onAudio, &check) < 0) return 1;
    auto const fault = check.wait();
    std::chrono::duration<double> const taken = std::chrono::steady_clock::now() - begin;
    if (!fault.empty()) {
        std::cerr << "stream-check: " << fault << '\n';
        return 1;
    }
    std::cout << blocks << " blocks of " << bytes << " bytes, whole and in order, in "
              << taken.count() << " s, " << taken.count() * 1e6 / static_cast<double>(blocks)
              << " us each\n";
    return 0;
}

}  // namespace

int main(int argc, char** argv) {
    if (argc != 3) {
        std::cerr << "usage: stream-check --write FILE | BLOCKS BYTES\n";
        return 2;
    }
    if (std::strcmp(argv[1], "--write") == 0) return write(argv[2]);
    return expect(std::strtol(argv[1], nullptr, 10),
                  static_cast<std::int32_t>(std::strtol(argv[2], nullptr, 10)));
}
