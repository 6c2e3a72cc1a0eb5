// What the measuring programs have in common.
#pragma once

#include <netinet/in.h>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <charconv>
#include <chrono>
#include <csignal>
#include <cstdint>
#include <cstdio>
#include <stdexcept>
#include <string>
#include <string_view>
#include <system_error>
#include <vector>

namespace bench {

/// Nanoseconds; the clock is the same in all processes.
inline std::int64_t now() {
    return std::chrono::steady_clock::now().time_since_epoch().count();
}

/// @throws std::system_error with errno when a system call has failed
template <class Result>
Result check(Result result, char const* what) {
    if (result < 0) throw std::system_error(errno, std::generic_category(), what);
    return result;
}

/// A UDP socket on loopback.
/// @param address  is told where
inline int boundSocket(sockaddr_in& address) {
    int const socket = check(::socket(AF_INET, SOCK_DGRAM, 0), "socket");
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t size = sizeof address;
    check(::bind(socket, reinterpret_cast<sockaddr*>(&address), size), "bind");
    check(::getsockname(socket, reinterpret_cast<sockaddr*>(&address), &size), "getsockname");
    return socket;
}

/// Two that are connected with each other.
inline std::array<int, 2> udpPair() {
    std::array<sockaddr_in, 2> addresses{};
    std::array const sockets{boundSocket(addresses[0]), boundSocket(addresses[1])};
    for (std::size_t i = 0; i < 2; ++i) {
        auto const* const peer = reinterpret_cast<sockaddr const*>(&addresses[1 - i]);
        check(::connect(sockets[i], peer, sizeof addresses[i]), "connect");
    }
    return sockets;
}

/// A process that runs a function until it is killed, at the latest with its parent.
class Child {
public:
    template <class Body>
    explicit Child(Body const& body) : process_(check(::fork(), "fork")) {
        if (process_ > 0) return;
        ::prctl(PR_SET_PDEATHSIG, SIGKILL);
        try {
            body();
        } catch (std::exception const& error) {
            std::fprintf(stderr, "%s\n", error.what());
        }
        ::_exit(1);
    }
    ~Child() {
        ::kill(process_, SIGKILL);
        ::waitpid(process_, nullptr, 0);
    }
    Child(Child const&) = delete;
    Child& operator=(Child const&) = delete;

private:
    pid_t process_;
};

/// Durations of one kind.
class Samples {
public:
    explicit Samples(std::size_t count) { samples_.reserve(count); }
    void add(std::int64_t nanoseconds) { samples_.push_back(nanoseconds); }
    std::int64_t quantile(double share) {
        if (samples_.empty()) return 0;
        auto const index =
            static_cast<std::size_t>(share * static_cast<double>(samples_.size() - 1));
        auto const middle = samples_.begin() + static_cast<std::ptrdiff_t>(index);
        std::nth_element(samples_.begin(), middle, samples_.end());
        return *middle;
    }

private:
    std::vector<std::int64_t> samples_;
};

/// @param number  from the command line
inline int count(std::string_view number) {
    int value = 0;
    auto const [rest, error] = std::from_chars(number.begin(), number.end(), value);
    if (error != std::errc{} || rest != number.end() || value < 1) {
        throw std::invalid_argument(std::string(number) + " is no count");
    }
    return value;
}

/// Runs a program's body.
/// @return the program's status: 2 for wrong usage, 1 for a failure, which is printed
template <class Body>
int run(Body const& body) {
    try {
        body();
        return 0;
    } catch (std::invalid_argument const& error) {
        std::fprintf(stderr, "%s\n", error.what());
        return 2;
    } catch (std::exception const& error) {
        std::fprintf(stderr, "%s\n", error.what());
        return 1;
    }
}

}  // namespace bench
