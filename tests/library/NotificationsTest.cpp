// What a notification from the service brings about.
#include <stdexcept>
#include <thread>

#include "LibraryTest.h"

namespace {

using testing::ElementsAre;

constexpr std::uint32_t kAudiolinkTestInfo = 0x2867127D;
constexpr std::uint32_t kAudioData = 0x2867127F;

struct Notification {
    char const* name;
    frameLmqMessageHandler_t receiver;
};

Notification const kNotifications[] = {
#define AUDVIK_NOTIFICATION(NAME, ...) {#NAME, &sound::Proxy::callOn##NAME##Notify},
#include "sound/messages.def"
};

class NotificationTest : public ProxyTest, public testing::WithParamInterface<Notification> {};

TEST_P(NotificationTest, reachesEveryClientInOrder) {
    std::string const name = GetParam().name;
    auto const& notification = expected("notification", name);
    std::size_t const number = notification.identifier - 0x2867126B;
    cspEndianTable_t const* const table = exportedTable("soundMsgOn" + name + "Notify_t");
    expectTable(table, notification.fields);

    ASSERT_EQ(platform().receivers.size(), 22U);
    recording::Receiver const& receiver = platform().receivers[number];
    EXPECT_EQ(receiver.ioModule, &platform().ioModule);
    EXPECT_EQ(receiver.header.leadingWord, 0xFFFFFFFF);
    EXPECT_EQ(receiver.header.interfaceCode, 0x1CCD7774U);
    EXPECT_EQ(receiver.header.messageId, notification.identifier);
    EXPECT_EQ(receiver.header.notification, 1);
    EXPECT_EQ(receiver.function, GetParam().receiver);
    EXPECT_EQ(receiver.context, static_cast<sound::Proxy*>(platform().members.front().get()));
    EXPECT_EQ(receiver.table, table);

    service_->addClient(makeClient("A"));
    service_->addClient(makeClient("B"));
    for (unsigned pass = 0; pass < kPasses; ++pass) {
        received_.clear();
        platform().log.clear();
        PackedRecord const record = expectedRecord(notification.fields, pass);
        EXPECT_EQ(record.bytes.size(),
                  notification.bytes + record.texts.size() * (sizeof(void*) - 4));
        EXPECT_EQ(platform().deliver(notification.identifier, transport_, record.bytes.data()), 0);

        EXPECT_THAT(platform().log, ElementsAre(proxyLine(
                                        kCspDebugTrace, "callOn" + name + "Notify", "Called.\n")));
        ASSERT_EQ(received_.size(), 2U);
        EXPECT_EQ(received_[0].client, "A");
        EXPECT_EQ(received_[1].client, "B");
        for (Received const& call : received_) {
            EXPECT_EQ(call.notification, name);
            EXPECT_EQ(call.msgIds, &frame::MsgIds::none);
            EXPECT_EQ(call.transport, &transport_);
            EXPECT_EQ(call.values, expectedText(notification.fields, pass));
        }
    }
}

INSTANTIATE_TEST_SUITE_P(All, NotificationTest, testing::ValuesIn(kNotifications),
                         [](auto const& tested) { return tested.param.name; });

using NotificationsTest = ProxyTest;

TEST_F(NotificationsTest, refusedRegistrationsAreSkippedSilently) {
    platform().receivers.clear();
    platform().onRegister = [](auto const&) { return -12; };
    EXPECT_EQ(platform().members.front()->registerMessageHandlers(), 0);
    EXPECT_EQ(platform().receivers.size(), 22U);
    EXPECT_THAT(platform().log,
                ElementsAre(proxyLine(kCspDebugInfo, "registerMessageHandlers", "Called.\n")));
}

TEST_F(NotificationsTest, aStringIsAsLongAsItsLengthSays) {
    service_->addClient(makeClient("A"));
    char characters[] = {'a', '\0', 'c', 'd', 'e', 'f'};
    auto const deliver = [&](std::uint32_t length, char* address) {
        struct [[gnu::packed]] {
            cspDeserString_t path;
            std::uint32_t length;
        } const record{{length, address}, 0xFFFFFFFF};
        received_.clear();
        platform().deliver(kAudiolinkTestInfo, transport_, &record.path);
        platform().deliver(kAudioData, transport_, &record);
        EXPECT_EQ(received_.at(1).values.at(1), "4294967295") << "handed on unchecked";
        EXPECT_EQ(received_.at(0).values.at(0), received_.at(1).values.at(0));
        return received_.at(0).values.at(0);
    };
    EXPECT_EQ(deliver(3, characters), std::string("a\0c", 3));
    EXPECT_EQ(deliver(6, characters), std::string("a\0cdef", 6));
    EXPECT_EQ(deliver(0, characters), "");
    EXPECT_EQ(deliver(5, nullptr), "");
}

TEST_F(NotificationsTest, aClientMayPutAnotherInItsPlaceThatHearsTheNextOne) {
    auto const client = makeClient("A");
    client->onNotification = [&] {
        EXPECT_EQ(service_->removeClient(client), 0);
        service_->addClient(makeClient("C"));
    };
    service_->addClient(client);
    service_->addClient(makeClient("B"));
    EXPECT_THAT(reached(), ElementsAre("A", "B"));
    EXPECT_THAT(reached(), ElementsAre("B", "C"));
    client->onNotification = nullptr;
}

TEST_F(NotificationsTest, aClientRemovedMeanwhileStillHearsThisOne) {
    auto const first = makeClient("A");
    auto second = makeClient("B");
    bool destroyed = false;
    second->onDestruction = [&] { destroyed = true; };
    first->onNotification = [&] {
        std::thread([&] {
            EXPECT_EQ(service_->removeClient(second), 0);
            second.reset();
        }).join();
        EXPECT_FALSE(destroyed);
        first->onNotification = nullptr;
    };
    service_->addClient(first);
    service_->addClient(second);
    EXPECT_THAT(reached(), ElementsAre("A", "B"));
    EXPECT_TRUE(destroyed) << "the fan-out held the last reference";
    EXPECT_THAT(reached(), ElementsAre("A"));
}

TEST_F(NotificationsTest, aClientsExceptionLeavesTheReceiver) {
    auto const client = makeClient("A");
    client->onNotification = [] { throw std::runtime_error("not today"); };
    service_->addClient(client);
    service_->addClient(makeClient("B"));
    EXPECT_THROW(reached(), std::runtime_error);
    EXPECT_EQ(received_.size(), 1U);
    EXPECT_EQ(client.use_count(), 2);
    EXPECT_EQ(service_->removeClient(client), 0) << "no lock is held";
}

}  // namespace
