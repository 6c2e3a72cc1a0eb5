#include "UdpSocket.h"

#include <poll.h>
#include <sys/uio.h>

#include <algorithm>
#include <cerrno>
#include <string>
#include <system_error>

namespace desktop {

namespace {

[[noreturn]] void fail(std::string const& what) {
    throw std::system_error(errno, std::generic_category(), what);
}

/// The system only reads what it sends.
iovec toPart(std::span<std::uint8_t const> bytes) {
    return {const_cast<std::uint8_t*>(bytes.data()), bytes.size()};
}

}  // namespace

DatagramBatch::DatagramBatch(std::size_t largest)
    : largest_(largest), buffer_(std::make_unique_for_overwrite<std::uint8_t[]>(kMost * largest)) {
    for (std::size_t i = 0; i < kMost; ++i) {
        parts_[i] = {&buffer_[i * largest_], largest_};
        messages_[i].msg_hdr.msg_iov = &parts_[i];
        messages_[i].msg_hdr.msg_iovlen = 1;
        messages_[i].msg_hdr.msg_name = &senders_[i];
    }
}

std::span<std::uint8_t const> DatagramBatch::bytes(std::size_t index) const {
    return {&buffer_[index * largest_], messages_[index].msg_len};
}

UdpSocket::UdpSocket(Role role, Address const& address)
    : connected_(role == Role::kConnect),
      socket_(::socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0), "no socket to be had") {
    int const yes = 1;
    if (::setsockopt(socket_.number(), IPPROTO_IP, IP_RECVERR, &yes, sizeof yes) < 0) {
        fail("no word of refused datagrams to be had");
    }
    auto const raw = address.toSocketAddress();
    auto const* const generic = reinterpret_cast<sockaddr const*>(&raw);
    if (connected_) {
        if (::connect(socket_.number(), generic, sizeof raw) < 0) {
            fail("cannot reach " + address.toString());
        }
    } else if (::bind(socket_.number(), generic, sizeof raw) < 0) {
        fail("cannot listen at " + address.toString());
    }
}

void UdpSocket::receive(DatagramBatch& batch) const {
    for (auto& message : batch.messages_) message.msg_hdr.msg_namelen = sizeof(sockaddr_in);
    auto const count = ::recvmmsg(socket_.number(), batch.messages_.data(), DatagramBatch::kMost,
                                  MSG_DONTWAIT, nullptr);
    batch.size_ = count > 0 ? static_cast<std::size_t>(count) : 0;
}

bool UdpSocket::send(std::span<Outgoing const> datagrams) const {
    constexpr std::size_t kMost = 64;
    bool refused = false;
    while (!datagrams.empty()) {
        std::array<mmsghdr, kMost> messages;
        std::array<std::array<iovec, 2>, kMost> parts;
        std::array<sockaddr_in, kMost> addresses;
        auto const count = std::min(kMost, datagrams.size());
        for (std::size_t i = 0; i < count; ++i) {
            parts[i] = {toPart(datagrams[i].header), toPart(datagrams[i].payload)};
            messages[i] = {};
            messages[i].msg_hdr.msg_iov = parts[i].data();
            messages[i].msg_hdr.msg_iovlen = parts[i].size();
            if (connected_) continue;
            addresses[i] = datagrams[i].to.toSocketAddress();
            messages[i].msg_hdr.msg_name = &addresses[i];
            messages[i].msg_hdr.msg_namelen = sizeof addresses[i];
        }
        auto const sent = ::sendmmsg(socket_.number(), messages.data(),
                                     static_cast<unsigned>(count), MSG_DONTWAIT);
        if (sent > 0) {
            datagrams = datagrams.subspan(static_cast<std::size_t>(sent));
        } else if (errno == ECONNREFUSED && !refused) {
            // The answer to an earlier datagram; these have not been sent yet.
            refused = true;
        } else {
            datagrams = datagrams.subspan(1);
        }
    }
    return refused;
}

std::optional<Address> UdpSocket::takeRefusal() const {
    sockaddr_in to{};
    // Of the datagram itself nothing is wanted, but an emulator only pretends to receive into
    // nothing.
    std::uint8_t start;
    iovec part{&start, sizeof start};
    msghdr message{};
    message.msg_iov = &part;
    message.msg_iovlen = 1;
    message.msg_name = &to;
    message.msg_namelen = sizeof to;
    if (::recvmsg(socket_.number(), &message, MSG_ERRQUEUE | MSG_DONTWAIT) < 0) return {};
    return Address::from(to);
}

bool UdpSocket::wait(int other) const {
    std::array<pollfd, 2> events{{{socket_.number(), POLLIN, 0}, {other, POLLIN, 0}}};
    return ::poll(events.data(), events.size(), -1) > 0 && (events[1].revents & POLLIN) != 0;
}

}  // namespace desktop
