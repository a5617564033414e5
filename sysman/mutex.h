// Non-recursive mutex allocated on the heap behind a one-word holder. Used by the player
// process to guard pipeline handles shared between its main and worker threads.
#pragma once

#include <pthread.h>

namespace sysman {

class Mutex {
  public:
    Mutex();
    ~Mutex();
    Mutex(const Mutex&) = delete;
    Mutex& operator=(const Mutex&) = delete;

    void lock();
    void unlock();
    bool tryLock();

    // For a mutex the caller embeds instead of holding a Mutex.
    static void initInPlace(pthread_mutex_t* embedded);
    static void destroyInPlace(pthread_mutex_t* embedded);

  private:
    pthread_mutex_t* mutex;
};

// Holds a Mutex for the life of a scope.
class MutexLock {
  public:
    explicit MutexLock(Mutex& held) : mutex(held) { mutex.lock(); }
    ~MutexLock() { mutex.unlock(); }
    MutexLock(const MutexLock&) = delete;
    MutexLock& operator=(const MutexLock&) = delete;

  private:
    Mutex& mutex;
};

} // namespace sysman
