// A UDP socket.
#pragma once

#include <sys/socket.h>

#include <array>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <span>

#include "Address.h"
#include "Descriptor.h"

namespace desktop {

/// Room for the datagrams that one call takes in.
class DatagramBatch {
public:
    /// @param largest  the most bytes that a datagram has
    /// @throws std::bad_alloc
    explicit DatagramBatch(std::size_t largest);

    std::size_t size() const { return size_; }
    std::span<std::uint8_t const> bytes(std::size_t index) const;
    Address sender(std::size_t index) const { return Address::from(senders_[index]); }

private:
    friend class UdpSocket;

    static constexpr std::size_t kMost = 8;

    std::size_t const largest_;
    std::unique_ptr<std::uint8_t[]> buffer_;  // memory is only taken as far as it is used
    std::array<mmsghdr, kMost> messages_{};
    std::array<iovec, kMost> parts_{};
    std::array<sockaddr_in, kMost> senders_{};
    std::size_t size_ = 0;
};

/// Thread-safe.
class UdpSocket {
public:
    enum class Role { kListen, kConnect };

    struct Outgoing {
        std::span<std::uint8_t const> header;
        std::span<std::uint8_t const> payload;
        Address to;  ///< not looked at when the socket is connected
    };

    /// @param address  to listen at, or to connect to
    /// @throws std::system_error when that cannot be done, or the system has no socket left
    UdpSocket(Role role, Address const& address);

    /// Takes in the datagrams that are there, without waiting. When there is none, an earlier one
    /// that was sent may have been refused.
    void receive(DatagramBatch& batch) const;

    /// Sends datagrams without waiting. One for which the system has no room is lost like any
    /// other.
    /// @return whether an earlier one was refused; these have been sent all the same
    bool send(std::span<Outgoing const> datagrams) const;

    /// @return where a datagram was sent to while nobody listened there; each once
    std::optional<Address> takeRefusal() const;

    /// Waits until there is a datagram or a refusal, or the other descriptor can be read.
    /// @return whether that can be
    bool wait(int other) const;

private:
    bool const connected_;
    Descriptor socket_;
};

}  // namespace desktop
