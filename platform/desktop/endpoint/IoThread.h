// The thread that keeps a transport going: receives, acknowledges, repeats.
#pragma once

#include <functional>
#include <mutex>
#include <thread>

#include "TimePoint.h"
#include "UdpSocket.h"

namespace desktop {

/// Runs its owner's turn whenever a datagram has come or a deadline has passed. It never runs
/// anybody else's code, so that nothing a receiver does can hold it up.
class IoThread {
public:
    /// Receives and sends what is due.
    /// @return when the next turn is due without a datagram
    using Turn = std::function<TimePoint()>;

    /// Does nothing before start().
    /// @param mutex  held during each turn
    IoThread(UdpSocket& socket, std::mutex& mutex, Turn turn);
    ~IoThread();
    IoThread(IoThread const&) = delete;
    IoThread& operator=(IoThread const&) = delete;

    void start();

    /// Sees to it that a turn is due at that time. Call with the mutex held.
    void dueBy(TimePoint when);

    /// Waits for the thread to end. Call without the mutex.
    void stop();

private:
    void run();

    UdpSocket& socket_;
    std::mutex& mutex_;
    Turn turn_;
    TimePoint sleepsUntil_;
    bool stopping_ = false;
    std::thread thread_;
};

}  // namespace desktop
