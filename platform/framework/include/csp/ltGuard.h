/// @file
/// The platform's scoped lock.
#pragma once

#include <pthread.h>

/// Locks a mutex for as long as the guard lives.
class ltGuard {
public:
    /// @param mutex  not null; must outlive the guard and not be held by this thread already
    explicit ltGuard(pthread_mutex_t* mutex);
    ~ltGuard();
    ltGuard(ltGuard const&) = delete;
    ltGuard& operator=(ltGuard const&) = delete;

private:
    pthread_mutex_t* mutex_;
};
