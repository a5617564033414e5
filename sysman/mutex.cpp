// Heap-allocated POSIX mutex; operation results are not examined.
#include "sysman/mutex.h"

namespace sysman {

Mutex::Mutex() : mutex(new pthread_mutex_t) {
    initInPlace(mutex);
}

Mutex::~Mutex() {
    if (!mutex)
        return;
    destroyInPlace(mutex);
    delete mutex;
}

void Mutex::lock() {
    (void)pthread_mutex_lock(mutex);
}

void Mutex::unlock() {
    (void)pthread_mutex_unlock(mutex);
}

bool Mutex::tryLock() {
    return pthread_mutex_trylock(mutex) == 0;
}

void Mutex::initInPlace(pthread_mutex_t* embedded) {
    (void)pthread_mutex_init(embedded, nullptr);
}

void Mutex::destroyInPlace(pthread_mutex_t* embedded) {
    (void)pthread_mutex_destroy(embedded);
}

} // namespace sysman
