// Thread handle: who disposes of the argument and when, failed creation, signal masks.
#include "sysman/thread_handle.h"

#include <gtest/gtest.h>

#include <atomic>
#include <csignal>
#include <pthread.h>

namespace {

struct Work {
    std::atomic<bool> release{false};
    std::atomic<int> deletions{0};
    sigset_t workerMask;
};

int32_t waitForRelease(void* argument) {
    auto* work = static_cast<Work*>(argument);
    pthread_sigmask(SIG_SETMASK, nullptr, &work->workerMask);
    while (!work->release.load())
        sched_yield();
    return 42;
}

void countDeletion(void* argument) {
    static_cast<Work*>(argument)->deletions.fetch_add(1);
}

// Starts the thread body through a trampoline that notes when the body, and with it the
// worker's own release of the record, is over.
std::atomic<bool> workerLetGo{false};

struct Trampoline {
    void* (*body)(void*);
    void* argument;
};

void* runTrampoline(void* argument) {
    Trampoline trampoline = *static_cast<Trampoline*>(argument);
    delete static_cast<Trampoline*>(argument);
    trampoline.body(trampoline.argument);
    workerLetGo = true;
    return nullptr;
}

int trackingCreate(pthread_t* thread, const pthread_attr_t* attributes, void* (*body)(void*),
                   void* argument) {
    return pthread_create(thread, attributes, runTrampoline, new Trampoline{body, argument});
}

int failingCreate(pthread_t*, const pthread_attr_t*, void* (*)(void*), void*) {
    return EAGAIN;
}

TEST(ThreadHandle, EmptyHandleIsFinished) {
    sysman::ThreadHandle handle;
    EXPECT_TRUE(handle.finished());
    EXPECT_EQ(handle.join(), -1);
    EXPECT_EQ(handle.argument(), nullptr);
}

TEST(ThreadHandle, HandleReleasedFirstLeavesDeletionToWorker) {
    Work work;
    {
        sysman::ThreadHandle handle;
        ASSERT_TRUE(handle.start(waitForRelease, &work, countDeletion));
        sysman::ThreadHandle copy = handle;
        EXPECT_FALSE(copy.finished());
    }
    EXPECT_EQ(work.deletions.load(), 0);
    work.release = true;
    while (work.deletions.load() == 0)
        sched_yield();
    EXPECT_EQ(work.deletions.load(), 1);
}

TEST(ThreadHandle, WorkerEndingFirstLeavesDeletionToLastHandle) {
    Work work;
    sysman::ThreadHandle handle;
    workerLetGo = false;
    sysman::createThread = trackingCreate;
    ASSERT_TRUE(handle.start(waitForRelease, &work, countDeletion));
    sysman::createThread = pthread_create;
    sysman::ThreadHandle copy;
    copy = handle;
    sysman::ThreadHandle& same = copy;
    copy = same;
    work.release = true;
    EXPECT_EQ(handle.join(), 42);
    EXPECT_TRUE(copy.finished());
    while (!workerLetGo)
        sched_yield();
    EXPECT_EQ(work.deletions.load(), 0);
    handle.reset();
    EXPECT_EQ(work.deletions.load(), 0);
    copy.reset();
    EXPECT_EQ(work.deletions.load(), 1);
}

TEST(ThreadHandle, RestartReleasesPreviousRecord) {
    Work first;
    Work second;
    sysman::ThreadHandle handle;
    ASSERT_TRUE(handle.start(waitForRelease, &first, countDeletion));
    first.release = true;
    handle.waitFinished();
    ASSERT_TRUE(handle.start(waitForRelease, &second, countDeletion));
    EXPECT_EQ(handle.argument(), &second);
    while (first.deletions.load() == 0)
        sched_yield();
    second.release = true;
    handle.reset();
    while (second.deletions.load() == 0)
        sched_yield();
    EXPECT_EQ(first.deletions.load(), 1);
    EXPECT_EQ(second.deletions.load(), 1);
}

TEST(ThreadHandle, FailedCreationLeavesArgumentWithCaller) {
    Work work;
    sysman::ThreadHandle handle;
    sysman::createThread = failingCreate;
    bool started = handle.start(waitForRelease, &work, countDeletion);
    sysman::createThread = pthread_create;
    EXPECT_FALSE(started);
    EXPECT_TRUE(handle.finished());
    EXPECT_EQ(handle.argument(), nullptr);
    EXPECT_EQ(work.deletions.load(), 0);
}

TEST(ThreadHandle, WorkerBlocksEverySignalAndCallerMaskIsKept) {
    sigset_t before;
    sigset_t after;
    sigemptyset(&before);
    sigaddset(&before, SIGUSR1);
    pthread_sigmask(SIG_SETMASK, &before, nullptr);
    Work work;
    sysman::ThreadHandle handle;
    ASSERT_TRUE(handle.start(waitForRelease, &work, nullptr));
    pthread_sigmask(SIG_SETMASK, nullptr, &after);
    work.release = true;
    handle.waitFinished();
    sigset_t full; // every signal a thread can block: the C library keeps a few for itself
    sigfillset(&full);
    sigdelset(&full, SIGKILL);
    sigdelset(&full, SIGSTOP);
    for (int signal = 1; signal < NSIG; ++signal) {
        if (sigismember(&full, signal) == 1) {
            EXPECT_EQ(sigismember(&work.workerMask, signal), 1) << signal;
        }
        EXPECT_EQ(sigismember(&after, signal), sigismember(&before, signal)) << signal;
    }
    sigemptyset(&before);
    pthread_sigmask(SIG_SETMASK, &before, nullptr);
}

} // namespace
