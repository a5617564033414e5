// Detached worker threads behind reference-counted handles.
#include "sysman/thread_handle.h"

#include <csignal>
#include <new>

namespace sysman {

std::atomic<ThreadCreator> createThread{pthread_create};

namespace {

// Drops one reference; the last holder disposes of the argument and frees the record.
void letGo(ThreadRecord* record) {
    if (record->dropRef())
        return;
    record->disposeArgument();
    pthread_mutex_destroy(&record->lock);
    delete record;
}

void* threadBody(void* argument) {
    auto* record = static_cast<ThreadRecord*>(argument);
    pthread_detach(pthread_self());
    record->result = record->entry(record->argument);
    record->finished.store(true, std::memory_order_release);
    letGo(record);
    return nullptr;
}

} // namespace

void ThreadRecord::initRecord() {
    finished.store(false, std::memory_order_relaxed);
    refCount = 0;
    result = -1;
    argument = nullptr;
    deleter = nullptr;
    entry = nullptr;
    pthread_mutex_init(&lock, nullptr);
}

void ThreadRecord::addRef() {
    pthread_mutex_lock(&lock);
    ++refCount;
    pthread_mutex_unlock(&lock);
}

bool ThreadRecord::dropRef() {
    pthread_mutex_lock(&lock);
    bool remaining = --refCount > 0;
    pthread_mutex_unlock(&lock);
    return remaining;
}

void ThreadRecord::disposeArgument() {
    if (argument && deleter)
        deleter(argument);
}

ThreadHandle::ThreadHandle(const ThreadHandle& other) : record(other.record) {
    if (record)
        record->addRef();
}

ThreadHandle& ThreadHandle::operator=(const ThreadHandle& other) {
    if (other.record == record)
        return *this;
    reset();
    record = other.record;
    if (record)
        record->addRef();
    return *this;
}

ThreadHandle::~ThreadHandle() {
    release();
}

void ThreadHandle::release() {
    if (record)
        letGo(record);
}

void ThreadHandle::reset() {
    release();
    record = nullptr;
}

bool ThreadHandle::start(ThreadEntry entry, void* argument, ThreadDeleter deleter) {
    reset();
    auto* created = new ThreadRecord;
    created->initRecord();
    created->addRef();
    created->argument = argument;
    created->deleter = deleter;
    created->entry = entry;
    record = created;
    created->addRef();

    // The worker inherits a full mask, so asynchronous signals go to the other threads.
    sigset_t all;
    sigset_t previous;
    sigfillset(&all);
    pthread_sigmask(SIG_SETMASK, &all, &previous);
    pthread_t thread;
    int failed = createThread.load()(&thread, nullptr, threadBody, created);
    pthread_sigmask(SIG_SETMASK, &previous, nullptr);
    if (!failed)
        return true;

    // The argument was never used and stays the caller's.
    (void)created->dropRef();
    (void)created->dropRef();
    pthread_mutex_destroy(&created->lock);
    delete created;
    record = nullptr;
    return false;
}

bool ThreadHandle::finished() const {
    return !record || record->finished.load(std::memory_order_acquire);
}

void ThreadHandle::waitFinished() const {
    while (!finished()) {
    }
}

int32_t ThreadHandle::join() const {
    if (!record)
        return -1;
    waitFinished();
    return record->result;
}

void* ThreadHandle::argument() const {
    return record ? record->argument : nullptr;
}

} // namespace sysman
