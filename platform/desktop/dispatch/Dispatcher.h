// Who receives what, and who is receiving just now.
#pragma once

#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <functional>
#include <mutex>
#include <optional>
#include <span>
#include <thread>
#include <vector>

#include "bytes.h"
#include "frame/lmq.h"

namespace desktop {

class IoModule;

/// Calls the receivers that are registered for a message, those of active modules only.
/// deliver() and tell() are for the delivery thread, everything else for any. What a receiver
/// throws is caught; that it ends its thread is not.
class Dispatcher {
public:
    using Modules = std::span<IoModule* const>;

    struct Receiver {
        IoModule* owner;
        std::uint32_t interfaceCode;
        std::uint32_t messageId;
        frameLmqMessageHandler_t handler;
        void* context;
        cspEndianTable_t const* table;
        std::uint64_t number = 0;  ///< ascending in the order in which they were added
    };

    /// @throws std::bad_alloc
    void add(Receiver const& receiver);

    /// Calls the message's receivers in the order in which they were added.
    /// @param message  from the message header on
    /// @return null, or what is wrong with the message
    /// @throws std::bad_alloc when there is no memory to deliver it
    char const* deliver(std::span<std::uint8_t> message, frame::TransportInfo const& sender);

    /// Calls @p action for each active module.
    void tell(std::function<void(IoModule&)> const& action);

    /// Makes a module active, that is, has its receivers called.
    /// @throws std::bad_alloc
    void activate(IoModule* module) { exchange({&module, 1}, {}); }

    /// Makes modules active and others inactive, so that each message reaches one kind only.
    /// @throws std::bad_alloc, nothing having changed, when there are any to activate
    void exchange(Modules activate, Modules deactivate);

    /// Waits until no code of these inactive modules runs.
    /// @return false when it still does at the end of the time, or when this is called from
    ///         inside it
    bool awaitIdle(Modules modules, std::chrono::milliseconds limit);

private:
    struct Active {
        IoModule* module;
        std::uint64_t number;  ///< ascending in the order in which they became active
    };
    class Running;

    /// Finds the next receiver of the message being delivered and counts its module as running.
    /// One step, lest modules are exchanged in between and the message reaches neither.
    std::optional<Receiver> takeNext(frameLmqMessageHeader_t const& header);
    IoModule* takeNextActive(std::uint64_t& last);
    bool isActive(IoModule const* module) const;
    void beginRunning(IoModule* module);

    /// Runs what belongs to the module that counts as running, which ends with it. That a receiver
    /// ends its thread, the C++ runtime tells by a reference to nothing, which is no fault.
    template <class Action>
    __attribute__((no_sanitize("null", "alignment"))) void run(Action const& action);

    std::mutex mutex_;  // guards all but record_
    std::condition_variable idle_;
    std::vector<Receiver> receivers_;
    std::vector<Active> active_;
    IoModule* running_ = nullptr;
    std::thread::id runningThread_;

    std::uint64_t added_ = 0;

    // Of the message being delivered: the last receiver whose turn it was, the modules that have
    // had it, and those that came in place of such a one.
    std::uint64_t lastTurn_ = 0;
    std::vector<IoModule*> called_;
    std::vector<IoModule*> replacements_;

    Bytes record_;  // of the delivery thread alone; a member lest each message allocate it
};

}  // namespace desktop
