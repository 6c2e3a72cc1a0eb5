// Clients and the proxy itself go while notifications arrive over the desktop transport. Meant for
// the thread sanitizer.
#include <boost/make_shared.hpp>
#include <boost/weak_ptr.hpp>

#include "desktop/test_support.h"
#include "sound/ClientInterfaceListener.h"
#include "sound/DeliveryBarrier.h"
#include "sound/interface_name.h"
#include "sound/message_records.h"
#include "sound/Proxy.h"

namespace {

using namespace std::chrono_literals;

/// Counts notifications, having done what it is told to do in each.
class Client : public sound::ClientInterfaceListener {
public:
    Client() : ClientInterfaceListener(nullptr, 0, 0) {}

    std::int32_t onAudioCertVerNotify(frame::MsgIds& /*msgIds*/,
                                      frame::TransportInfo const& /*transport*/,
                                      sound::audioCertVer_t const& version) override {
        EXPECT_EQ(version.field1, 7U);
        if (react) react();
        ++count;
        return 0;
    }

    std::function<void()> react;
    std::atomic<int> count = 0;
};

/// @return a client that removes itself in each notification
boost::shared_ptr<Client> makeShyClient(sound::ServiceInterface& service) {
    auto const client = boost::make_shared<Client>();
    client->react = [&service, self = boost::weak_ptr<Client>(client)] {
        service.removeClient(self.lock());
    };
    return client;
}

/// A service that notifies all the time.
class RaceTest : public desktop::test::Desktop {
protected:
    void SetUp() override {
        desktop::test::Desktop::SetUp();
        startService();
        notifying_ = std::thread([this] {
            std::uint32_t const version = 7;
            while (!done_) {
                frameLmqIOServiceSendStructure(
                    service_->ioModule(), frame::MsgIds::none,
                    sound::notificationHeader(sound::MessageId::onAudioCertVerNotify), nullptr,
                    &sound::__csp_EndianTable_soundMsgOnAudioCertVerNotify_t, &version);
                // Slower than the clients: a queue that overflows costs the registration.
                std::this_thread::sleep_for(20us);
            }
        });
    }

    void TearDown() override {
        done_ = true;
        notifying_.join();
        desktop::stopAppMembers();
        desktop::test::Desktop::TearDown();
    }

    static sound::ServiceInterface& start() {
        EXPECT_EQ(frame::Process::getInstance().startAppMembersSync(&CreateSoundProxy), 0);
        return *static_cast<sound::ServiceInterface*>(
            desktop::findInterface(sound::kServiceInterfaceName));
    }

    static bool await(Client const& client, int count) {
        return desktop::test::eventually([&] { return client.count >= count; });
    }

    std::atomic<bool> done_ = false;
    std::thread notifying_;
    std::chrono::steady_clock::time_point const end_ = std::chrono::steady_clock::now() + 1500ms;
};

TEST_F(RaceTest, clientsGoDuringAFanOut) {
    auto& service = start();
    auto const steady = boost::make_shared<Client>();
    service.addClient(steady);
    ASSERT_TRUE(await(*steady, 1));
    std::thread other([&] {
        while (std::chrono::steady_clock::now() < end_) {
            auto const client = boost::make_shared<Client>();
            EXPECT_EQ(service.addClient(client), 0);
            std::this_thread::sleep_for(50us);
            EXPECT_EQ(service.removeClient(client), 0);
        }
    });
    auto const shy = makeShyClient(service);
    int added = 0;
    while (std::chrono::steady_clock::now() < end_) {
        ASSERT_EQ(service.addClient(shy), 0);
        ASSERT_TRUE(await(*shy, ++added));
        // The fan-out may still hold it.
        ASSERT_TRUE(desktop::test::eventually([&] { return shy.use_count() == 1; }));
    }
    other.join();
    EXPECT_EQ(shy->count, added);
    EXPECT_GT(added, 10);
    EXPECT_EQ(service.removeClient(steady), 0);
}

TEST_F(RaceTest, theProxyGoesDuringAFanOut) {
    do {
        auto& service = start();
        auto const steady = boost::make_shared<Client>();
        service.addClient(steady);
        service.addClient(makeShyClient(service));
        ASSERT_TRUE(await(*steady, 5));
        desktop::stopAppMembers();
        int const count = steady->count;
        EXPECT_EQ(steady.use_count(), 1) << "the proxy has released its clients";
        std::this_thread::sleep_for(1ms);
        EXPECT_EQ(steady->count, count) << "no notification reaches a destroyed proxy";
    } while (std::chrono::steady_clock::now() < end_);
}

TEST_F(RaceTest, whatACallbackUsesIsFreedBehindABarrier) {
    auto& service = start();
    std::atomic<int*> borrowed = new int(0);
    auto const client = boost::make_shared<Client>();
    client->react = [&borrowed] {
        int* const number = borrowed;
        std::this_thread::sleep_for(100us);
        ++*number;
    };
    sound::DeliveryBarrier barrier(service);
    service.addClient(client);
    while (std::chrono::steady_clock::now() < end_) {
        ASSERT_TRUE(await(*client, client->count + 2));
        int* const old = borrowed.exchange(new int(0));
        ASSERT_TRUE(barrier.wait(5s));
        delete old;
    }
    service.removeClient(client);
    ASSERT_TRUE(barrier.wait(5s));
    delete borrowed;
}

}  // namespace
