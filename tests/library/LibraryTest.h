#pragma once

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <boost/make_shared.hpp>
#include <cstdint>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "RecordingClient.h"
#include "RecordingPlatform.h"
#include "sound/Proxy.h"

using recording::LogLine;
using recording::platform;
using sound::Received;
using sound::RecordingClient;

inline LogLine proxyLine(std::uint32_t levelWord, std::string function, std::string text) {
    return {levelWord, "app-sound-proxy-main.cpp", std::move(function), std::move(text)};
}

/// Runs the library on a fresh recording platform.
class LibraryTest : public testing::Test {
protected:
    void SetUp() override { recording::resetPlatform(); }

    void TearDown() override {
        EXPECT_THAT(platform().misuses, testing::IsEmpty());
        recording::resetPlatform();
    }

    static std::int32_t start() {
        return frame::Process::getInstance().startAppMembersSync(&CreateSoundProxy);
    }

    boost::shared_ptr<RecordingClient> makeClient(std::string name) {
        return boost::make_shared<RecordingClient>(std::move(name), received_);
    }

    std::vector<Received> received_;
    frame::TransportInfo transport_{{1, 2, 3, 4, 5, 6, 7}};
};

/// A started proxy, as its clients see it.
class ProxyTest : public LibraryTest {
protected:
    void SetUp() override {
        LibraryTest::SetUp();
        ASSERT_EQ(start(), 0);
        service_ = platform().service();
        ASSERT_NE(service_, nullptr);
        platform().log.clear();
    }

    /// Has the service notify.
    /// @return the names of the clients that it reached, in order
    std::vector<std::string> reached() {
        received_.clear();
        std::uint32_t const version = 1;
        EXPECT_EQ(platform().deliver(0x28671280, transport_, &version), 0);
        std::vector<std::string> names;
        for (Received const& call : received_) names.push_back(call.client);
        return names;
    }

    sound::ServiceInterface* service_ = nullptr;
    frame::MsgIds msgIds_{{11, 22}};
};
