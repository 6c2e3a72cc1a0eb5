#include "Dispatcher.h"

#include <cxxabi.h>

#include <algorithm>
#include <exception>
#include <new>

#include "log.h"
#include "MessageHeader.h"
#include "RecordCodec.h"

namespace desktop {

namespace {

bool contains(Dispatcher::Modules modules, IoModule const* module) {
    return std::find(modules.begin(), modules.end(), module) != modules.end();
}

}  // namespace

/// Ends the running of a module on every way out of its code.
class Dispatcher::Running {
public:
    explicit Running(Dispatcher& dispatcher) : dispatcher_(dispatcher) {}
    ~Running() {
        std::lock_guard const lock(dispatcher_.mutex_);
        dispatcher_.running_ = nullptr;
        dispatcher_.runningThread_ = {};
        dispatcher_.idle_.notify_all();
    }
    Running(Running const&) = delete;
    Running& operator=(Running const&) = delete;

private:
    Dispatcher& dispatcher_;
};

void Dispatcher::add(Receiver const& receiver) {
    std::lock_guard const lock(mutex_);
    receivers_.push_back(receiver);
    receivers_.back().number = ++added_;
}

char const* Dispatcher::deliver(std::span<std::uint8_t> message,
                                frame::TransportInfo const& sender) {
    auto const [header, msgIds] = decodeMessageHeader(message);
    auto const wire = message.subspan(kMessageHeaderSize);
    {
        std::lock_guard const lock(mutex_);
        lastTurn_ = 0;
        called_.clear();
        replacements_.clear();
    }
    frame::MsgMeta const meta{header.interfaceCode, header.messageId, msgIds};
    char const* wrong = nullptr;
    while (auto const receiver = takeNext(header)) {
        run([&] {
            wrong = decodeRecord(*receiver->table, wire, record_);
            if (wrong != nullptr) return;
            receiver->handler(meta, sender, record_.data(), receiver->context);
        });
        if (wrong != nullptr) break;
    }
    return wrong;
}

std::optional<Dispatcher::Receiver> Dispatcher::takeNext(frameLmqMessageHeader_t const& header) {
    std::lock_guard const lock(mutex_);
    for (auto const& receiver : receivers_) {
        if (receiver.number <= lastTurn_ || receiver.interfaceCode != header.interfaceCode ||
            receiver.messageId != header.messageId || !isActive(receiver.owner)) {
            continue;
        }
        lastTurn_ = receiver.number;
        if (contains(replacements_, receiver.owner)) continue;
        called_.push_back(receiver.owner);
        beginRunning(receiver.owner);
        return receiver;
    }
    return std::nullopt;
}

void Dispatcher::tell(std::function<void(IoModule&)> const& action) {
    std::uint64_t last = 0;
    while (auto* const module = takeNextActive(last)) run([&] { action(*module); });
}

IoModule* Dispatcher::takeNextActive(std::uint64_t& last) {
    std::lock_guard const lock(mutex_);
    auto const next = std::find_if(active_.begin(), active_.end(),
                                   [last](auto const& active) { return active.number > last; });
    if (next == active_.end()) return nullptr;
    last = next->number;
    beginRunning(next->module);
    return next->module;
}

bool Dispatcher::isActive(IoModule const* module) const {
    return std::any_of(active_.begin(), active_.end(),
                       [module](auto const& active) { return active.module == module; });
}

void Dispatcher::beginRunning(IoModule* module) {
    running_ = module;
    runningThread_ = std::this_thread::get_id();
}

void Dispatcher::exchange(Modules activate, Modules deactivate) {
    std::lock_guard const lock(mutex_);
    active_.reserve(active_.size() + activate.size());
    replacements_.reserve(replacements_.size() + activate.size());
    // What has reached those that go must not reach those that come, too.
    bool const wasServed =
        std::any_of(deactivate.begin(), deactivate.end(), [this](auto const* module) {
            return contains(called_, module) || contains(replacements_, module);
        });
    if (wasServed) replacements_.insert(replacements_.end(), activate.begin(), activate.end());
    std::erase_if(active_, [&](auto const& active) { return contains(deactivate, active.module); });
    std::erase_if(receivers_,
                  [&](auto const& receiver) { return contains(deactivate, receiver.owner); });
    for (auto* const module : activate) active_.push_back({module, ++added_});
}

bool Dispatcher::awaitIdle(Modules modules, std::chrono::milliseconds limit) {
    std::unique_lock lock(mutex_);
    auto const isIdle = [&] { return !contains(modules, running_); };
    if (runningThread_ == std::this_thread::get_id()) return isIdle();
    return idle_.wait_for(lock, limit, isIdle);
}

template <class Action>
void Dispatcher::run(Action const& action) {
    Running const running(*this);
    try {
        action();
    } catch (abi::__forced_unwind const&) {
        throw;
    } catch (std::exception const& error) {
        logLine(kFrameError, "a receiver threw an exception: %s", error.what());
    } catch (...) {
        logLine(kFrameError, "a receiver threw an exception");
    }
}

}  // namespace desktop
