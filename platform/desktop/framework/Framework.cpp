#include "Framework.h"

#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <stdexcept>
#include <system_error>
#include <utility>

#include "Address.h"
#include "desktop/framework.h"
#include "log.h"

namespace desktop {

namespace {

using std::chrono::milliseconds;

// How long the end of a receiver or of another thread's job is waited for. The process must be
// able to end while either hangs.
constexpr milliseconds kReceiverLimit{1000};
constexpr milliseconds kJobLimit{2000};

}  // namespace

/// Holds off other threads' jobs. Members may call the framework from their hooks, which is
/// refused rather than waited for.
class Framework::Job {
public:
    Job(Framework& framework, milliseconds limit) : framework_(framework) {
        std::unique_lock lock(framework.mutex_);
        if (framework.worker_ == std::this_thread::get_id()) return;
        taken_ = framework.jobDone_.wait_for(
            lock, limit, [&framework] { return framework.worker_ == std::thread::id(); });
        if (taken_) framework.worker_ = std::this_thread::get_id();
    }
    ~Job() {
        if (!taken_) return;
        std::lock_guard const lock(framework_.mutex_);
        framework_.worker_ = {};
        framework_.jobDone_.notify_one();
    }
    Job(Job const&) = delete;
    Job& operator=(Job const&) = delete;

