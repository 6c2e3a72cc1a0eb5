#include "Payload.h"

#include <array>
#include <mutex>

namespace desktop {

namespace {

/// Keeps as many buffers as are in use at a time, within reason.
class Spares {
public:
    PayloadBuffer* take() {
        std::lock_guard const lock(mutex_);
        return count_ > 0 ? buffers_[--count_] : nullptr;
    }

    bool keep(PayloadBuffer* buffer) {
        constexpr std::size_t kLargest = 4096;
        if (buffer->bytes.capacity() > kLargest) return false;
        std::lock_guard const lock(mutex_);
        if (count_ == buffers_.size()) return false;
        buffers_[count_++] = buffer;
        return true;
    }

private:
    std::mutex mutex_;
    std::array<PayloadBuffer*, 64> buffers_{};
    std::size_t count_ = 0;
};

// Never destroyed: threads may send while the process ends.
Spares& spares() {
    static auto* const spares = new Spares;
    return *spares;
}

}  // namespace

boost::intrusive_ptr<PayloadBuffer> newPayload() {
    auto* buffer = spares().take();
    return buffer != nullptr ? buffer : new PayloadBuffer;
}

void intrusive_ptr_add_ref(PayloadBuffer const* buffer) {
    buffer->references.fetch_add(1, std::memory_order_relaxed);
}

void intrusive_ptr_release(PayloadBuffer const* buffer) {
    if (buffer->references.fetch_sub(1, std::memory_order_acq_rel) > 1) return;
    // Nobody shares it any more.
    auto* const unshared = const_cast<PayloadBuffer*>(buffer);
    unshared->bytes.clear();
    if (!spares().keep(unshared)) delete unshared;
}

}  // namespace desktop
