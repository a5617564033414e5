// Shared handle on a detached worker thread: the thread's record and its argument live until
// the last handle and the thread itself have let go. Owners poll finished(); nobody joins.
// A handle object belongs to one thread; copies of it may live on any thread.
#pragma once

#include <atomic>
#include <cstdint>
#include <pthread.h>

namespace sysman {

using ThreadEntry = int32_t (*)(void* argument);
using ThreadDeleter = void (*)(void* argument);

// Shape of pthread_create. Starts at pthread_create; tests may point it at a failing one.
using ThreadCreator = int (*)(pthread_t* thread, const pthread_attr_t* attributes,
                              void* (*body)(void*), void* argument);
extern std::atomic<ThreadCreator> createThread;

struct ThreadRecord {
    void* argument;
    ThreadDeleter deleter;
    ThreadEntry entry;
    int32_t result;
    std::atomic<bool> finished;
    pthread_mutex_t lock;
    uint32_t refCount;

    void initRecord();
    void addRef();
    // Returns whether references remain; frees nothing.
    bool dropRef();
    void disposeArgument();
};

class ThreadHandle {
  public:
    ThreadHandle() = default;
    ThreadHandle(const ThreadHandle& other);
    ThreadHandle& operator=(const ThreadHandle& other);
    ~ThreadHandle();

    // Starts entry(argument) on a detached thread with every signal blocked. A record the
    // handle already held is released first. On failure the handle is empty and the
    // argument stays the caller's; deleter (may be null) disposes of it otherwise.
    bool start(ThreadEntry entry, void* argument, ThreadDeleter deleter);
    void reset();
    bool finished() const;
    void waitFinished() const;
    int32_t join() const;
    void* argument() const;

  private:
    void release();

    ThreadRecord* record = nullptr;
};

} // namespace sysman
