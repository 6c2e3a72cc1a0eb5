// The thread that runs receivers.
#pragma once

#include <condition_variable>
#include <cstdint>
#include <deque>
#include <functional>
#include <mutex>
#include <span>
#include <thread>
#include <utility>
#include <vector>

#include "bytes.h"
#include "threads.h"

namespace desktop {

/// Delivers messages one at a time in the order in which they were pushed.
/// @tparam Tag  what the owner wants to know of a message besides its bytes
template <class Tag>
class DeliveryThread {
public:
    using Take = std::function<void(Tag const& tag)>;
    using Deliver = std::function<void(Tag const& tag, std::span<std::uint8_t> message)>;

    /// @param mutex    guards the queue
    /// @param take     called with the mutex held when a message leaves the queue
    /// @param deliver  called without it
    DeliveryThread(std::mutex& mutex, Take take, Deliver deliver)
        : mutex_(mutex),
          take_(std::move(take)),
          deliver_(std::move(deliver)),
          thread_(startThread("delivery", [this] { run(); })) {}

    ~DeliveryThread() { stop(); }
    DeliveryThread(DeliveryThread const&) = delete;
    DeliveryThread& operator=(DeliveryThread const&) = delete;

    /// Call with the mutex held.
    void push(Tag tag, std::span<std::uint8_t const> message) {
        if (spare_.empty()) spare_.emplace_back();
        queue_.push_back({std::move(tag), std::move(spare_.back())});
        spare_.pop_back();
        queue_.back().bytes.assign(message.begin(), message.end());
        filled_.notify_one();
    }

    /// Waits for the message being delivered and drops those behind it.
    void stop() {
        if (!thread_.joinable()) return;
        {
            std::lock_guard const lock(mutex_);
            stopping_ = true;
            filled_.notify_one();
        }
        thread_.join();
    }

private:
    struct Item {
        Tag tag;
        Bytes bytes;
    };

    void run() {
        std::unique_lock lock(mutex_);
        while (true) {
            filled_.wait(lock, [this] { return stopping_ || !queue_.empty(); });
            if (stopping_) return;
            auto item = std::move(queue_.front());
            queue_.pop_front();
            take_(item.tag);
            lock.unlock();
            deliver_(item.tag, item.bytes);
            lock.lock();
            spare_.push_back(std::move(item.bytes));
        }
    }

    std::mutex& mutex_;
    Take take_;
    Deliver deliver_;
    std::deque<Item> queue_;
    std::vector<Bytes> spare_;  // buffers to use again
    std::condition_variable filled_;
    bool stopping_ = false;
    std::thread thread_;
};

}  // namespace desktop
