// Clients and the proxy itself go while notifications arrive over the desktop transport. Meant for
// the thread sanitizer.
#include <boost/make_shared.hpp>
#include <boost/smart_ptr/enable_shared_from_this.hpp>

#include "desktop/test_support.h"
#include "sound/ClientInterfaceListener.h"
#include "sound/DeliveryBarrier.h"
#include "sound/message_records.h"
#include "sound/Proxy.h"

namespace {

using namespace std::chrono_literals;

class CountingClient : public sound::ClientInterfaceListener {
public:
    CountingClient() : ClientInterfaceListener(nullptr, 0, 0) {}

    std::int32_t onAudioCertVerNotify(frame::MsgIds& /*msgIds*/,
                                      frame::TransportInfo const& /*transport*/,
                                      sound::audioCertVer_t const& version) override {
        EXPECT_EQ(version.field1, 7U);
        ++count;
        return 0;
    }

    std::atomic<int> count = 0;
};

/// Removes itself in each notification.
class ShyClient : public CountingClient, public boost::enable_shared_from_this<ShyClient> {
public:
    explicit ShyClient(sound::ServiceInterface& service) : service_(service) {}

    std::int32_t onAudioCertVerNotify(frame::MsgIds& msgIds, frame::TransportInfo const& transport,
                                      sound::audioCertVer_t const& version) override {
        CountingClient::onAudioCertVerNotify(msgIds, transport, version);
        service_.removeClient(shared_from_this());
        return 0;
    }

private:
    sound::ServiceInterface& service_;
};

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
            desktop::findInterface("tarvo.lm.interfaces.sound"));
    }

    static bool await(CountingClient const& client, int count) {
        return desktop::test::eventually([&] { return client.count >= count; });
    }

    std::atomic<bool> done_ = false;
    std::thread notifying_;
    std::chrono::steady_clock::time_point const end_ = std::chrono::steady_clock::now() + 1500ms;
};

TEST_F(RaceTest, clientsGoDuringAFanOut) {
    auto& service = start();
    auto const steady = boost::make_shared<CountingClient>();
    service.addClient(steady);
    ASSERT_TRUE(await(*steady, 1));
    std::thread other([&] {
        while (std::chrono::steady_clock::now() < end_) {
            auto const client = boost::make_shared<CountingClient>();
            EXPECT_EQ(service.addClient(client), 0);
            std::this_thread::sleep_for(50us);
            EXPECT_EQ(service.removeClient(client), 0);
        }
    });
    auto const shy = boost::make_shared<ShyClient>(service);
    int added = 0;
    while (std::chrono::steady_clock::now() < end_) {
        ASSERT_EQ(service.addClient(shy), 0);
        ASSERT_TRUE(await(*shy, ++added));
        // Its operation may still be about to remove it.
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
        auto const steady = boost::make_shared<CountingClient>();
        service.addClient(steady);
        service.addClient(boost::make_shared<ShyClient>(service));
        ASSERT_TRUE(await(*steady, 5));
        desktop::stopAppMembers();
        int const count = steady->count;
        EXPECT_EQ(steady.use_count(), 1) << "the proxy has released its clients";
        std::this_thread::sleep_for(1ms);
        EXPECT_EQ(steady->count, count) << "no notification reaches a destroyed proxy";
    } while (std::chrono::steady_clock::now() < end_);
}

/// Uses memory that its host frees while notifications arrive.
class BorrowingClient : public CountingClient {
public:
    std::int32_t onAudioCertVerNotify(frame::MsgIds& msgIds, frame::TransportInfo const& transport,
                                      sound::audioCertVer_t const& version) override {
        int* const number = borrowed;
        std::this_thread::sleep_for(100us);
        ++*number;
        return CountingClient::onAudioCertVerNotify(msgIds, transport, version);
    }

    std::atomic<int*> borrowed = new int(0);
};

TEST_F(RaceTest, whatACallbackUsesIsFreedBehindABarrier) {
    auto& service = start();
    auto const client = boost::make_shared<BorrowingClient>();
    sound::DeliveryBarrier barrier(service);
    service.addClient(client);
    while (std::chrono::steady_clock::now() < end_) {
        ASSERT_TRUE(await(*client, client->count + 2));
        int* const old = client->borrowed.exchange(new int(0));
        ASSERT_TRUE(barrier.wait(5s));
        delete old;
    }
    service.removeClient(client);
    ASSERT_TRUE(barrier.wait(5s));
    delete client->borrowed;
}

}  // namespace
