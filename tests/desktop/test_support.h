// A record, a member and a service to try the desktop platform with.
#pragma once

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "desktop/framework.h"
#include "desktop/Service.h"
#include "frame/AbstractMarshallingImpl.h"
#include "frame/lmq.h"
#include "LocalSocket.h"

namespace desktop::test {

using namespace std::chrono_literals;

inline constexpr cspEndianEntry_t kNumberEntries[] = {{0, kCspEndianWord, {.word = 0}},
                                                      {0, kCspEndianEnd, {.word = UINTPTR_MAX}}};
inline constexpr cspEndianTable_t kNumberTable{4, kNumberEntries};
inline constexpr frameLmqMessageHeader_t kCommand{0xFFFFFFFF, 0x11, 7, 0};
inline constexpr frameLmqMessageHeader_t kNotification{0xFFFFFFFF, 0x22, 8, 1};

// Of a stream.
inline constexpr frameLmqMessageHeader_t kSwitch{0xFFFFFFFF, 0x11, 9, 0};
inline constexpr frameLmqMessageHeader_t kAnnouncement{0xFFFFFFFF, 0x22, 10, 1};

inline std::int32_t sendNumber(void* module, frameLmqMessageHeader_t const& header,
                               std::uint32_t number,
                               frame::TransportInfo const* destination = nullptr) {
    return frameLmqIOServiceSendStructure(module, frame::MsgIds::none, header, destination,
                                          &kNumberTable, &number);
}

/// @return  how long this process computes while nothing happens, as a part of the time
inline double busyPart() {
    constexpr auto kTime = 300ms;
    auto const before = std::clock();
    std::this_thread::sleep_for(kTime);
    return static_cast<double>(std::clock() - before) / CLOCKS_PER_SEC /
           std::chrono::duration<double>(kTime).count();
}

/// What a receiver has been called with.
class Inbox {
public:
    using React = std::function<void(std::uint32_t number, frame::TransportInfo const& sender)>;

    React react;  ///< what the receiver does; to be set before anything can arrive

    /// Has the receiver note what it is called with, and not return before release().
    void hold() { held_ = true; }
    void release() {
        held_ = false;
        held_.notify_all();
    }

    static std::int32_t receive(frame::MsgMeta const& /*meta*/, frame::TransportInfo const& sender,
                                void const* record, void* context) {
        auto& self = *static_cast<Inbox*>(context);
        std::uint32_t number;
        std::memcpy(&number, record, sizeof number);
        if (self.react) self.react(number, sender);
        {
            std::lock_guard const lock(self.mutex_);
            self.numbers_.push_back(number);
            self.sender_ = sender;
            self.arrived_.notify_all();
        }
        self.held_.wait(true);
        return 0;
    }

    /// @return false when fewer than @p count have arrived within the time
    bool await(std::size_t count, std::chrono::milliseconds limit = 5s) {
        std::unique_lock lock(mutex_);
        return arrived_.wait_for(lock, limit, [&] { return numbers_.size() >= count; });
    }

    std::vector<std::uint32_t> numbers() {
        std::lock_guard const lock(mutex_);
        return numbers_;
    }
    frame::TransportInfo sender() {
        std::lock_guard const lock(mutex_);
        return sender_;
    }

private:
    std::mutex mutex_;
    std::condition_variable arrived_;
    std::vector<std::uint32_t> numbers_;
    frame::TransportInfo sender_{};
    std::atomic<bool> held_ = false;
};

/// Has its notifications go to an inbox and fails where it is told to.
class Member : public frame::AbstractMarshallingImpl {
public:
    explicit Member(Inbox* inbox) : AbstractMarshallingImpl(kDefaultCoupling), inbox_(inbox) {}
    ~Member() override { ++destroyed; }

