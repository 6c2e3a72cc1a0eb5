#include "Dispatcher.h"

#include <algorithm>
#include <exception>

#include "log.h"
#include "MessageHeader.h"
#include "RecordCodec.h"

namespace desktop {

namespace {

bool contains(Dispatcher::Modules modules, IoModule const* module) {
    return std::find(modules.begin(), modules.end(), module) != modules.end();
}

}  // namespace

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
            receiver.messageId != header.messageId || !contains(active_, receiver.owner)) {
            continue;
        }
        lastTurn_ = receiver.number;
        if (contains(replacements_, receiver.owner)) continue;
        called_.push_back(receiver.owner);
        running_ = receiver.owner;
        runningThread_ = std::this_thread::get_id();
        return receiver;
    }
    return std::nullopt;
}

void Dispatcher::tell(std::function<void(IoModule&)> const& action) {
    std::vector<IoModule*> modules;
    {
        std::lock_guard const lock(mutex_);
        modules = active_;
    }
    for (auto* const module : modules) {
        {
            std::lock_guard const lock(mutex_);
            if (!contains(active_, module)) continue;
            running_ = module;
            runningThread_ = std::this_thread::get_id();
        }
        run([&] { action(*module); });
    }
}

void Dispatcher::exchange(Modules activate, Modules deactivate) {
    std::lock_guard const lock(mutex_);
    // What has reached those that go must not reach those that come, too.
    bool const wasServed =
        std::any_of(deactivate.begin(), deactivate.end(), [this](auto const* module) {
            return contains(called_, module) || contains(replacements_, module);
        });
    if (wasServed) replacements_.insert(replacements_.end(), activate.begin(), activate.end());
    std::erase_if(active_, [&](auto const* module) { return contains(deactivate, module); });
    std::erase_if(receivers_,
                  [&](auto const& receiver) { return contains(deactivate, receiver.owner); });
    active_.insert(active_.end(), activate.begin(), activate.end());
}

bool Dispatcher::awaitIdle(Modules modules, std::chrono::milliseconds limit) {
    std::unique_lock lock(mutex_);
    auto const isIdle = [&] { return !contains(modules, running_); };
    if (runningThread_ == std::this_thread::get_id()) return isIdle();
    return idle_.wait_for(lock, limit, isIdle);
}

void Dispatcher::run(std::function<void()> const& action) {
    try {
        action();
    } catch (std::exception const& error) {
        logLine(kFrameError, "a receiver threw an exception: %s", error.what());
    } catch (...) {
        logLine(kFrameError, "a receiver threw an exception");
    }
    std::lock_guard const lock(mutex_);
    running_ = nullptr;
    runningThread_ = {};
    idle_.notify_all();
}

}  // namespace desktop
