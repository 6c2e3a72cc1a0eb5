// The messages on the wire, against bytes that were made without the code.

#include <gtest/gtest.h>

#include <array>
#include <boost/make_shared.hpp>
#include <cstdlib>
#include <fstream>
#include <map>
#include <semaphore>
#include <string>
#include <thread>
#include <vector>

#include "call_filled.h"
#include "desktop/framework.h"
#include "frame/Process.h"
#include "LocalSocket.h"
#include "RecordingClient.h"
#include "sound/interface_name.h"
#include "sound/Proxy.h"

namespace {

using Bytes = std::vector<unsigned char>;

constexpr unsigned kPass = 1;  // the values in the vectors
constexpr std::size_t kHeaderSize = 28;
enum Kind : unsigned char { kHello = 1, kWelcome, kData, kAck, kPing };

std::map<std::string, Bytes> readVectors() {
    std::map<std::string, Bytes> vectors;
    std::ifstream file(WIRE_VECTORS);
    std::string name;
    for (std::string line; std::getline(file, line);) {
        if (line.starts_with("#")) continue;
        if (!line.starts_with("  ")) name = line;
        for (std::size_t i = 2; line.starts_with("  ") && i < line.size(); i += 2) {
            int const byte = std::stoi(line.substr(i, 2), nullptr, 16);
            vectors[name].push_back(static_cast<unsigned char>(byte));
        }
    }
    return vectors;
}

/// A service that knows the wire format and nothing else.
class RawService {
public:
    RawService() { ::setenv("LMQR2_UDPHOST", socket_.address().c_str(), 1); }

    /// Waits for the next command, seeing to everything before it.
    /// @return what follows its header; empty when none came
    Bytes receive() {
        while (true) {
            Bytes const datagram = socket_.receive(client_);
            if (datagram.size() < kHeaderSize) return {};
            std::copy_n(datagram.begin() + 8, session_.size(), session_.begin());
            bool const isNext = datagram[5] == kData && datagram[19] == expected_;
            if (isNext) ++expected_;
            if (datagram[5] == kHello) send(kWelcome, 0, {});
            if (datagram[5] == kData || datagram[5] == kPing) send(kAck, 0, {});
            if (isNext) return {datagram.begin() + kHeaderSize, datagram.end()};
        }
    }

    void sendMessage(Bytes const& message) { send(kData, number_++, message); }

private:
    void send(Kind kind, unsigned char number, Bytes const& message) {
        // Numbers stay below 256 here: all but their last bytes are 0.
        Bytes datagram{'L', 'M', 'Q', '2', 1, kind, 0, 0};
        datagram.insert(datagram.end(), session_.begin(), session_.end());
        datagram.insert(datagram.end(), {0, 0, 0, number, 0, 0, 0, expected_, 0, 0, 0, 100});
        datagram.insert(datagram.end(), message.begin(), message.end());
        socket_.send(client_, datagram);
    }

    LocalSocket socket_;
    std::string client_;
    std::array<unsigned char, 8> session_{};
    unsigned char expected_ = 0;
    unsigned char number_ = 0;
};

TEST(WireTest, EveryMessageHasTheBytesOfItsVectorAndIsReadFromThem) {
    auto const vectors = readVectors();
    RawService service;
    ASSERT_EQ(frame::Process::getInstance().startAppMembersSync(&CreateSoundProxy), 0);
    auto* const proxy =
        static_cast<sound::ServiceInterface*>(desktop::findInterface(sound::kServiceInterfaceName));
    ASSERT_NE(proxy, nullptr);
    std::map<std::string, Bytes> sent;
    std::thread serving([&] {
#define AUDVIK_COMMAND(NAME, ...) sent["cmd" #NAME] = service.receive();
#include "sound/messages.def"
    });
    frame::MsgIds msgIds{{0x01020304, 0x05060708}};
#define AUDVIK_COMMAND(NAME, ...) \
    EXPECT_EQ(callFilled(&sound::ServiceInterface::cmd##NAME, *proxy, msgIds, kPass), 0);
#include "sound/messages.def"
    serving.join();
    for (auto const& [name, bytes] : sent) EXPECT_EQ(bytes, vectors.at(name)) << name;

    auto const expect = [&](std::string const& name) {
        std::vector<sound::Received> received;
        std::binary_semaphore arrived(0);
        auto const client = boost::make_shared<sound::RecordingClient>("client", received);
        client->onNotification = [&arrived] { arrived.release(); };
        proxy->addClient(client);
        service.sendMessage(vectors.at("on" + name + "Notify"));
        bool const hasArrived = arrived.try_acquire_for(std::chrono::seconds(10));
        proxy->removeClient(client);
        ASSERT_TRUE(hasArrived) << name;
        EXPECT_EQ(received.back().notification, name);
        EXPECT_EQ(received.back().values,
                  expectedText(expected("notification", name).fields, kPass))
            << name;
    };
#define AUDVIK_NOTIFICATION(NAME, ...) expect(#NAME);
#include "sound/messages.def"

    desktop::stopAppMembers();
}

}  // namespace
