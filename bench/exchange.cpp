// A message to another process and its answer, again and again: when this process has the answer;
// and messages without one: how long the call takes, and when the other process has the message.
// Prints medians in nanoseconds as JSON; 0 stands for what was not measured.
//
// usage: exchange TRANSPORT COUNT
//   audvik       a command and its notification, with the sound-service that runs
//   audvik-pair  the same with a service of its own, which takes the time
//   udp, seqpacket, zeromq, sd-bus

#include <sys/mman.h>
#include <sys/socket.h>

#include <array>
#include <atomic>
#include <boost/make_shared.hpp>
#include <functional>
#include <map>
#include <new>
#include <semaphore>
#include <thread>

#include "desktop/framework.h"
#include "desktop/Service.h"
#include "frame/lmq.h"
#include "frame/Process.h"
#include "measure.h"
#include "sound/ClientInterfaceListener.h"
#include "sound/message_records.h"
#include "sound/Proxy.h"

#ifdef BENCH_ALTERNATIVES
#include <systemd/sd-bus.h>
#include <zmq.h>
#endif

namespace {

using bench::check;
using bench::Child;
using bench::now;

/// As large as the transport's datagram of the command and of its notification.
using Datagram = std::array<unsigned char, 68>;
constexpr int kWarmUp = 200;
/// Between looks whether a message has come that is not answered.
constexpr std::chrono::microseconds kPause{100};

/// When the other process had the last message.
std::atomic<std::int64_t>& received() {
    static auto* const time =
        new (::mmap(nullptr, sizeof(std::atomic<std::int64_t>), PROT_READ | PROT_WRITE,
                    MAP_SHARED | MAP_ANONYMOUS, -1, 0)) std::atomic<std::int64_t>(0);
    return *time;
}

/// @param send       sends a message that is not answered
/// @param exchanges  sends so many that are, each when the one before has its answer
void measure(int count, std::function<void()> const& send,
             std::function<bench::Samples(int)> const& exchanges) {
    exchanges(kWarmUp);
    auto roundTrips = exchanges(count);
    bench::Samples calls(static_cast<std::size_t>(count));
    bench::Samples receipts(static_cast<std::size_t>(count));
    for (int i = 0; i < count && send; ++i) {
        received() = 0;
        auto const begin = now();
        send();
        calls.add(now() - begin);
        while (received() == 0) std::this_thread::sleep_for(kPause);
        receipts.add(received() - begin);
    }
    std::printf("{\"call\": %lld, \"receipt\": %lld, \"round_trip\": %lld, \"p99\": %lld}\n",
                static_cast<long long>(calls.quantile(0.5)),
                static_cast<long long>(receipts.quantile(0.5)),
                static_cast<long long>(roundTrips.quantile(0.5)),
                static_cast<long long>(roundTrips.quantile(0.99)));
}

// The library.

/// Sends the next command from where it hears of the notification, as one thread would that sends
/// and waits.
class Listener : public sound::ClientInterfaceListener {
public:
    Listener() : ClientInterfaceListener(nullptr, 0, 0) {}

    bench::Samples exchange(int count) {
        samples_ = bench::Samples(static_cast<std::size_t>(count));
        left_ = count;
        check(send(), "a command was refused");
        done_.acquire();
        return samples_;
    }

    std::int32_t onMuteInfoNotify(frame::MsgIds& /*msgIds*/,
                                  frame::TransportInfo const& /*transportInfo*/,
                                  sound::soundMuteInfo_t const& /*info*/) override {
        samples_.add(now() - begin_);
        if (--left_ == 0) {
            done_.release();
        } else {
            send();
        }
        return 0;
    }

private:
    std::int32_t send() {
        begin_ = now();
        return getSrvIf()->cmdMuteSet(frame::MsgIds::none, {}, {});
    }

