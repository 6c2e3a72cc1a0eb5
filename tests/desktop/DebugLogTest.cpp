#include <fcntl.h>
#include <fnmatch.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <chrono>
#include <cstdlib>
#include <ctime>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

#include "csp/debug.h"

namespace {

bool wants(std::uint32_t levelWord) {
    cspDebugLevel_t level{levelWord, 0, 0};
    return cspDebugCheckLevelGetFrameAndChunk(&level) != 0;
}

std::int32_t initialise(std::vector<std::string> words) {
    std::vector<char*> argv;
    argv.reserve(words.size());
    for (auto& word : words) argv.push_back(word.data());
    return cspDebugInit(static_cast<int>(argv.size()), argv.data());
}

class DebugLog : public testing::Test {
protected:
    ~DebugLog() override {
        unsetenv("CSP_DEBUG_LEVEL");
        cspDebugInit(0, nullptr);
    }
};

TEST_F(DebugLog, ThresholdComesFromTheLastOptionElseTheEnvironmentElseIsWarning) {
    EXPECT_EQ(initialise({}), 0);
    EXPECT_TRUE(wants(kCspDebugWarning));
    EXPECT_FALSE(wants(kCspDebugInfo));

    setenv("CSP_DEBUG_LEVEL", "info", 1);
    EXPECT_EQ(initialise({"host", "other"}), 0);
    EXPECT_TRUE(wants(kCspDebugInfo));
    EXPECT_FALSE(wants(kCspDebugTrace));

    EXPECT_EQ(initialise({"host", "--debug-level=trace"}), 0);
    EXPECT_TRUE(wants(kCspDebugTrace));
    EXPECT_EQ(initialise({"host", "--debug-level=trace", "--debug-level=error"}), 0);
    EXPECT_TRUE(wants(kCspDebugError));
    EXPECT_FALSE(wants(kCspDebugFrameWarning));
}

TEST_F(DebugLog, UnknownLevelIsReportedAndMeansWarning) {
    testing::internal::CaptureStderr();
    EXPECT_EQ(initialise({"--debug-level=loud"}), -EINVAL);
    auto const line = testing::internal::GetCapturedStderr();
    EXPECT_NE(line.find("error, warning, info or trace"), std::string::npos);
    EXPECT_EQ(std::count(line.begin(), line.end(), '\n'), 1);
    EXPECT_TRUE(wants(kCspDebugWarning));
    EXPECT_FALSE(wants(kCspDebugInfo));
}

std::string clock() {
    // Not std::time(), which may still be in the second before.
    auto const now = std::chrono::system_clock::to_time_t(std::chrono::system_clock::now());
    std::array<char, 16> text{};
    std::strftime(text.data(), text.size(), "%H:%M:%S", std::localtime(&now));
    return text.data();
}

TEST_F(DebugLog, LineHasTimeLevelAndComponentAndStaysOneLine) {
    auto const before = clock();
    testing::internal::CaptureStderr();
    ASSERT_TRUE(wants(kCspDebugError));
    cspDebugOutput0("%s:%d", "a\nb\x1b[2J", 5);
    ASSERT_TRUE(wants(kCspDebugFrameWarning));
    cspDebugOutput0("%s\n", std::string(5000, 'x').c_str());
    std::istringstream output(testing::internal::GetCapturedStderr());
    std::string line;
    std::getline(output, line);
    EXPECT_TRUE(line.starts_with(before) || line.starts_with(clock())) << line;
    EXPECT_EQ(fnmatch("[0-2]?:[0-5]?:[0-5]?.??? error * 00af a[?]b[?][[]2J:5", line.c_str(), 0), 0)
        << line;
    std::getline(output, line);
    EXPECT_NE(line.find("warning 0001 " + std::string(3000, 'x')), std::string::npos);
    EXPECT_EQ(line.size(), 4094U) << "as much as there is room for";
    EXPECT_FALSE(std::getline(output, line));
}

TEST_F(DebugLog, ErrnoStaysThatOfTheCallBefore) {
    int const standardError = dup(STDERR_FILENO);
    int const full = open("/dev/full", O_WRONLY | O_CLOEXEC);
    ASSERT_TRUE(wants(kCspDebugError));
    dup2(full, STDERR_FILENO);
    errno = ENOENT;
    cspDebugOutput0("%s\n", "cannot be written");
    EXPECT_EQ(errno, ENOENT);
    dup2(standardError, STDERR_FILENO);
    close(standardError);
    close(full);
}

TEST_F(DebugLog, LinesOfSeveralThreadsDoNotMixAndThoseThatRepeatAreCounted) {
    testing::internal::CaptureStderr();
    std::vector<std::thread> threads;
    for (char letter = 'a'; letter < 'e'; ++letter) {
        threads.emplace_back([letter] {
            for (int i = 0; i < 200; ++i) {
                if (wants(kCspDebugError)) {
                    cspDebugOutput0("%s\n", std::string(100, letter).c_str());
                }
            }
        });
    }
    for (auto& thread : threads) thread.join();
    std::istringstream output(testing::internal::GetCapturedStderr());
    int count = 0;
    for (std::string line; std::getline(output, line); ++count) {
        EXPECT_TRUE(line.ends_with(" 00af " + std::string(100, line.back()))) << line;
    }
    EXPECT_EQ(count, 4 * 20) << "a fault that repeats may not drown all else";
    std::this_thread::sleep_for(std::chrono::seconds(1));
    testing::internal::CaptureStderr();
    ASSERT_TRUE(wants(kCspDebugError));
    cspDebugOutput0("%s\n", std::string(100, 'a').c_str());
    EXPECT_NE(testing::internal::GetCapturedStderr().find("(and 180 times more before)"),
              std::string::npos);
}

}  // namespace
