#include <gtest/gtest.h>

#include <atomic>
#include <condition_variable>
#include <future>
#include <mutex>
#include <vector>

#include "platform/linux/OTThreadScheduler.h"

namespace corvane {

using namespace std::chrono_literals;

TEST(OTThreadScheduler, SerialQueuesKeepOrderAndSyncWaitsForEarlierWork) {
    auto scheduler = std::make_shared<OTThreadScheduler>();
    auto queue = scheduler->queue("com.OT.eventData");
    std::vector<int> order;  // touched only on the serial queue, then read after a sync
    for (int i = 0; i < 200; ++i) queue->async([&order, i] { order.push_back(i); });
    queue->sync([&] { order.push_back(-1); });
    ASSERT_EQ(order.size(), 201u);
    for (int i = 0; i < 200; ++i) EXPECT_EQ(order[static_cast<std::size_t>(i)], i);
    EXPECT_EQ(order.back(), -1);

    // Sync onto the queue from its own work runs in place.
    std::promise<bool> nested;
    queue->async([&] {
        bool ran = false;
        queue->sync([&] { ran = queue->isCurrent(); });
        nested.set_value(ran);
    });
    EXPECT_TRUE(nested.get_future().get());
    scheduler->shutdown();
}

TEST(OTThreadScheduler, MainQueueRunsOnTheMainLoopAndDelayedWorkWaitsItsTurn) {
    auto scheduler = std::make_shared<OTThreadScheduler>();
    auto main = scheduler->mainQueue();
    auto worker = scheduler->queue("worker");
    EXPECT_TRUE(main->isCurrent());

    std::atomic<int> step{0};
    std::atomic<bool> workerSawMain{true};
    worker->async([&] {
        workerSawMain = main->isCurrent();
        // A worker syncing onto main waits until the main loop runs it.
        main->sync([&] { step = 1; });
        main->after(20ms, [&] { step = 2; });
    });
    EXPECT_TRUE(scheduler->runMainLoopUntil([&] { return step.load() == 2; }, 10s));
    EXPECT_FALSE(workerSawMain.load());
    EXPECT_EQ(scheduler->drainMainQueue(), 0u);
    scheduler->shutdown();
    // After shutdown, new work is dropped and the loop returns at once.
    main->async([&] { step = 3; });
    EXPECT_FALSE(scheduler->runMainLoopUntil([&] { return step.load() == 3; }, 50ms));
}

TEST(OTThreadScheduler, ConcurrentQueuesRunWorkAndStopCleanly) {
    auto scheduler = std::make_shared<OTThreadScheduler>();
    auto pool = scheduler->queue("cn.com.OT.imageDiskCache", true);
    EXPECT_TRUE(pool->isConcurrent());
    std::atomic<int> done{0};
    std::promise<void> all;
    for (int i = 0; i < 100; ++i) {
        pool->async([&] {
            if (++done == 100) all.set_value();
        });
    }
    all.get_future().wait();
    EXPECT_EQ(done.load(), 100);
    // Work that stops the scheduler from inside a queue does not dead-lock.
    std::promise<void> stopped;
    pool->async([&] {
        scheduler->shutdown();
        stopped.set_value();
    });
    stopped.get_future().wait();
}

TEST(OTThreadScheduler, TheWakerCallsTheHostOnceForDueWorkAndTheMainThreadCanChangeHands) {
    auto scheduler = std::make_shared<OTThreadScheduler>();
    auto main = scheduler->mainQueue();
    std::mutex mutex;
    std::condition_variable woke;
    int wakes = 0;
    const auto waitForWake = [&](int count) {
        std::unique_lock lock(mutex);
        return woke.wait_for(lock, 10s, [&] { return wakes >= count; });
    };
    // Work already due wakes the host as soon as a waker is set.
    std::vector<int> ran;
    main->async([&] { ran.push_back(1); });
    scheduler->setMainQueueWaker([&] {
        std::lock_guard lock(mutex);
        ++wakes;
        woke.notify_all();
    });
    ASSERT_TRUE(waitForWake(1));
    // More work before the host drains wakes nobody again.
    main->async([&] { ran.push_back(2); });
    main->async([&] { ran.push_back(3); });
    EXPECT_EQ(scheduler->drainMainQueue(), 3u);
    EXPECT_EQ(ran, (std::vector<int>{1, 2, 3}));

    // Delayed work wakes the host when it falls due, not before.
    const auto posted = std::chrono::steady_clock::now();
    main->after(60ms, [&] { ran.push_back(4); });
    ASSERT_TRUE(waitForWake(2));
    EXPECT_GE(std::chrono::steady_clock::now() - posted, 60ms);
    EXPECT_EQ(scheduler->drainMainQueue(), 1u);
    // Work posted by a worker wakes it too; a waker taken away is not called again.
    scheduler->queue("worker")->async([&] { main->async([&] { ran.push_back(5); }); });
    ASSERT_TRUE(waitForWake(3));
    scheduler->setMainQueueWaker(nullptr);
    EXPECT_EQ(scheduler->drainMainQueue(), 1u);
    // Another thread that adopts the role runs the main queue; this one then runs nothing.
    main->async([&] { ran.push_back(6); });
    std::thread([&] {
        scheduler->adoptMainThread();
        EXPECT_TRUE(main->isCurrent());
        EXPECT_EQ(scheduler->drainMainQueue(), 1u);
    }).join();
    EXPECT_FALSE(scheduler->isMainThread());
    main->async([] {});
    EXPECT_EQ(scheduler->drainMainQueue(), 0u);
    scheduler->shutdown();
    std::lock_guard lock(mutex);
    EXPECT_EQ(wakes, 3);
    EXPECT_EQ(ran, (std::vector<int>{1, 2, 3, 4, 5, 6}));
}

}  // namespace corvane
