#include <unistd.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <cerrno>
#include <chrono>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <functional>
#include <mutex>
#include <new>
#include <string_view>

#include "csp/debug.h"

namespace {

struct LevelName {
    std::uint32_t severity;
    char const* name;
};
constexpr std::array<LevelName, 4> kLevels{
    {{1000, "error"}, {3000, "warning"}, {4000, "info"}, {5000, "trace"}}};
constexpr std::uint32_t kDefaultThreshold = 3000;
constexpr std::uint32_t kFaultSeverity = 3000;
constexpr std::string_view kOption = "--debug-level=";

std::atomic<std::uint32_t> threshold{kDefaultThreshold};

// The level word that the check let through last; the output that follows belongs to it.
thread_local std::uint32_t checkedLevelWord = 0;

std::uint32_t severityOf(std::uint32_t levelWord) {
    return levelWord & 0xFFFF;
}

char const* nameOf(std::uint32_t severity) {
    for (auto const& level : kLevels) {
        if (severity <= level.severity) return level.name;
    }
    return "trace";
}

char const* wantedLevel(int argc, char** argv) {
    char const* wanted = std::getenv("CSP_DEBUG_LEVEL");
    for (int i = 0; argv != nullptr && i < argc; ++i) {
        if (argv[i] != nullptr && std::string_view(argv[i]).starts_with(kOption)) {
            wanted = argv[i] + kOption.size();
        }
    }
    return wanted;
}

/// A line as it is written, with no memory but its own: the log has to speak when there is none.
class Line {
public:
    /// Begins with time, level and component.
    explicit Line(std::uint32_t levelWord) {
        auto const now = std::chrono::system_clock::now();
        auto const seconds = std::chrono::floor<std::chrono::seconds>(now);
        auto const milliseconds =
            std::chrono::duration_cast<std::chrono::milliseconds>(now - seconds).count();
        auto const time = std::chrono::system_clock::to_time_t(seconds);
        tm local{};
        localtime_r(&time, &local);
        add("%02d:%02d:%02d.%03d %-7s %04x ", local.tm_hour, local.tm_min, local.tm_sec,
            static_cast<int>(milliseconds), nameOf(severityOf(levelWord)),
            static_cast<unsigned>(levelWord >> 16));
        textBegin_ = size_;
    }

    [[gnu::format(printf, 2, 3)]] void add(char const* format, ...) {
        va_list arguments;
        va_start(arguments, format);
        add(format, arguments);
        va_end(arguments);
    }

    void add(char const* format, va_list arguments) {
        // The caller has started the list, which the analyzer does not see.
        // NOLINTNEXTLINE(clang-analyzer-valist.Uninitialized)
        auto const length = std::vsnprintf(&bytes_[size_], kMost - size_, format, arguments);
        if (length > 0) size_ = std::min(size_ + static_cast<std::size_t>(length), kMost - 1);
    }

    /// Makes one line of it. What a message quotes may come from outside; it must not begin a line
    /// of its own.
    void finish() {
        if (size_ > textBegin_ && bytes_[size_ - 1] == '\n') --size_;
        for (std::size_t i = 0; i < size_; ++i) {
            auto const code = static_cast<unsigned char>(bytes_[i]);
            if (code < 0x20 || code == 0x7F) bytes_[i] = '?';
        }
    }

    std::string_view text() const { return {&bytes_[textBegin_], size_ - textBegin_}; }

    /// In one call, so that lines of different threads and processes do not mix.
    void write() {
        bytes_[size_++] = '\n';
        // There is nobody to tell when it fails.
        [[maybe_unused]] auto const written = ::write(STDERR_FILENO, bytes_.data(), size_);
    }

private:
    static constexpr std::size_t kMost = 4095;

    std::array<char, kMost> bytes_;
    std::size_t size_ = 0;
    std::size_t textBegin_ = 0;
};

/// Keeps one fault that repeats from drowning all else.
class Repetitions {
public:
    /// @param[out] skipped  how many like it have not been written before this one
    /// @return whether the line is to be written
    bool mayWrite(std::string_view text, std::uint32_t& skipped) {
        auto const now = std::chrono::steady_clock::now();
        auto const hash = std::hash<std::string_view>()(text);
        std::lock_guard const lock(mutex_);
        auto* entry = std::find_if(entries_.begin(), entries_.end(),
                                   [hash](auto const& known) { return known.hash == hash; });
        if (entry == entries_.end()) {
            entry =
                std::min_element(entries_.begin(), entries_.end(),
                                 [](auto const& a, auto const& b) { return a.since < b.since; });
            *entry = {hash, now};
        }
        if (now - entry->since >= std::chrono::seconds(1)) {
            skipped = entry->count > kMost ? entry->count - kMost : 0;
            *entry = {hash, now};
        }
        return ++entry->count <= kMost;
    }

private:
    static constexpr std::uint32_t kMost = 20;  // in a second
    struct Entry {
        std::size_t hash = 0;
        std::chrono::steady_clock::time_point since;
        std::uint32_t count = 0;
    };

    std::mutex mutex_;
    std::array<Entry, 8> entries_{};
};

// Never destroyed: threads may log while the process ends.
Repetitions& repetitions() {
    alignas(Repetitions) static std::array<std::byte, sizeof(Repetitions)> memory;
    static auto* const made = new (memory.data()) Repetitions;
    return *made;
}

}  // namespace

std::int32_t cspDebugInit(int argc, char** argv) {
    threshold = kDefaultThreshold;
    auto const* const wanted = wantedLevel(argc, argv);
    if (wanted == nullptr) return 0;
    for (auto const& level : kLevels) {
        if (std::string_view(level.name) != wanted) continue;
        threshold = level.severity;
        return 0;
    }
    cspDebugOutput0(
        "unknown debug level \"%s\"; expected error, warning, info or trace; using warning\n",
        wanted);
    return -EINVAL;
}

std::int32_t cspDebugCheckLevelGetFrameAndChunk(cspDebugLevel_t* level) {
    if (severityOf(level->levelWord) > threshold.load(std::memory_order_relaxed)) return 0;
    checkedLevelWord = level->levelWord;
    return 1;
}

void cspDebugOutput0(char const* format, ...) {
    int const error = errno;
    Line line(checkedLevelWord);
    va_list arguments;
    va_start(arguments, format);
    line.add(format, arguments);
    va_end(arguments);
    line.finish();
    std::uint32_t skipped = 0;
    bool const isFault = severityOf(checkedLevelWord) <= kFaultSeverity;
    if (!isFault || repetitions().mayWrite(line.text(), skipped)) {
        if (skipped > 0) line.add(" (and %u times more before)", skipped);
        line.write();
    }
    errno = error;
}
