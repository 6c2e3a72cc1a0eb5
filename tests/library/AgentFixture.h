#pragma once

#include <cstring>
#include <fstream>
#include <string>
#include <vector>

#include "audvik/audvik.h"
#include "LibraryTest.h"
#include "TemporaryFolder.h"

/// One call of the consumer's callback.
struct Block {
    std::string bytes;
    void* userData;
};

/// A host of the agent, with a folder for pipes.
class AgentFixture : public LibraryTest {
protected:
    void SetUp() override {
        LibraryTest::SetUp();
        blocks_.clear();
    }

    static void take(unsigned char const* data, std::int32_t size, void* userData) {
        blocks_.push_back({{data, data + size}, userData});
    }

    static LogLine errorLine(std::string function, std::string text) {
        return {0x00AF03E8, "ACR.cpp", std::move(function), std::move(text)};
    }

    /// Calls set_audioCallback().
    /// @return what it printed
    std::string request(std::int32_t enable, audioCallback_t callback, void* userData = nullptr) {
        testing::internal::CaptureStdout();
        result_ = set_audioCallback(enable, callback, userData);
        return testing::internal::GetCapturedStdout();
    }

    std::int32_t notify(std::string const& path, std::uint32_t length) const {
        return platform().listeners.back()->onAudioDataNotify(frame::MsgIds::none, transport_, path,
                                                              length);
    }

    /// Has the service announce a block: a file's content reads like that of a pipe.
    std::int32_t announce(std::string const& content) {
        std::string path = folder_.file("block");
        std::ofstream(path) << content;
        unsigned char record[sizeof(cspDeserString_t) + sizeof(std::uint32_t)];
        cspDeserString_t const reference{static_cast<std::uint32_t>(path.size()), path.data()};
        auto const length = static_cast<std::uint32_t>(content.size());
        std::memcpy(record, &reference, sizeof reference);
        std::memcpy(record + sizeof reference, &length, sizeof length);
        return platform().deliver(0x2867127F, transport_, record);
    }

    inline static std::vector<Block> blocks_;
    std::int32_t result_ = 0;
    TemporaryFolder folder_;
};
