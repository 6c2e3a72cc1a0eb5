// What both ends of the transport have in common: the socket, the lock, the threads, and the queue
// of what is to be delivered.
#pragma once

#include <array>
#include <boost/circular_buffer.hpp>
#include <cstddef>
#include <cstdint>
#include <mutex>
#include <span>
#include <thread>
#include <vector>

#include "Address.h"
#include "Alarm.h"
#include "bytes.h"
#include "Datagram.h"
#include "desktop/Limits.h"
#include "frame/message_meta.h"
#include "MalformedLog.h"
#include "Payload.h"
#include "TimePoint.h"
#include "UdpSocket.h"

namespace desktop {

/// Something to be told on the delivery thread.
struct Delivery {
    enum class Event : std::uint8_t {
        kMessage,
        kConnected,
        kConnectionFailed,
        kDisconnected,
        kClientGone,
    };

    Event event = Event::kMessage;
    int error = 0;
    frame::TransportInfo peer{};  ///< whom it came from or is about
    Bytes message;                ///< from the message header on
};

/// Two threads share the work:
/// - The delivery thread waits for datagrams, takes them in, and runs the receivers by itself, so
///   that a message wakes one thread.
/// - The transport thread keeps time: it sends what is due. When a receiver runs for long, or
///   somebody waits for what only a datagram can bring, it looks after the socket meanwhile.
///   It never runs anybody else's code, so that nothing a receiver does can hold it up.
///
/// The one lock guards all of an end's state. It is held neither while datagrams are sent, nor
/// while a receiver runs.
class Endpoint {
public:
    using Lock = std::unique_lock<std::mutex>;

    /// What an end makes of it. All but deliver() are called with the lock held. What they throw
    /// for lack of memory costs the datagram that it happened with, and no more.
    class Protocol {
    public:
        /// @param message  what follows the header of a kData datagram
        virtual void receive(DatagramHeader const& header, std::span<std::uint8_t const> message,
                             Address const& from, TimePoint now) = 0;

        /// @return what is wrong with a kind of datagram at this end, or null
        virtual char const* refuse(Kind kind) const = 0;

        /// Nobody listens at a peer's address.
        virtual void peerIsMissing(Address const& peer, TimePoint now) = 0;

        /// Sends what is due.
        /// @return when there is something to do again
        virtual TimePoint serve(TimePoint now) = 0;

        /// Something leaves the queue.
        /// @return whether it is to be delivered
        virtual bool take(Delivery const& delivery, TimePoint now) = 0;

        /// Tells it to whom it is for. On the delivery thread.
        virtual void deliver(Delivery& delivery) = 0;

    protected:
        ~Protocol() = default;
    };

    /// @throws std::system_error when the address cannot be used or the system has no socket left
    Endpoint(UdpSocket::Role role, Address const& address, Limits const& limits,
             Protocol& protocol);
    /// Ends both threads; waits for a running receiver.
    ~Endpoint();
    Endpoint(Endpoint const&) = delete;
    Endpoint& operator=(Endpoint const&) = delete;

    /// @throws std::system_error when there is no thread to be had
    void start();

    Lock lock() { return Lock(mutex_); }
    Limits const& limits() const { return limits_; }
    MalformedLog& malformed() { return malformed_; }

    // With the lock held:

    /// Puts a datagram among those to be sent. One that there is no memory for is lost like any
    /// other.
    void send(DatagramHeader const& header, Payload payload, Address const& to) noexcept;

    /// Sends them. Gives up the lock meanwhile, so that it comes last; when another thread is
    /// sending, that one sends these, too.
    void transmit(Lock& lock);

    /// Makes room for a delivery of so many bytes.
    /// @throws std::bad_alloc
    void reserve(std::size_t size);

    /// Queues a delivery for which there is room.
    void push(Delivery::Event event, int error, frame::TransportInfo const& peer,
              std::span<std::uint8_t const> message = {}) noexcept;

    /// Sees to it that the protocol serves by then.
    void serveBy(TimePoint when);

    /// Has datagrams taken in even if a receiver is running: somebody waits for one.
    void awaitDatagrams();

    /// Since when a receiver has been running, if one is.
    TimePoint const* deliveringSince() const { return delivering_ ? &deliveringSince_ : nullptr; }
    Delivery const& delivering() const { return current_; }

    // Without it:

    /// Takes in and sends nothing any more. A running receiver may go on.
    void close();

    /// Waits for the running receiver. What is queued behind it is dropped.
    void join();

private:
    struct Outgoing {
        std::array<std::uint8_t, kHeaderSize> header;
        Payload payload;
        Address to;
    };
    template <class Action>
    class Finally;

    template <class Work>
    void attempt(Work const& work);
    bool sendAll(std::span<Outgoing const> all) const;
    void takeRefusals(TimePoint now);
    void runDelivery();
    void runTransport();
    void receive(Lock& lock, DatagramBatch& batch, bool wait);
    void takeIn(std::span<std::uint8_t const> datagram, Address const& from, TimePoint now);
    void deliverNext(Lock& lock);
    void recycle() noexcept;
    void wakeDelivery();
    void serveAfter(TimePoint now, TimePoint next);
    bool standsIn(TimePoint now) const;

    Limits const limits_;
    Protocol& protocol_;
    UdpSocket socket_;
    Descriptor wakeUp_;  // of the delivery thread, from waiting for datagrams
    Alarm alarm_;
    MalformedLog malformed_;
    DatagramBatch deliveryBatch_{kMaxDatagram};
    DatagramBatch transportBatch_{kMaxDatagram};

    std::mutex mutex_;  // guards what follows
    bool stopping_ = false;
    TimePoint alarmAt_ = TimePoint::max();
    std::vector<Outgoing> outgoing_;
    std::vector<Outgoing> inTransit_;  // whose transmit() is at work, without the lock
    bool transmitting_ = false;
    boost::circular_buffer<Delivery> queue_;
    std::vector<Bytes> spare_;    // messages' buffers, to use again
    Delivery current_;            // of the delivery thread while delivering_
    bool deliveryWaits_ = false;  // for datagrams
    bool delivering_ = false;
    TimePoint deliveringSince_;
    TimePoint receivedAt_;
    bool datagramsAwaited_ = false;  // while delivering_
    bool deliveryEnded_ = false;

    std::thread delivery_;
    std::thread transport_;
};

}  // namespace desktop
