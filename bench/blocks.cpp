// Blocks of sound from another process, one after the other: the time and the waits of this process
// for each. Prints JSON; the time is in nanoseconds.
//
// usage: blocks WAY COUNT BYTES
//   audvik     through the library, from the sound-service that runs
//   fifos      a bare pair: four FIFOs that are kept, one UDP datagram a block
//   new-fifos  the same with a FIFO for each block
//   seqpacket  the blocks themselves in packets
//   gstreamer  filesrc ! appsink in this process

#include <fcntl.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <sys/stat.h>

#include <array>
#include <atomic>
#include <functional>
#include <map>
#include <semaphore>

#include "audvik/audvik.h"
#include "measure.h"

#ifdef BENCH_ALTERNATIVES
#include <gst/app/gstappsink.h>
#include <gst/gst.h>
#endif

namespace {

using bench::check;
using bench::Child;
using bench::now;

constexpr int kWarmUp = 50;
constexpr std::size_t kLargest = 16384;
using Block = std::array<unsigned char, kLargest>;

/// What has been spent up to some block.
struct Spent {
    std::int64_t time = now();
    std::int64_t waits = [] {
        rusage usage{};
        ::getrusage(RUSAGE_SELF, &usage);
        return usage.ru_nvcsw;
    }();
};

void print(Spent const& begin, Spent const& end, int count) {
    std::printf("{\"time\": %.0f, \"waits\": %.3f}\n",
                static_cast<double>(end.time - begin.time) / count,
                static_cast<double>(end.waits - begin.waits) / count);
}

void measure(int count, std::function<void()> const& takeBlock) {
    for (int i = 0; i < kWarmUp; ++i) takeBlock();
    Spent const begin;
    for (int i = 0; i < count; ++i) takeBlock();
    print(begin, {}, count);
}

// The library.

struct Taken {
    int const count;
    int const size;
    int blocks = -kWarmUp;
    Spent begin{};
    Spent end{};
    std::atomic<bool> wrong = false;
    std::binary_semaphore done{0};
};

void onAudio(unsigned char const* /*data*/, std::int32_t size, void* user) {
    auto& taken = *static_cast<Taken*>(user);
    if (size != taken.size) taken.wrong = true;
    if (++taken.blocks == 0) taken.begin = {};
    if (taken.blocks != taken.count) return;
    taken.end = {};
    taken.done.release();
}

void audvik(int count, int size) {
    static Taken taken{count, size};
    check(audioCB_init(0, nullptr), "audioCB_init");
    check(set_audioCallback(1, &onAudio, &taken), "set_audioCallback");
    taken.done.acquire();
    set_audioCallback(0, &onAudio, &taken);
    if (taken.wrong) throw std::runtime_error("a block has another size");
    print(taken.begin, taken.end, count);
}

// A bare pair.

std::string pipeName(std::string const& folder, unsigned number) {
    return folder + '/' + std::to_string(number);
}

int makePipe(std::string const& path, int size) {
    check(::mkfifo(path.c_str(), S_IRUSR | S_IWUSR), "mkfifo");
    int const pipe = check(::open(path.c_str(), O_RDWR), "open");
    check(::fcntl(pipe, F_SETPIPE_SZ, size), "F_SETPIPE_SZ");
    return pipe;
}

/// Each pipe takes one block, so that writing waits for whoever reads.
void playIntoKeptPipes(int announcements, std::string const& folder, int size) {
    constexpr unsigned kPipes = 4;
    std::array<int, kPipes> pipes;
    for (unsigned i = 0; i < kPipes; ++i) pipes[i] = makePipe(pipeName(folder, i), size);
    Block const block{};
    for (unsigned i = 0;; i = (i + 1) % kPipes) {
        check(::write(pipes[i], block.data(), static_cast<std::size_t>(size)), "write");
        check(::write(announcements, &i, sizeof i), "announce");
    }
}

/// As many blocks are on their way as with kept pipes: the reader's answers count.
void playIntoNewPipes(int announcements, std::string const& folder, int size) {
    constexpr unsigned kOnTheWay = 4;
    std::array<int, kOnTheWay> pipes{};
    Block const block{};
    for (unsigned i = 0;; ++i) {
        auto& pipe = pipes[i % kOnTheWay];
        if (i >= kOnTheWay) {
            unsigned taken = 0;
            check(::read(announcements, &taken, sizeof taken), "read");
            ::close(pipe);
            ::unlink(pipeName(folder, i - kOnTheWay).c_str());
        }
        pipe = makePipe(pipeName(folder, i), size);
        check(::write(pipe, block.data(), static_cast<std::size_t>(size)), "write");
        check(::write(announcements, &i, sizeof i), "announce");
    }
}

void takeFromPipes(int count, int size, bool areKept) {
    auto const shared = ::access("/dev/shm", W_OK) == 0 ? "/dev/shm" : "/tmp";
    auto folder = std::string(shared) + "/audvik-bench-XXXXXX";
    if (::mkdtemp(folder.data()) == nullptr) check(-1, "mkdtemp");
    auto const sockets = bench::udpPair();
    {
        Child const player(
            [&] { (areKept ? playIntoKeptPipes : playIntoNewPipes)(sockets[1], folder, size); });
        Block block;
        measure(count, [&] {
            unsigned number = 0;
            check(::read(sockets[0], &number, sizeof number), "read");
            int const pipe = check(::open(pipeName(folder, number).c_str(), O_RDONLY), "open");
            if (::read(pipe, block.data(), static_cast<std::size_t>(size)) != size) {
                throw std::runtime_error("a block has another size");
            }
            ::close(pipe);
            if (!areKept) check(::write(sockets[0], &number, sizeof number), "answer");
        });
    }
    check(std::system(("rm -r " + folder).c_str()), "rm");
}

void fifos(int count, int size) {
    takeFromPipes(count, size, true);
}

void newFifos(int count, int size) {
    takeFromPipes(count, size, false);
}

void seqpacket(int count, int size) {
    std::array<int, 2> sockets;
    check(::socketpair(AF_UNIX, SOCK_SEQPACKET, 0, sockets.data()), "socketpair");
    Block block{};
    auto const bytes = static_cast<std::size_t>(size);
    Child const player([&] {
        while (true) check(::write(sockets[1], block.data(), bytes), "write");
    });
    measure(count, [&] { check(::read(sockets[0], block.data(), bytes), "read"); });
}

#ifdef BENCH_ALTERNATIVES

/// Reads a file in blocks, and hands each over from its thread to this one.
void gstreamer(int count, int size) {
    gst_init(nullptr, nullptr);
    auto const command = "filesrc location=/dev/zero blocksize=" + std::to_string(size) +
                         " ! appsink name=sink sync=false max-buffers=4";
    auto* const pipeline = gst_parse_launch(command.c_str(), nullptr);
    if (pipeline == nullptr) throw std::runtime_error("no pipeline");
    auto* const sink = gst_bin_get_by_name(GST_BIN(pipeline), "sink");
    gst_element_set_state(pipeline, GST_STATE_PLAYING);
    measure(count, [sink] {
        auto* const sample = gst_app_sink_pull_sample(GST_APP_SINK(sink));
        if (sample == nullptr) throw std::runtime_error("no sample");
        gst_sample_unref(sample);
    });
    gst_element_set_state(pipeline, GST_STATE_NULL);
    gst_object_unref(sink);
    gst_object_unref(pipeline);
}

#endif

}  // namespace

int main(int argc, char** argv) {
    std::map<std::string, std::function<void(int, int)>> const ways{
        {"audvik", audvik},       {"fifos", fifos},
        {"new-fifos", newFifos},  {"seqpacket", seqpacket},
#ifdef BENCH_ALTERNATIVES
        {"gstreamer", gstreamer},
#endif
    };
    return bench::run([&] {
        auto const way = argc == 4 ? ways.find(argv[1]) : ways.end();
        if (way == ways.end()) throw std::invalid_argument("usage: blocks WAY COUNT BYTES");
        int const size = bench::count(argv[3]);
        if (static_cast<std::size_t>(size) > kLargest) {
            throw std::invalid_argument("a block has at most 16384 bytes");
        }
        way->second(bench::count(argv[2]), size);
    });
}
