#include <gtest/gtest.h>

#include <atomic>
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

}  // namespace corvane
