// Clients come and go.
#include <boost/smart_ptr/shared_ptr.hpp>

#include "LibraryTest.h"

namespace {

using testing::ElementsAre;

using RegistryTest = ProxyTest;

TEST_F(RegistryTest, aClientIsAddedOnce) {
    auto const client = makeClient("A");
    EXPECT_EQ(service_->addClient(client), 0);
    EXPECT_EQ(service_->addClient(client), -17);
    boost::shared_ptr<sound::ClientInterface> const other(client.get(), [](auto*) {});
    EXPECT_EQ(service_->addClient(other), -17);
    EXPECT_EQ(client.use_count(), 2);
    EXPECT_EQ(other.use_count(), 1);
    EXPECT_THAT(
        platform().log,
        ElementsAre(proxyLine(kCspDebugInfo, "addClient", "success, 1 total.\n"),
                    proxyLine(kCspDebugWarning, "addClient", "Client already exists, 1 total.\n"),
                    proxyLine(kCspDebugWarning, "addClient", "Client already exists, 1 total.\n")));
    EXPECT_EQ(service_->removeClient(other), 0) << "the object counts, not the reference";
    EXPECT_EQ(client.use_count(), 1);
}

TEST_F(RegistryTest, anEmptyReferenceIsRefused) {
    EXPECT_EQ(service_->addClient({}), -22);
    EXPECT_THAT(platform().log,
                ElementsAre(proxyLine(kCspDebugWarning, "addClient", "client is empty\n")));
    EXPECT_THAT(reached(), ElementsAre());
}

TEST_F(RegistryTest, anUnknownClientIsNotRemoved) {
    auto const client = makeClient("A");
    EXPECT_EQ(service_->removeClient(client), -2);
    EXPECT_EQ(service_->addClient(makeClient("B")), 0);
    EXPECT_EQ(service_->removeClient(client), -2);
    EXPECT_THAT(
        platform().log,
        ElementsAre(
            proxyLine(kCspDebugWarning, "removeClient", "client not found (of 0 known ones)\n"),
            proxyLine(kCspDebugInfo, "addClient", "success, 1 total.\n"),
            proxyLine(kCspDebugWarning, "removeClient", "client not found (of 1 known ones)\n")));
}

TEST_F(RegistryTest, removingKeepsTheOrderOfTheOthers) {
    auto const first = makeClient("A");
    service_->addClient(first);
    service_->addClient(makeClient("B"));
    service_->addClient(makeClient("C"));
    platform().log.clear();
    EXPECT_EQ(service_->removeClient(first), 0);
    EXPECT_THAT(platform().log,
                ElementsAre(proxyLine(kCspDebugInfo, "removeClient", "success, 2 remaining.\n")));
    EXPECT_EQ(first.use_count(), 1);
    EXPECT_THAT(reached(), ElementsAre("B", "C"));
    EXPECT_EQ(service_->addClient(first), 0);
    EXPECT_THAT(reached(), ElementsAre("B", "C", "A"));
}

TEST_F(RegistryTest, aRemovedClientsDestructorMayUseTheRegistry) {
    auto client = makeClient("A");
    client->onDestruction = [this] { service_->addClient(makeClient("B")); };
    service_->addClient(client);
    EXPECT_EQ(service_->removeClient(std::move(client)), 0);
    EXPECT_THAT(reached(), ElementsAre("B"));
}

}  // namespace
