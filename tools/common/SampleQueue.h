#pragma once

#include <atomic>
#include <boost/lockfree/spsc_queue.hpp>
#include <cstddef>
#include <cstdint>

namespace tools {

/// Hands audio data over from the transport's delivery thread to the thread that writes it,
/// without a lock: the delivery thread never waits for the disk.
class SampleQueue {
public:
    SampleQueue();

    /// Takes no more than @p bytes in all. Delivery thread, before the first block.
    void limit(std::uint64_t bytes);

    /// Takes a block, as far as the limit allows. A block that finds no room is lost as a whole.
    /// Delivery thread.
    /// @return false when it was lost
    bool push(unsigned char const* data, std::size_t size);

    /// Counts a block that the service has announced, once it has been delivered or has failed
    /// to be. Delivery thread.
    void countAnnounced();

    /// Takes nothing any more.
    void close() { closed_ = true; }

    /// @return how many bytes there are. Writing thread.
    std::size_t available() const { return queue_.read_available(); }
    /// @return how many bytes were stored in @p data, at most @p size. Writing thread.
    std::size_t pop(unsigned char* data, std::size_t size) { return queue_.pop(data, size); }

    /// Says whether all that the limit allows has been taken.
    bool complete() const { return complete_; }
    /// Blocks that were taken.
    std::uint32_t taken() const { return taken_; }
    /// Blocks that the service has announced, whatever became of them.
    std::uint32_t announced() const { return announced_; }
    /// Blocks that were announced but not taken before the limit was reached.
    std::uint32_t lost() const { return lost_; }
    /// Those of the lost ones that found no room.
    std::uint32_t overruns() const { return overruns_; }

private:
    boost::lockfree::spsc_queue<unsigned char> queue_;
    // The next three belong to the delivery thread.
    bool limited_ = false;
    std::uint64_t room_ = 0;
    bool delivered_ = false;
    std::atomic<bool> closed_ = false;
    std::atomic<bool> complete_ = false;
    std::atomic<std::uint32_t> taken_ = 0;
    std::atomic<std::uint32_t> announced_ = 0;
    std::atomic<std::uint32_t> lost_ = 0;
    std::atomic<std::uint32_t> overruns_ = 0;
};

}  // namespace tools
