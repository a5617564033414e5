// Thread handle: who disposes of the argument and when, failed creation, signal masks.
#include "sysman/thread_handle.h"

#include <gtest/gtest.h>

#include <atomic>
#include <csignal>
#include <filesystem>
#include <unistd.h>

namespace {

struct Work {
    std::atomic<bool> release{false};
    std::atomic<int> deletions{0};
    std::atomic<pid_t> worker{0};
    sigset_t workerMask;
};

int32_t waitForRelease(void* argument) {
    auto* work = static_cast<Work*>(argument);
    pthread_sigmask(SIG_SETMASK, nullptr, &work->workerMask);
    work->worker = gettid();
    while (!work->release)
        sched_yield();
    return 42;
}

void countDeletion(void* argument) {
    ++static_cast<Work*>(argument)->deletions;
}

TEST(ThreadHandle, WorkerBlocksSignalsAndTheLastHolderDisposesOfTheArgumentOnce) {
    for (bool handlesFirst : {true, false}) {
        SCOPED_TRACE(handlesFirst);
        sigset_t mask;
        sigemptyset(&mask);
        sigaddset(&mask, SIGUSR1);
        pthread_sigmask(SIG_SETMASK, &mask, nullptr);
        Work work;
        sysman::ThreadHandle handle;
        ASSERT_TRUE(handle.start(waitForRelease, &work, countDeletion));
        pthread_sigmask(SIG_SETMASK, nullptr, &mask);
        sysman::ThreadHandle copy;
        copy = sysman::ThreadHandle(handle);
        EXPECT_FALSE(copy.finished());
        if (handlesFirst)
            handle = copy = sysman::ThreadHandle();
        // Let the worker go and wait until it has ended, its own release of the record included.
        while (work.worker == 0)
            sched_yield();
        work.release = true;
        while (std::filesystem::exists("/proc/self/task/" + std::to_string(work.worker)))
            sched_yield();
        EXPECT_EQ(work.deletions, handlesFirst ? 1 : 0);
        EXPECT_EQ(copy.join(), handlesFirst ? -1 : 42);
        // A start lets go of the record the handle held, even when it fails; the failed start
        // leaves the handle empty and its argument to the caller.
        sysman::createThread = [](pthread_t*, const pthread_attr_t*, void* (*)(void*), void*) {
            return EAGAIN;
        };
        EXPECT_FALSE(handle.start(waitForRelease, &work, countDeletion));
        sysman::createThread = pthread_create;
        EXPECT_TRUE(handle.finished() && !handle.argument() && work.deletions == handlesFirst);
        copy.reset();
        EXPECT_EQ(work.deletions, 1);
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
        pthread_sigmask(SIG_UNBLOCK, &mask, nullptr);
    }
}

} // namespace
