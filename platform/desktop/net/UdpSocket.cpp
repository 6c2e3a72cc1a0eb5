#include "UdpSocket.h"

#include <poll.h>
#include <sys/eventfd.h>
#include <sys/socket.h>
#include <sys/uio.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <chrono>
#include <system_error>
#include <utility>

namespace desktop {

namespace {

[[noreturn]] void fail(char const* what) {
    throw std::system_error(errno, std::generic_category(), what);
}

}  // namespace

UdpSocket::Descriptor::Descriptor(int number) : number_(number) {
    if (number_ < 0) fail("no socket to be had");
}

UdpSocket::Descriptor::~Descriptor() {
    ::close(number_);
}

UdpSocket::UdpSocket(Role role, Address const& address, std::size_t largest)
    : socket_(::socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0)),
      wakeUp_(eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)),
      buffer_(largest + 1) {
    auto const raw = address.toSocketAddress();
    auto const* const generic = reinterpret_cast<sockaddr const*>(&raw);
    if (role == Role::kListen) {
        if (::bind(socket_.number(), generic, sizeof raw) < 0) {
            fail(("cannot listen at " + address.toString()).c_str());
        }
    } else if (::connect(socket_.number(), generic, sizeof raw) < 0) {
        fail(("cannot reach " + address.toString()).c_str());
    }
}

void UdpSocket::send(std::span<std::uint8_t const> header, Bytes const* payload,
                     Address const* to) {
    // The system only reads what it sends.
    std::array<iovec, 2> parts{};
    parts[0] = {const_cast<std::uint8_t*>(header.data()), header.size()};
    msghdr message{};
    message.msg_iov = parts.data();
    message.msg_iovlen = 1;
    if (payload != nullptr) {
        parts[1] = {const_cast<std::uint8_t*>(payload->data()), payload->size()};
        message.msg_iovlen = 2;
    }
    auto address = to != nullptr ? to->toSocketAddress() : sockaddr_in{};
    if (to != nullptr) {
        message.msg_name = &address;
        message.msg_namelen = sizeof address;
    }
    if (sendmsg(socket_.number(), &message, 0) < 0 && errno == ECONNREFUSED) {
        // The answer to an earlier datagram; this one has not been sent.
        refused_ = true;
        sendmsg(socket_.number(), &message, 0);
    }
}

std::span<std::uint8_t const> UdpSocket::receive(Address& from) {
    sockaddr_in address{};
    socklen_t size = sizeof address;
    auto const length = recvfrom(socket_.number(), buffer_.data(), buffer_.size(), 0,
                                 reinterpret_cast<sockaddr*>(&address), &size);
    if (length < 0) {
        if (errno == ECONNREFUSED) refused_ = true;
        return {};
    }
    from = Address::from(address);
    return {buffer_.data(), static_cast<std::size_t>(length)};
}

bool UdpSocket::takeRefusal() {
    return std::exchange(refused_, false);
}

void UdpSocket::wait(TimePoint until) {
    using std::chrono::milliseconds;
    auto const left = std::chrono::ceil<milliseconds>(until - std::chrono::steady_clock::now());
    auto const timeout = std::clamp<milliseconds::rep>(left.count(), 0, 60'000);
    std::array<pollfd, 2> events{{{socket_.number(), POLLIN, 0}, {wakeUp_.number(), POLLIN, 0}}};
    if (poll(events.data(), events.size(), static_cast<int>(timeout)) <= 0) return;
    if ((events[1].revents & POLLIN) == 0) return;
    eventfd_t count;
    eventfd_read(wakeUp_.number(), &count);
}

void UdpSocket::wake() {
    eventfd_write(wakeUp_.number(), 1);
}

}  // namespace desktop
