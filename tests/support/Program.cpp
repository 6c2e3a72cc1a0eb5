#include "Program.h"

#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <iterator>
#include <sstream>
#include <stdexcept>

#include "LocalSocket.h"

std::string readFile(std::string const& path) {
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
}

void writeFile(std::string const& path, std::string const& text) {
    std::ofstream(path, std::ios::binary) << text;
}

testing::AssertionResult has(std::string const& text, std::string const& part) {
    if (text.find(part) != std::string::npos) return testing::AssertionSuccess();
    return testing::AssertionFailure() << '"' << part << "\" is not in: " << text;
}

std::vector<std::string> wordsOf(std::string const& text) {
    std::istringstream words(text);
    return {std::istream_iterator<std::string>(words), std::istream_iterator<std::string>()};
}

std::vector<std::string> joined(std::vector<std::string> first,
                                std::vector<std::string> const& second) {
    first.insert(first.end(), second.begin(), second.end());
    return first;
}

Program::Program(std::vector<std::string> words, std::string const& output)
    : output_(output.empty() ? folder_.file("output") : output), errors_(folder_.file("errors")) {
    // A shell is this machine's; its scripts begin the programs with $EMULATOR.
    bool const isShell = words.front() == "/bin/sh";
    ::setenv("EMULATOR", AUDVIK_EMULATOR, 1);
    auto command = joined(wordsOf(isShell ? "" : AUDVIK_EMULATOR), words);
    std::vector<char*> arguments(command.size() + 1, nullptr);
    std::transform(command.begin(), command.end(), arguments.begin(),
                   [](std::string& word) { return word.data(); });

    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_addopen(&actions, STDIN_FILENO, "/dev/null", O_RDONLY, 0);
    int const flags = O_WRONLY | O_CREAT | O_TRUNC;
    posix_spawn_file_actions_addopen(&actions, STDOUT_FILENO, output_.c_str(), flags, 0600);
    posix_spawn_file_actions_addopen(&actions, STDERR_FILENO, errors_.c_str(), flags, 0600);
    int const error =
        posix_spawnp(&process_, arguments[0], &actions, nullptr, arguments.data(), environ);
    posix_spawn_file_actions_destroy(&actions);
    if (error != 0) throw std::runtime_error(words[0] + ": " + strerror(error));
}

Program::~Program() {
    if (status_) return;
    signal(SIGKILL);
    waitpid(process_, nullptr, 0);
}

bool Program::says(std::string const& text) const {
    return becomesTrue([&] {
        return output().find(text) != std::string::npos || errors().find(text) != std::string::npos;
    });
}

void Program::signal(int number) const {
    kill(process_, number);
}

int Program::status() {
    if (status_) return *status_;
    int state = 0;
    if (!becomesTrue([&] { return waitpid(process_, &state, WNOHANG) == process_; })) return -1;
    status_ = WIFEXITED(state) ? WEXITSTATUS(state) : -1;
    return *status_;
}

testing::AssertionResult Program::ends(int status, std::string const& text) {
    if (this->status() == status) return has(errors(), text);
    return testing::AssertionFailure()
           << "its status is " << status_.value_or(-1) << ": " << errors();
}

std::unique_ptr<Program> startSoundService(std::vector<std::string> const& options) {
    auto service = std::make_unique<Program>(joined({AUDVIK_SOUND_SERVICE}, options));
    EXPECT_TRUE(service->says("listening on")) << service->errors();
    return service;
}

void useOwnAddress() {
    unsetenv("AUDVIK_SERVICE");
    setenv("LMQR2_UDPHOST", LocalSocket().address().c_str(), 1);
}
