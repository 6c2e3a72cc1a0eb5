/// @file
/// Runs the project's programs as a user would.
#pragma once

#include <sys/types.h>

#include <chrono>
#include <optional>
#include <string>
#include <vector>

#include "TemporaryFolder.h"

std::string readFile(std::string const& path);
void writeFile(std::string const& path, std::string const& text);

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

    std::string output() const { return readFile(output_); }
    std::string errors() const { return readFile(errors_); }

private:
    TemporaryFolder folder_;
    std::string output_;
    std::string errors_;
    pid_t process_ = -1;
    std::optional<int> status_;
};

/// Has this process and the programs that it starts use an address that nobody else uses.
void useOwnAddress();
