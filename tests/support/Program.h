/// @file
/// Runs the project's programs as a user would.
#pragma once

#include <gtest/gtest.h>
#include <sys/types.h>

#include <chrono>
#include <memory>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include "TemporaryFolder.h"

std::string readFile(std::string const& path);
void writeFile(std::string const& path, std::string const& text);

/// Whether a text has a part, and if not, what it is.
testing::AssertionResult has(std::string const& text, std::string const& part);

/// @return what stands between the blanks
std::vector<std::string> wordsOf(std::string const& text);

/// @return the first list and, behind it, the second
std::vector<std::string> joined(std::vector<std::string> first,
                                std::vector<std::string> const& second);

/// Waits until a condition holds, for half a minute at most.
/// @return whether it does
template <class Condition>
bool becomesTrue(Condition const& condition) {
    auto const end = std::chrono::steady_clock::now() + std::chrono::seconds(30);
    while (!condition()) {
        if (std::chrono::steady_clock::now() > end) return false;
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
    }
    return true;
}

/// A running program. Is killed, if need be, when this goes.
class Program {
public:
    /// @param words   the program's path and its arguments, or /bin/sh and its own
    /// @param output  where its standard output goes, a file of its own if left out
    explicit Program(std::vector<std::string> words, std::string const& output = "");
    ~Program();
    Program(Program const&) = delete;
    Program& operator=(Program const&) = delete;

    /// Waits until its standard output or error has the text, for half a minute at most.
    bool says(std::string const& text) const;

    void signal(int number) const;
    pid_t process() const { return process_; }

    /// Waits for its end, for half a minute at most.
    /// @return its exit status, -1 when it did not exit by itself
    int status();

    /// Whether it ends with a status and has said a text, and if not, what it did.
    testing::AssertionResult ends(int status, std::string const& text = "");

    std::string output() const { return readFile(output_); }
    std::string errors() const { return readFile(errors_); }

private:
    TemporaryFolder folder_;
    std::string output_;
    std::string errors_;
    pid_t process_ = -1;
    std::optional<int> status_;
};

/// @return a sound service that listens
std::unique_ptr<Program> startSoundService(std::vector<std::string> const& options);

/// Has this process and the programs that it starts use an address that nobody else uses.
void useOwnAddress();
