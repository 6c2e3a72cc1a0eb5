#include "csp/ltGuard.h"

ltGuard::ltGuard(pthread_mutex_t* mutex) : mutex_(mutex) {
    pthread_mutex_lock(mutex_);
}

ltGuard::~ltGuard() {
    pthread_mutex_unlock(mutex_);
}
