#pragma once

#include <sys/eventfd.h>
#include <unistd.h>

#include <cerrno>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <mutex>
#include <optional>
#include <system_error>
#include <utility>

namespace sound::python {

/// Hands things over from the transport's delivery thread to Python. The delivery thread neither
/// waits for Python here nor touches anything of it: an interpreter that is busy, stopped or gone
/// holds nobody up.
template <class Item>
class Mailbox {
public:
    Mailbox() : descriptor_(eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)) {
        if (descriptor_ < 0) throw std::system_error(errno, std::generic_category(), "eventfd");
    }
    ~Mailbox() { ::close(descriptor_); }
    Mailbox(Mailbox const&) = delete;
    Mailbox& operator=(Mailbox const&) = delete;

    /// @param size  what the item takes of the room
    /// @param room  what all that wait may take
    /// @return false when the item finds no room, or the box is closed
    bool push(Item item, std::size_t size, std::size_t room) {
        std::lock_guard const lock(mutex_);
        if (closed_ || used_ + size > room) return false;
        if (items_.empty()) raise();
        items_.emplace_back(std::move(item), size);
        used_ += size;
        return true;
    }

    std::optional<Item> pop() {
        std::lock_guard const lock(mutex_);
        if (items_.empty()) return std::nullopt;
        auto [item, size] = std::move(items_.front());
        items_.pop_front();
        used_ -= size;
        if (items_.empty() && !closed_) lower();
        return std::move(item);
    }

    /// Takes nothing any more. What is in it can be popped.
    void close() {
        std::lock_guard const lock(mutex_);
        closed_ = true;
        raise();
    }

    bool isClosed() const {
        std::lock_guard const lock(mutex_);
        return closed_;
    }

    /// Can be read from whenever there is an item, or the box is closed.
    int descriptor() const { return descriptor_; }

private:
    void raise() { eventfd_write(descriptor_, 1); }
    void lower() {
        eventfd_t count = 0;
        eventfd_read(descriptor_, &count);
    }

    int const descriptor_;
    mutable std::mutex mutex_;
    // Under mutex_.
    std::deque<std::pair<Item, std::size_t>> items_;
    std::size_t used_ = 0;
    bool closed_ = false;
};

}  // namespace sound::python
