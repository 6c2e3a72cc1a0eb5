#include "IoThread.h"

#include <utility>

#include "threads.h"

namespace desktop {

IoThread::IoThread(UdpSocket& socket, std::mutex& mutex, Turn turn)
    : socket_(socket), mutex_(mutex), turn_(std::move(turn)) {}

IoThread::~IoThread() {
    stop();
}

void IoThread::start() {
    thread_ = startThread("transport", [this] { run(); });
}

void IoThread::dueBy(TimePoint when) {
    if (when >= sleepsUntil_) return;
    sleepsUntil_ = when;
    socket_.wake();
}

void IoThread::stop() {
    if (!thread_.joinable()) return;
    {
        std::lock_guard const lock(mutex_);
        stopping_ = true;
    }
    socket_.wake();
    thread_.join();
}

void IoThread::run() {
    std::unique_lock lock(mutex_);
    while (!stopping_) {
        auto const until = sleepsUntil_ = turn_();
        lock.unlock();
        socket_.wait(until);
        lock.lock();
    }
}

}  // namespace desktop