    bench::Samples samples_{0};
    int left_ = 0;
    std::int64_t begin_ = 0;
    std::binary_semaphore done_{0};
};

std::int32_t takeTime(frame::MsgMeta const& /*meta*/, frame::TransportInfo const& /*client*/,
                      void const* /*record*/, void* /*context*/) {
    received() = now();
    return 0;
}

std::int32_t answer(frame::MsgMeta const& /*meta*/, frame::TransportInfo const& /*client*/,
                    void const* /*record*/, void* service) {
    using sound::MessageId;
    sound::Message<MessageId::onMuteInfoNotify>::Record record;
    record.pack(sound::soundMuteInfo_t{});
    return frameLmqIOServiceSendStructure(
        static_cast<desktop::Service*>(service)->ioModule(), frame::MsgIds::none,
        sound::notificationHeader(MessageId::onMuteInfoNotify), nullptr,
        sound::Message<MessageId::onMuteInfoNotify>::kTable, record.data());
}

void serveAudvik() {
    using sound::MessageId;
    desktop::Service service(desktop::serviceAddress(), nullptr);
    frameLmqIOServiceRegisterMessageHandlerFunction(
        service.ioModule(), sound::commandHeader(MessageId::cmdMuteSet), &answer, &service,
        sound::Message<MessageId::cmdMuteSet>::kTable);
    frameLmqIOServiceRegisterMessageHandlerFunction(
        service.ioModule(), sound::commandHeader(MessageId::cmdAudioMuteSet), &takeTime, nullptr,
        sound::Message<MessageId::cmdAudioMuteSet>::kTable);
    service.start();
    received() = now();  // for whoever waits to begin
    ::pause();
}

boost::shared_ptr<Listener> startListener() {
    check(frame::Process::getInstance().startAppMembersSync(&CreateSoundProxy), "no proxy");
    auto listener = boost::make_shared<Listener>();
    listener->setSelfReference(listener);
    check(listener->init(), "no listener");
    return listener;
}

void audvik(int count) {
    auto const listener = startListener();
    measure(count, nullptr, [&](int times) { return listener->exchange(times); });
}

void audvikPair(int count) {
    auto const& isReady = received();
    Child const server(serveAudvik);
    while (isReady == 0) std::this_thread::sleep_for(kPause);
    auto const listener = startListener();
    auto const send = [&] {
        check(listener->getSrvIf()->cmdAudioMuteSet(frame::MsgIds::none, {}, {}),
              "a command was refused");
    };
    measure(count, send, [&](int times) { return listener->exchange(times); });
}

// Bare sockets.

/// Measures anything with these two, the other end of which a child serves.
template <class Send, class Receive>
void exchangeWith(int count, Send const& send, Receive const& receive) {
    Datagram datagram{};
    measure(
        count,
        [&] {
            datagram[0] = 0;
            send(datagram);
        },
        [&](int times) {
            datagram[0] = 1;
            bench::Samples samples(static_cast<std::size_t>(times));
            for (int i = 0; i < times; ++i) {
                auto const begin = now();
                send(datagram);
                receive(datagram);
                samples.add(now() - begin);
            }
            return samples;
        });
}

/// Answers what begins with a byte that is not 0.
template <class Send, class Receive>
void serveWith(Send const& send, Receive const& receive) {
    Datagram datagram;
    while (true) {
        receive(datagram);
        if (datagram[0] == 0) {
            received() = now();
        } else {
            send(datagram);
        }
    }
}

auto sendTo(int socket) {
    return [socket](Datagram const& datagram) {
        check(::write(socket, datagram.data(), datagram.size()), "write");
    };
}

auto receiveFrom(int socket) {
    return [socket](Datagram& datagram) {
        check(::read(socket, datagram.data(), datagram.size()), "read");
    };
}

void exchangeOver(std::array<int, 2> const& sockets, int count) {
    received();
    Child const server([&] { serveWith(sendTo(sockets[1]), receiveFrom(sockets[1])); });
    exchangeWith(count, sendTo(sockets[0]), receiveFrom(sockets[0]));
}

void seqpacket(int count) {
    std::array<int, 2> sockets;
    check(::socketpair(AF_UNIX, SOCK_SEQPACKET, 0, sockets.data()), "socketpair");
    exchangeOver(sockets, count);
}

void udp(int count) {
    exchangeOver(bench::udpPair(), count);
}

#ifdef BENCH_ALTERNATIVES

auto sendTo(void* socket) {
    return [socket](Datagram const& datagram) {
        check(zmq_send(socket, datagram.data(), datagram.size(), 0), "zmq_send");
    };
}

auto receiveFrom(void* socket) {
    return [socket](Datagram& datagram) {
        check(zmq_recv(socket, datagram.data(), datagram.size(), 0), "zmq_recv");
    };
}

void zeromq(int count) {
    received();
    auto const path = "/tmp/audvik-bench-" + std::to_string(::getpid());
    auto const address = "ipc://" + path;
    Child const server([&address] {
        auto* const socket = zmq_socket(zmq_ctx_new(), ZMQ_PAIR);
        check(zmq_bind(socket, address.c_str()), "zmq_bind");
        serveWith(sendTo(socket), receiveFrom(socket));
    });
    auto* const socket = zmq_socket(zmq_ctx_new(), ZMQ_PAIR);
    check(zmq_connect(socket, address.c_str()), "zmq_connect");
    exchangeWith(count, sendTo(socket), receiveFrom(socket));
    ::unlink(path.c_str());
}

sd_bus* startBus(int descriptor, bool server) {
    sd_bus* bus = nullptr;
    sd_bus_new(&bus);
    sd_bus_set_fd(bus, descriptor, descriptor);
    if (server) sd_bus_set_server(bus, 1, sd_id128_t{});
    check(sd_bus_start(bus), "sd_bus_start");
    return bus;
}

/// With no broker in between, which would double it.
void sdBus(int count) {
    std::array<int, 2> sockets;
    check(::socketpair(AF_UNIX, SOCK_STREAM, 0, sockets.data()), "socketpair");
    Child const server([&sockets] {
        ::close(sockets[0]);
        auto* const bus = startBus(sockets[1], true);
        auto const take = [](sd_bus_message* call, void*, sd_bus_error*) {
            return sd_bus_reply_method_return(call, "uuuu", 1, 2, 3, 4);
        };
        sd_bus_add_object(bus, nullptr, "/sound", take, nullptr);
        while (true) {
            int const done = check(sd_bus_process(bus, nullptr), "sd_bus_process");
            if (done == 0) sd_bus_wait(bus, UINT64_MAX);
        }
    });
    ::close(sockets[1]);
    auto* const bus = startBus(sockets[0], false);
    auto const call = [bus] {
        sd_bus_message* reply = nullptr;
        sd_bus_error error = SD_BUS_ERROR_NULL;
        check(sd_bus_call_method(bus, nullptr, "/sound", "sound.Service", "MuteSet", &error, &reply,
                                 "uuuu", 1, 2, 3, 4),
              "sd_bus_call_method");
        sd_bus_message_unref(reply);
    };
    measure(count, nullptr, [&](int times) {
        bench::Samples samples(static_cast<std::size_t>(times));
        for (int i = 0; i < times; ++i) {
            auto const begin = now();
            call();
            samples.add(now() - begin);
        }
        return samples;
    });
}

#endif

}  // namespace

int main(int argc, char** argv) {
    std::map<std::string, std::function<void(int)>> const transports{
        {"audvik", audvik}, {"audvik-pair", audvikPair}, {"udp", udp}, {"seqpacket", seqpacket},
#ifdef BENCH_ALTERNATIVES
        {"zeromq", zeromq}, {"sd-bus", sdBus},
#endif
    };
    return bench::run([&] {
        auto const transport = argc == 3 ? transports.find(argv[1]) : transports.end();
        if (transport == transports.end()) {
            throw std::invalid_argument("usage: exchange TRANSPORT COUNT");
        }
        transport->second(bench::count(argv[2]));
    });
}
