// One notification to many processes that wait for it: how long the caller takes. Prints JSON; the
// time is a median in nanoseconds.
//
// usage: fanout audvik|sendmmsg COUNT PROCESSES

#include <sys/socket.h>

#include <array>
#include <cstring>
#include <functional>
#include <list>
#include <thread>
#include <vector>

#include "desktop/framework.h"
#include "desktop/Service.h"
#include "frame/lmq.h"
#include "frame/Process.h"
#include "measure.h"
#include "sound/message_records.h"
#include "sound/Proxy.h"

namespace {

using bench::check;
using bench::Child;
using bench::now;
using namespace std::chrono_literals;

/// In between, everybody goes back to waiting.
constexpr auto kPause = 20ms;

void measure(int count, std::function<void()> const& send) {
    bench::Samples samples(static_cast<std::size_t>(count));
    for (int i = 0; i < count; ++i) {
        std::this_thread::sleep_for(kPause);
        auto const begin = now();
        send();
        samples.add(now() - begin);
    }
    std::printf("{\"time\": %lld}\n", static_cast<long long>(samples.quantile(0.5)));
}

void listen() {
    check(frame::Process::getInstance().startAppMembersSync(&CreateSoundProxy), "no proxy");
    ::pause();
}

void audvik(int count, std::size_t processes) {
    using sound::MessageId;
    using Notification = sound::Message<MessageId::onMuteInfoNotify>;
    std::list<Child> listeners;
    for (std::size_t i = 0; i < processes; ++i) listeners.emplace_back(listen);
    desktop::Limits limits;
    limits.clients = limits.clientsOfOneUser = processes;
    desktop::Service service(desktop::serviceAddress(), nullptr, limits);
    service.start();
    while (service.clients() < processes) std::this_thread::sleep_for(kPause);
    Notification::Record record;
    record.pack(sound::soundMuteInfo_t{});
    measure(count, [&] {
        check(frameLmqIOServiceSendStructure(service.ioModule(), frame::MsgIds::none,
                                             sound::notificationHeader(MessageId::onMuteInfoNotify),
                                             nullptr, Notification::kTable, record.data()),
              "a notification was refused");
    });
}

void sendmmsgAlone(int count, std::size_t processes) {
    std::array<unsigned char, 68> datagram{};  // as large as the transport's
    iovec part{datagram.data(), datagram.size()};
    std::vector<sockaddr_in> addresses(processes);
    std::vector<mmsghdr> messages(processes);
    std::list<Child> listeners;
    for (std::size_t i = 0; i < processes; ++i) {
        int const socket = bench::boundSocket(addresses[i]);
        listeners.emplace_back([socket] {
            std::array<unsigned char, 68> received;
            while (::recv(socket, received.data(), received.size(), 0) > 0) continue;
        });
        ::close(socket);
        messages[i].msg_hdr.msg_name = &addresses[i];
        messages[i].msg_hdr.msg_namelen = sizeof addresses[i];
        messages[i].msg_hdr.msg_iov = &part;
        messages[i].msg_hdr.msg_iovlen = 1;
    }
    sockaddr_in own{};
    int const socket = bench::boundSocket(own);
    measure(count, [&] {
        check(::sendmmsg(socket, messages.data(), static_cast<unsigned>(processes), 0), "sendmmsg");
    });
}

}  // namespace

int main(int argc, char** argv) {
    return bench::run([&] {
        std::string const way = argc == 4 ? argv[1] : "";
        if (way != "audvik" && way != "sendmmsg") {
            throw std::invalid_argument("usage: fanout audvik|sendmmsg COUNT PROCESSES");
        }
        auto const processes = static_cast<std::size_t>(bench::count(argv[3]));
        (way == "audvik" ? audvik : sendmmsgAlone)(bench::count(argv[2]), processes);
    });
}