    bool taken() const { return taken_; }

private:
    Framework& framework_;
    bool taken_ = false;
};

Framework& Framework::instance() {
    // Never destroyed: the transport's threads may outlive the process's static objects.
    static auto* const framework = new Framework;
    return *framework;
}

std::int32_t Framework::start(frame::ApplicationArrayFactory factory) {
    if (factory == nullptr) return -EINVAL;
    Job const job(*this, std::chrono::hours(1));
    if (!job.taken()) return -EBUSY;
    try {
        if (auto const status = connect(); status < 0) return status;
        return startMembers(factory);
    } catch (std::bad_alloc const&) {
        logLine(kFrameError, "no members are started: memory ran out");
        return -ENOMEM;
    }
}

void Framework::stop() {
    // A forked child has the members but none of the threads, and the session is its parent's.
    if (process_ != getpid()) return;
    Job const job(*this, kJobLimit);
    if (!job.taken() || !connected_) return;
    try {
        stopMembers();
    } catch (std::bad_alloc const&) {
        logLine(kFrameError, "the members are left to end with the process: memory ran out");
    }
}

std::int32_t Framework::connect() {
    if (connected_) return 0;
    try {
        connections_.push_back(
            std::make_unique<ClientConnection>(Address::parse(serviceAddress())));
    } catch (std::invalid_argument const& error) {
        logLine(kFrameError, "AUDVIK_SERVICE or LMQR2_UDPHOST: %s", error.what());
        return -EINVAL;
    } catch (std::system_error const& error) {
        logLine(kFrameError, "no connection to the sound service: %s", error.what());
        return -error.code().value();
    }
    connected_ = true;
    process_ = getpid();
    // Before the destructors of whatever is static in the host and in its libraries.
    [[maybe_unused]] static int const registered = std::atexit(stopAppMembers);
    return 0;
}

std::int32_t Framework::startMembers(frame::ApplicationArrayFactory factory) {
    auto** const array = factory();
    if (array == nullptr) {
        logLine(kFrameError, "no members to start: memory ran out");
        return -ENOMEM;
    }
    auto members = takeIn(array);
    auto const group = std::find_if(groups_.begin(), groups_.end(), [factory](auto const& other) {
        return other.factory == factory;
    });
    bool const isFirst = group == groups_.end();
    try {
        // Those who replace others take over their messages when all of them are up.
        auto const status = bringUp(members, isFirst);
        if (status < 0) {
            discard(std::move(members));
            return status;
        }
        if (isFirst) {
            groups_.push_back({factory, members});
        } else {
            replace(*group, members);
        }
    } catch (...) {
        discard(std::move(members));
        throw;
    }
    connection().announce();
    return 0;
}

/// Takes over the members and frees their array.
Framework::Members Framework::takeIn(void** array) {
    std::unique_ptr<void*, decltype(&std::free)> const owned(array, &std::free);
    std::size_t count = 0;
    while (array[count] != nullptr) ++count;
    auto const implementation = [array](std::size_t index) {
        return static_cast<frame::AbstractMarshallingImpl*>(array[index]);
    };
    try {
        Members members;
        members.reserve(count);
        // So that they can be discarded without more memory.
        abandoned_.reserve(abandoned_.size() + count);
        for (std::size_t i = 0; i < count; ++i) members.push_back({implementation(i)});
        return members;
    } catch (std::bad_alloc const&) {
        for (std::size_t i = 0; i < count; ++i) delete implementation(i);
        throw;
    }
}

std::int32_t Framework::bringUp(Members& members, bool receiveAtOnce) {
    for (auto& member : members) {
        if (auto const status = bringUp(member, receiveAtOnce); status < 0) return status;
    }
    return 0;
}

std::int32_t Framework::bringUp(Member& member, bool receivesAtOnce) {
    auto& implementation = *member.implementation;
    member.module = connection().addModule(implementation);
    implementation.setLmqIOModule(member.module);
    if (receivesAtOnce) connection().dispatcher().activate(member.module);

    auto status = implementation.registerMessageHandlers();
    if (status < 0) return status;
    if (member.module->registrationFailed()) {
        logLine(kFrameError, "a member is not started: not all of its receivers are registered");
        return -ENOMEM;
    }
    status = implementation.attachProcess(frame::Process::getInstance());
    if (status < 0) return status;
    member.attached = true;
    status = implementation.setupDone();
    if (status < 0) return status;
    status = implementation.start();
    member.started = status >= 0;
    return status;
}

void Framework::replace(Group& group, Members const& members) {
    auto const modules = modulesOf(members);
    auto const oldModules = modulesOf(group.members);
    retired_.reserve(retired_.size() + group.members.size());
    auto newMembers = members;
    connection().dispatcher().exchange(modules, oldModules);
    // Nothing fails from here on.
    auto old = std::exchange(group.members, std::move(newMembers));
    connection().dispatcher().awaitIdle(oldModules, kReceiverLimit);
    halt(old);
    retired_.insert(retired_.end(), old.begin(), old.end());
}

/// Takes down members that have failed to start. Needs no memory.
void Framework::discard(Members members) {
    halt(members);
    auto& dispatcher = connection().dispatcher();
    for (auto const& member : members) dispatcher.exchange({}, {&member.module, 1});
    bool const idle = std::all_of(members.begin(), members.end(), [&](auto const& member) {
        return dispatcher.awaitIdle({&member.module, 1}, kReceiverLimit);
    });
    if (idle) {
        destroy(members);
    } else {
        abandoned_.insert(abandoned_.end(), members.begin(), members.end());
    }
}

void Framework::stopMembers() {
    auto members = retired_;
    for (auto const& group : groups_) {
        members.insert(members.end(), group.members.begin(), group.members.end());
    }
    retired_.clear();
    groups_.clear();
    halt(members);
    auto& dispatcher = connection().dispatcher();
    dispatcher.exchange({}, modulesOf(members));
    abandoned_.insert(abandoned_.end(), members.begin(), members.end());
    bool const idle = dispatcher.awaitIdle(modulesOf(abandoned_), kReceiverLimit);

    connection().close();
    connected_ = false;
    if (!idle) return;
    connection().stopDelivery();
    destroy(std::exchange(abandoned_, {}));
}

void Framework::halt(Members& members) {
    std::for_each(members.rbegin(), members.rend(), [](auto& member) {
        if (std::exchange(member.started, false)) member.implementation->stop();
        if (std::exchange(member.attached, false)) member.implementation->detachProcess();
    });
}

void Framework::destroy(Members const& members) {
    std::for_each(members.rbegin(), members.rend(),
                  [](auto const& member) { delete member.implementation; });
}

std::vector<IoModule*> Framework::modulesOf(Members const& members) {
    std::vector<IoModule*> modules;
    for (auto const& member : members) {
        if (member.module != nullptr) modules.push_back(member.module);
    }
    return modules;
}

void stopAppMembers() {
    Framework::instance().stop();
}

}  // namespace desktop
