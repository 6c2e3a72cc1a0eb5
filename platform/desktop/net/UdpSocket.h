// A UDP socket that one thread waits on and others can wake it from.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>

#include "Address.h"
#include "bytes.h"
#include "TimePoint.h"

namespace desktop {

/// Never blocks but in wait(). All but wait() and wake() want a lock around them.
class UdpSocket {
public:
    enum class Role { kListen, kConnect };

    /// @param address  to listen at, or to connect to
    /// @param largest  the most bytes of a datagram that is to be told from longer ones
    /// @throws std::system_error when that cannot be done, or the system has no socket left
    UdpSocket(Role role, Address const& address, std::size_t largest);

    /// Sends a datagram. One for which the system has no room is lost like any other.
    /// @param payload  what follows the header, or null
    /// @param to       null when the socket is connected
    void send(std::span<std::uint8_t const> header, Bytes const* payload, Address const* to);

    /// Takes in the next datagram, valid until the next call.
    /// @param[out] from  its sender
    /// @return its bytes; a null pointer when none waits or an earlier datagram was refused
    std::span<std::uint8_t const> receive(Address& from);

    /// Says whether a datagram was refused since the last call: nobody listens at the peer's
    /// address.
    bool takeRefusal();

    /// Waits for a datagram, for wake(), or until the given time.
    void wait(TimePoint until);
    void wake();

private:
    class Descriptor {
    public:
        explicit Descriptor(int number);
        ~Descriptor();
        Descriptor(Descriptor const&) = delete;
        Descriptor& operator=(Descriptor const&) = delete;
        int number() const { return number_; }

    private:
        int number_;
    };

    Descriptor socket_;
    Descriptor wakeUp_;
    bool refused_ = false;
    Bytes buffer_;
};

}  // namespace desktop
