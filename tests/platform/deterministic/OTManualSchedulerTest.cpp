#include <gtest/gtest.h>

#include <string>
#include <thread>
#include <vector>

#include "platform/deterministic/OTManualScheduler.h"

namespace corvane {

using namespace std::chrono_literals;

struct SchedulerFixture : ::testing::Test {
    std::shared_ptr<OTVirtualClock> clock = std::make_shared<OTVirtualClock>();
    std::shared_ptr<OTManualScheduler> scheduler = std::make_shared<OTManualScheduler>(clock);
    std::vector<std::string> trace;

    double secondsSinceStart() const {
        return std::chrono::duration<double>(clock->now() - OTVirtualClock::defaultStart()).count();
    }
};

TEST_F(SchedulerFixture, DueWorkRunsInTimeThenSubmissionOrderAcrossQueuesAtItsExactTime) {
    auto main = scheduler->mainQueue();
    auto events = scheduler->queue("com.OT.eventData");
    auto log = scheduler->queue("com.OT.userlog");
    auto stamp = [&](const std::string& name) {
        return [&, name] { trace.push_back(name + "@" + std::to_string(secondsSinceStart())); };
    };
    events->after(2s, stamp("events-2s"));
    main->after(1s, stamp("main-1s"));
    log->async(stamp("log-now"));
    main->async(stamp("main-now"));
    events->after(1s, stamp("events-1s"));

    EXPECT_EQ(scheduler->pendingCount(), 5u);
    EXPECT_EQ(scheduler->runUntilIdle(), 2u);
    EXPECT_EQ(trace, (std::vector<std::string>{"log-now@0.000000", "main-now@0.000000"}));

    EXPECT_EQ(scheduler->advance(1500ms), 2u);
    EXPECT_EQ(trace[2], "main-1s@1.000000");
    EXPECT_EQ(trace[3], "events-1s@1.000000");
    EXPECT_DOUBLE_EQ(secondsSinceStart(), 1.5);

    // Not due until 2 s: moving to 1.999 s runs nothing.
    EXPECT_EQ(scheduler->advance(499ms), 0u);
    EXPECT_EQ(scheduler->advance(1ms), 1u);
    EXPECT_EQ(trace.back(), "events-2s@2.000000");
    EXPECT_EQ(scheduler->pendingCount(), 0u);
}

TEST_F(SchedulerFixture, WorkScheduledFromInsideWorkRunsInTheSameDrainOrAtItsOwnTime) {
    auto main = scheduler->mainQueue();
    auto queue = scheduler->queue("cn.com.OT.asyncTask");
    main->async([&] {
        trace.push_back("outer");
        queue->async([&] {
            trace.push_back("inner-now");
            main->after(7200s, [&] { trace.push_back("inner-later@" + std::to_string(secondsSinceStart())); });
        });
    });
    scheduler->runUntilIdle();
    EXPECT_EQ(trace, (std::vector<std::string>{"outer", "inner-now"}));
    ASSERT_TRUE(scheduler->nextDueTime().has_value());
    EXPECT_EQ(*scheduler->nextDueTime(), OTVirtualClock::defaultStart() + 7200s);

    scheduler->advance(7199s);
    EXPECT_EQ(trace.size(), 2u);
    scheduler->advance(1s);
    EXPECT_EQ(trace.back(), "inner-later@7200.000000");
}

TEST_F(SchedulerFixture, SyncRunsInPlaceOnTheCurrentQueueAndAfterEarlierWorkOnAnother) {
    auto main = scheduler->mainQueue();
    auto events = scheduler->queue("com.OT.eventData");

    // The driving thread outside any work is the main thread: sync onto main runs in place.
    EXPECT_TRUE(main->isCurrent());
    EXPECT_FALSE(events->isCurrent());
    main->sync([&] { trace.push_back("main-sync"); });

    events->async([&] { trace.push_back("events-earlier"); });
    events->async([&] {
        EXPECT_TRUE(events->isCurrent());
        EXPECT_FALSE(main->isCurrent());
        // Sync onto the queue we are on would dead-lock on a real queue; it runs in place.
        events->sync([&] { trace.push_back("events-nested-sync"); });
        main->async([&] { trace.push_back("main-posted"); });
        // A sync onto main first finishes what main already had.
        main->sync([&] {
            EXPECT_TRUE(main->isCurrent());
            trace.push_back("main-sync-from-events");
        });
    });
    // A sync onto a serial queue waits for what was submitted before it.
    events->sync([&] { trace.push_back("events-sync"); });

    EXPECT_EQ(trace, (std::vector<std::string>{"main-sync", "events-earlier", "events-nested-sync", "main-posted",
                                               "main-sync-from-events", "events-sync"}));
    EXPECT_EQ(scheduler->pendingCount(), 0u);
}

TEST_F(SchedulerFixture, WorkFromAnotherThreadWaitsForTheDriverAndSyncBlocksUntilRun) {
    auto main = scheduler->mainQueue();
    bool posted = false;
    bool synced = false;
    std::thread http([&] {
        EXPECT_FALSE(main->isCurrent());
        main->async([&] { posted = true; });
        main->sync([&] {
            EXPECT_TRUE(main->isCurrent());
            synced = true;
        });
    });
    EXPECT_TRUE(scheduler->runUntil([&] { return posted && synced; }, 10s));
    http.join();
    EXPECT_TRUE(posted);
    EXPECT_TRUE(synced);
    EXPECT_FALSE(scheduler->runUntil([] { return false; }, 1ms));
}

TEST_F(SchedulerFixture, ThrowingWorkIsDroppedAndShutdownDiscardsPendingWork) {
    auto queue = scheduler->queue("q");
    EXPECT_EQ(queue, scheduler->queue("q"));
    EXPECT_EQ(scheduler->queue(OTScheduler::kMainQueueLabel), scheduler->mainQueue());
    queue->async([] { throw std::runtime_error("boom"); });
    queue->async([&] { trace.push_back("after-throw"); });
    queue->after(-5s, [&] { trace.push_back("negative-delay-is-now"); });
    scheduler->runUntilIdle();
    EXPECT_EQ(trace, (std::vector<std::string>{"after-throw", "negative-delay-is-now"}));

    queue->after(1s, [&] { trace.push_back("never"); });
    scheduler->shutdown();
    queue->async([&] { trace.push_back("never either"); });
    scheduler->advance(10s);
    EXPECT_EQ(trace.size(), 2u);
    EXPECT_EQ(scheduler->pendingCount(), 0u);
}

TEST_F(SchedulerFixture, ASelfFeedingChainOfImmediateWorkDoesNotHang) {
    auto queue = scheduler->queue("loop");
    std::function<void()> again = [&] { queue->async(again); };
    queue->async(again);
    EXPECT_EQ(scheduler->runUntilIdle(), 100'000u);
    scheduler->shutdown();
}

}  // namespace corvane
