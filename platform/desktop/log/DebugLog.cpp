#include <unistd.h>

#include <array>
#include <atomic>
#include <cerrno>
#include <chrono>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <string>
#include <string_view>
#include <vector>

#include "csp/debug.h"

namespace {

struct LevelName {
    std::uint32_t severity;
    char const* name;
};
constexpr std::array<LevelName, 4> kLevels{
    {{1000, "error"}, {3000, "warning"}, {4000, "info"}, {5000, "trace"}}};
constexpr std::uint32_t kDefaultThreshold = 3000;
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

std::string timeNow() {
    auto const now = std::chrono::system_clock::now();
    auto const seconds = std::chrono::floor<std::chrono::seconds>(now);
    auto const milliseconds =
        std::chrono::duration_cast<std::chrono::milliseconds>(now - seconds).count();
    auto const time = std::chrono::system_clock::to_time_t(seconds);
    tm local{};
    localtime_r(&time, &local);
    std::array<char, 32> text{};
    std::snprintf(text.data(), text.size(), "%02d:%02d:%02d.%03d", local.tm_hour, local.tm_min,
                  local.tm_sec, static_cast<int>(milliseconds));
    return text.data();
}

std::string formatted(char const* format, va_list arguments) {
    va_list again;
    va_copy(again, arguments);
    std::array<char, 512> text{};
    // The caller has started the list, which the analyzer does not see.
    // NOLINTNEXTLINE(clang-analyzer-valist.Uninitialized)
    auto const length = std::vsnprintf(text.data(), text.size(), format, arguments);
    std::string result(text.data());
    if (length >= static_cast<int>(text.size())) {
        std::vector<char> longText(static_cast<std::size_t>(length) + 1);
        std::vsnprintf(longText.data(), longText.size(), format, again);
        result = longText.data();
    }
    va_end(again);
    return result;
}

// What a message quotes may come from outside; it must not begin a line of its own.
void makeOneLine(std::string& text) {
    if (text.ends_with('\n')) text.pop_back();
    for (auto& character : text) {
        auto const code = static_cast<unsigned char>(character);
        if (code < 0x20 || code == 0x7F) character = '?';
    }
    text += '\n';
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
    va_list arguments;
    va_start(arguments, format);
    auto text = formatted(format, arguments);
    va_end(arguments);
    makeOneLine(text);

    std::array<char, 32> level{};
    std::snprintf(level.data(), level.size(), " %-7s %04x ", nameOf(severityOf(checkedLevelWord)),
                  static_cast<unsigned>(checkedLevelWord >> 16));
    auto const line = timeNow() + level.data() + text;
    // One call, so that lines of different threads and processes do not mix. There is nobody to
    // tell when it fails.
    [[maybe_unused]] auto const written = ::write(STDERR_FILENO, line.data(), line.size());
}