    std::int32_t registerMessageHandlers() override {
        for (auto const& header : {kNotification, kAnnouncement}) {
            frameLmqIOServiceRegisterMessageHandlerFunction(lmqIOModule(), header, &Inbox::receive,
                                                            inbox_, &kNumberTable);
        }
        return registerStatus;
    }
    std::int32_t attachProcess(frame::Process /*process*/) override {
        ++attached;
        return 0;
    }
    std::int32_t detachProcess() override {
        --attached;
        return 0;
    }
    std::int32_t performStarting() override { return startStatus; }
    std::int32_t performStopping() override {
        stopped.push_back(this);
        return 0;
    }
    void onIOConnectionConnected() override { ++connected; }
    void onIOConnectionDisconnected(int error) override {
        disconnectError = error;
        ++disconnected;
    }

    std::int32_t send(std::uint32_t number,
                      frameLmqMessageHeader_t const& header = kCommand) const {
        return sendNumber(lmqIOModule(), header, number);
    }
    std::int32_t send(frameLmqMessageHeader_t const& header, cspEndianTable_t const& table,
                      void const* record) const {
        return frameLmqIOServiceSendStructure(lmqIOModule(), frame::MsgIds::none, header, nullptr,
                                              &table, record);
    }
    using AbstractComponent::registerInterface;
    using AbstractComponent::unregisterInterface;

    std::int32_t registerStatus = 0;
    std::int32_t startStatus = 0;
    std::atomic<int> connected = 0;
    std::atomic<int> disconnected = 0;
    std::atomic<int> disconnectError = 1;
    static inline std::vector<Member*> stopped;
    static inline std::atomic<int> destroyed = 0;
    static inline int attached = 0;  ///< to the process

private:
    Inbox* inbox_;
};

/// What the factory is to yield next.
inline std::vector<Member*> nextMembers;

inline void** createMembers() {
    auto** const array = static_cast<void**>(std::calloc(nextMembers.size() + 1, sizeof(void*)));
    for (std::size_t i = 0; i < nextMembers.size(); ++i) {
        array[i] = static_cast<frame::AbstractMarshallingImpl*>(nextMembers[i]);
    }
    nextMembers.clear();
    return array;
}

inline std::int32_t startMembers(std::vector<Member*> members) {
    nextMembers = std::move(members);
    return frame::Process::getInstance().startAppMembersSync(&createMembers);
}

inline Member* startMember(Inbox& inbox) {
    auto* const member = new Member(&inbox);
    EXPECT_EQ(startMembers({member}), 0);
    return member;
}

template <class Condition>
bool eventually(Condition const& condition, std::chrono::milliseconds limit = 5s) {
    auto const end = std::chrono::steady_clock::now() + limit;
    while (!condition()) {
        if (std::chrono::steady_clock::now() > end) return false;
        std::this_thread::sleep_for(1ms);
    }
    return true;
}

/// A place for a service, known to the client side of this process.
class Desktop : public testing::Test {
protected:
    Desktop() { setenv("LMQR2_UDPHOST", address_.c_str(), 1); }
    ~Desktop() override {
        commands_.release();
        notifications_.release();
        stopAppMembers();
    }

    void startService() {
        service_ = std::make_unique<Service>(
            address_, [this](auto const&) { ++gone_; }, limits_);
        for (auto const& header : {kCommand, kSwitch}) {
            frameLmqIOServiceRegisterMessageHandlerFunction(
                service_->ioModule(), header, &Inbox::receive, &commands_, &kNumberTable);
        }
        service_->start();
    }

    /// Starts the service and a member, and waits until they know each other.
    Member* connect() {
        startService();
        auto* const member = startMember(notifications_);
        EXPECT_TRUE(eventually([&] { return member->connected == 1; }));
        return member;
    }

    std::int32_t notify(std::uint32_t number, frame::TransportInfo const* client = nullptr) const {
        return sendNumber(service_->ioModule(), kNotification, number, client);
    }

    std::string address_ = LocalSocket().address();
    Limits limits_;  // of the service
    Inbox commands_;
    Inbox notifications_;
    std::atomic<int> gone_ = 0;  // clients
    std::unique_ptr<Service> service_;
};

}  // namespace desktop::test
