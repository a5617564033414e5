// Thread handle: who disposes of the argument and when, failed creation, signal masks.
#include "sysman/thread_handle.h"

#include <gtest/gtest.h>

#include <atomic>
#include <csignal>

struct Work {
    std::atomic<int> deletions{0};
    sigset_t workerMask;
};

static int32_t recordMask(void* argument) {
    pthread_sigmask(SIG_SETMASK, nullptr, &static_cast<Work*>(argument)->workerMask);
    return 42;
}

static void countDeletion(void* argument) {
    ++static_cast<Work*>(argument)->deletions;
}

TEST(ThreadHandle, WorkerBlocksSignalsAndTheLastHolderDisposesOfTheArgumentOnce) {
    sigset_t mask;
    sigemptyset(&mask);
    sigaddset(&mask, SIGUSR1);
    pthread_sigmask(SIG_SETMASK, &mask, nullptr);
    Work work;
    sysman::ThreadHandle handle;
    ASSERT_TRUE(handle.start(recordMask, &work, countDeletion));
    pthread_sigmask(SIG_SETMASK, nullptr, &mask);
    sysman::ThreadHandle copy(handle);
    EXPECT_TRUE(copy.join() == 42 && work.deletions == 0);
    // A start lets go of the record the handle held, even when it fails; the failed start
    // leaves the handle empty and its argument to the caller.
    sysman::createThread = [](pthread_t*, const pthread_attr_t*, void* (*)(void*), void*) {
        return EAGAIN;
    };
    EXPECT_FALSE(handle.start(recordMask, &work, countDeletion));
    sysman::createThread = pthread_create;
    EXPECT_TRUE(handle.finished() && !handle.argument() && work.deletions == 0);
    // The last holder, the copy or the worker itself, disposes of the argument.
    copy.reset();
    while (work.deletions == 0)
        sched_yield();
    // With no argument there is nothing to dispose of.
    ASSERT_TRUE(handle.start([](void*) { return int32_t{0}; }, nullptr, countDeletion));
    // The standard signals and the first real-time ones; emulators cannot block the last.
    for (int signal = 1; signal <= SIGRTMIN + 4; ++signal) {
        if (signal == SIGKILL || signal == SIGSTOP || (signal > 31 && signal < SIGRTMIN))
            continue;
        EXPECT_TRUE(sigismember(&work.workerMask, signal) &&
                    sigismember(&mask, signal) == (signal == SIGUSR1))
            << signal;
    }
    EXPECT_TRUE(handle.join() == 0 && work.deletions == 1);
    pthread_sigmask(SIG_UNBLOCK, &mask, nullptr);
}
