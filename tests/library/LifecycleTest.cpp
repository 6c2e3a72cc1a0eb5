// The proxy's factory and what the framework has it do.
#include <cstdlib>
#include <tuple>

#include "LibraryTest.h"

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

LogLine called(char const* function) {
    return proxyLine(kCspDebugInfo, function, "Called.\n");
}

class LifecycleTest : public LibraryTest {
protected:
    static std::unique_ptr<sound::Proxy> create(void** (*factory)() = &CreateSoundProxy) {
        void** const applications = factory();
        auto* const member = static_cast<frame::AbstractMarshallingImpl*>(applications[0]);
        EXPECT_EQ(applications[1], nullptr);
        std::free(static_cast<void*>(applications));
        return std::unique_ptr<sound::Proxy>(static_cast<sound::Proxy*>(member));
    }
};

TEST_F(LifecycleTest, factoriesCreateDistinctProxies) {
    auto const first = create(&frameCreateApplicationArray);
    auto const second = create(&frameCreateApplicationArray);
    EXPECT_NE(first, second);
    EXPECT_EQ(first->getServiceId(), "sound");
    EXPECT_THAT(platform().calls, IsEmpty());
    EXPECT_THAT(platform().log, ElementsAre(called("CreateSoundProxy"), called("Proxy"),
                                            called("CreateSoundProxy"), called("Proxy")));
}

TEST_F(LifecycleTest, setUpPublishesTheServiceInterface) {
    auto const proxy = create();
    for (std::int32_t const success : {0, 2}) {
        platform().log.clear();
        platform().calls.clear();
        platform().results["performSetupDone"] = success;
        platform().results["registerInterface"] = success;
        EXPECT_EQ(proxy->performSetupDone(), 0);
        EXPECT_EQ(platform().service(), proxy.get());
        EXPECT_THAT(platform().calls,
                    ElementsAre("performSetupDone", "registerInterface tarvo.lm.interfaces.sound"));
        EXPECT_THAT(platform().log, ElementsAre(called("performSetupDone")));
    }
}

TEST_F(LifecycleTest, failedSetUpIsReportedAndMayBeTriedAgain) {
    auto const proxy = create();
    for (auto const& [base, registration, text] :
         {std::tuple{-3, 0, "Parent class performSetupDone() returned -3.\n"},
          {0, -1, "Unable to register interface: -1.\n"}}) {
        platform().log.clear();
        platform().results["performSetupDone"] = base;
        platform().results["registerInterface"] = registration;
        EXPECT_EQ(proxy->performSetupDone(), base + registration);
        EXPECT_EQ(platform().service(), nullptr);
        EXPECT_EQ(platform().calls.back() == "performSetupDone", base < 0) << "no registration";
        EXPECT_THAT(platform().log,
                    ElementsAre(called("performSetupDone"),
                                proxyLine(kCspDebugWarning, "performSetupDone", text)));
    }
    platform().results["registerInterface"] = 0;
    EXPECT_EQ(proxy->performSetupDone(), 0);
    EXPECT_EQ(platform().service(), proxy.get());
}

TEST_F(LifecycleTest, startingAndStoppingPassTheBasesVerdictOn) {
    auto const proxy = create();
    for (std::int32_t const success : {0, 4}) {
        platform().log.clear();
        platform().results["performStarting"] = success;
        platform().results["performStopping"] = success;
        EXPECT_EQ(proxy->performStarting(), 0);
        EXPECT_EQ(proxy->performStopping(), 0);
        EXPECT_EQ(platform().log.size(), 2U) << "of the calls alone";
    }
    platform().log.clear();
    platform().results["performStarting"] = -4;
    platform().results["performStopping"] = -5;
    EXPECT_EQ(proxy->performStarting(), -4);
    EXPECT_EQ(proxy->performStopping(), -5);
    EXPECT_THAT(platform().log,
                ElementsAre(called("performStarting"),
                            proxyLine(0x00AF0BB8, "performStarting",
                                      "Parent class performStarting() returned -4.\n"),
                            called("performStopping"),
                            proxyLine(0x00010BB8, "performStopping",
                                      "Parent class performStopping() returned -5.\n")));
}

TEST_F(LifecycleTest, onlyDestructionWithdrawsTheInterface) {
    auto proxy = create();
    proxy->performSetupDone();
    proxy->performStarting();
    proxy->performStopping();
    EXPECT_EQ(platform().service(), proxy.get());
    platform().log.clear();
    platform().calls.clear();
    proxy.reset();
    EXPECT_EQ(platform().service(), nullptr) << "it went under the address it was published with";
    EXPECT_THAT(platform().calls, ElementsAre("unregisterInterface"));
    EXPECT_THAT(platform().log, ElementsAre(called("~Proxy")));

    create().reset();
    EXPECT_EQ(platform().calls.size(), 2U) << "withdrawn though never published";
}

TEST_F(LifecycleTest, destructionReleasesTheClientsInOrder) {
    auto proxy = create();
    std::vector<std::string> destroyed;
    for (std::string const name : {"A", "B", "C"}) {
        auto const client = makeClient(name);
        client->onDestruction = [name, &destroyed] {
            EXPECT_THAT(platform().calls, ElementsAre("unregisterInterface"));
            destroyed.push_back(name);
        };
        EXPECT_EQ(proxy->addClient(client), 0);
    }
    auto const keptElsewhere = makeClient("D");
    EXPECT_EQ(proxy->addClient(keptElsewhere), 0);
    proxy.reset();
    EXPECT_THAT(destroyed, ElementsAre("A", "B", "C"));
    EXPECT_EQ(keptElsewhere.use_count(), 1);
}

}  // namespace
