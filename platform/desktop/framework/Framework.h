// The application framework of this process.
#pragma once

#include <sys/types.h>

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <memory>
#include <mutex>
#include <thread>
#include <vector>

#include "ClientConnection.h"
#include "frame/AbstractMarshallingImpl.h"
#include "frame/Process.h"
#include "IoModule.h"

namespace desktop {

/// Starts members and takes them down, one such job at a time.
class Framework {
public:
    static Framework& instance();

    std::int32_t start(frame::ApplicationArrayFactory factory);
    void stop();

private:
    struct Member {
        frame::AbstractMarshallingImpl* implementation;
        IoModule* module = nullptr;
        bool attached = false;
        bool started = false;
    };
    using Members = std::vector<Member>;
    /// The members that one factory yielded.
    struct Group {
        frame::ApplicationArrayFactory factory;
        Members members;
    };
    class Job;

    std::int32_t connect();
    ClientConnection& connection() { return *connections_.back(); }

    std::int32_t startMembers(frame::ApplicationArrayFactory factory);
    Members takeIn(void** array);
    std::int32_t bringUp(Members& members, bool receiveAtOnce);
    std::int32_t bringUp(Member& member, bool receivesAtOnce);
    void replace(Group& group, Members const& members);
    void discard(Members members);

    void stopMembers();
    static void halt(Members& members);
    static void destroy(Members const& members);
    static std::vector<IoModule*> modulesOf(Members const& members);

    std::atomic<pid_t> process_ = 0;
    std::mutex mutex_;
    std::condition_variable jobDone_;
    std::thread::id worker_;  // who does a job; nobody by default

    // Of the job in progress.
    std::vector<Group> groups_;
    Members retired_;    // replaced, but somebody may still hold their interfaces
    Members abandoned_;  // a receiver would not end, so that they end with the process
    // The last one is in use while connected_ says so. Those before it are closed, and kept since
    // a member's handle stays valid.
    std::vector<std::unique_ptr<ClientConnection>> connections_;
    bool connected_ = false;
};

}  // namespace desktop
