/// @file
/// Datagrams of any content, and free ports.
#pragma once

#include <arpa/inet.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <cstdint>
#include <stdexcept>
#include <string>
#include <vector>

/// An address of this machine that no other process uses, so that a port which is free there stays
/// free: at 127.0.0.1 the next socket that takes any port may get it.
inline std::string ownHost() {
    in_addr const host{htonl(0x7F400000 + static_cast<std::uint32_t>(::getpid()))};
    return ::inet_ntoa(host);
}

/// A socket at a loopback address. Addresses are "host:port", 0 for a free port.
class LocalSocket {
public:
    explicit LocalSocket(int type = SOCK_DGRAM, std::string const& address = ownHost() + ":0")
        : socket_(::socket(AF_INET, type | SOCK_CLOEXEC, 0)) {
        auto local = socketAddress(address);
        socklen_t size = sizeof local;
        auto* const generic = reinterpret_cast<sockaddr*>(&local);
        if (::bind(socket_, generic, size) != 0 || ::getsockname(socket_, generic, &size) != 0) {
            throw std::runtime_error("the port is taken");
        }
        address_ = toText(local);
        timeval const limit{10, 0};
        ::setsockopt(socket_, SOL_SOCKET, SO_RCVTIMEO, &limit, sizeof limit);
    }
    ~LocalSocket() { ::close(socket_); }
    LocalSocket(LocalSocket const&) = delete;
    LocalSocket& operator=(LocalSocket const&) = delete;

    std::string const& address() const { return address_; }

    void send(std::string const& to, std::vector<std::uint8_t> const& bytes) const {
        auto const peer = socketAddress(to);
        ::sendto(socket_, bytes.data(), bytes.size(), 0, reinterpret_cast<sockaddr const*>(&peer),
                 sizeof peer);
    }

    /// @param from  set to the sender's address
    /// @return the next datagram; empty when none comes within ten seconds
    std::vector<std::uint8_t> receive(std::string& from) const {
        std::vector<std::uint8_t> bytes(65536);
        sockaddr_in peer{};
        socklen_t size = sizeof peer;
        ssize_t length = 0;
        do {
            length = ::recvfrom(socket_, bytes.data(), bytes.size(), 0,
                                reinterpret_cast<sockaddr*>(&peer), &size);
        } while (length < 0 && errno == EINTR);
        bytes.resize(length < 0 ? 0 : static_cast<std::size_t>(length));
        from = toText(peer);
        return bytes;
    }

    /// Whether receive() need not wait.
    bool hasReceived() const {
        pollfd event{socket_, POLLIN, 0};
        return ::poll(&event, 1, 0) == 1;
    }

private:
    static sockaddr_in socketAddress(std::string const& text) {
        sockaddr_in address{};
        address.sin_family = AF_INET;
        auto const colon = text.find(':');
        ::inet_aton(text.substr(0, colon).c_str(), &address.sin_addr);
        auto const port = std::stoi(text.substr(colon + 1));
        address.sin_port = htons(static_cast<std::uint16_t>(port));
        return address;
    }
    static std::string toText(sockaddr_in const& address) {
        return ::inet_ntoa(address.sin_addr) + (":" + std::to_string(ntohs(address.sin_port)));
    }

    int const socket_;
    std::string address_;
};
