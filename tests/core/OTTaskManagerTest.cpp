#include <gtest/gtest.h>

#include "core/OTDispatchQueueManager.h"
#include "core/OTTaskManager.h"
#include "core/OTTimer.h"
#include "support/OTTestEnvironment.h"

namespace corvane {

using namespace std::chrono_literals;

TEST(OTTaskManager, ATrueConditionRunsAtOnceWithoutChecks) {
    OTTestEnvironment test;
    int ran = 0;
    auto task = OTTask::taskWithCondition([] { return true; }, [&] { ++ran; });
    OTTaskManager::manager()->addTask(task);
    EXPECT_EQ(ran, 1);
    EXPECT_FALSE(task->isChecking());
    EXPECT_TRUE(OTTaskManager::manager()->pendingTasks().empty());
    EXPECT_EQ(test.scheduler().pendingCount(), 0u);
    // No condition at all also runs at once.
    OTTaskManager::manager()->addTask(OTTask::taskWithCondition(nullptr, [&] { ++ran; }));
    EXPECT_EQ(ran, 2);
}

TEST(OTTaskManager, ChecksRunEachIntervalUntilTheConditionHoldsOrTimeRunsOut) {
    OTTestEnvironment test;
    EXPECT_EQ(OTTask::taskWithCondition(nullptr, nullptr, 0, 5)->timeInterval(), 1);
    EXPECT_EQ(OTTask::taskWithCondition(nullptr, nullptr, 0, 5)->maxCount(), 5u);
    EXPECT_EQ(OTTask::taskWithCondition(nullptr, nullptr, 2, 5)->maxCount(), 2u);

    bool ready = false;
    int evaluations = 0;
    int ran = 0;
    auto task = OTTask::taskWithCondition(
        [&] {
            ++evaluations;
            return ready;
        },
        [&] { ++ran; });
    OTTaskManager::manager()->addTask(task);
    EXPECT_EQ(evaluations, 2);  // the add's own test, then the first check at once
    test.scheduler().advance(999ms);
    EXPECT_EQ(evaluations, 2);
    test.scheduler().advance(1ms);
    EXPECT_EQ(evaluations, 3);
    ready = true;
    test.scheduler().advance(1s);
    EXPECT_EQ(ran, 1);
    EXPECT_FALSE(task->isChecking());
    EXPECT_TRUE(OTTaskManager::manager()->pendingTasks().empty());
    test.scheduler().advance(10s);
    EXPECT_EQ(evaluations, 4);

    // The default time-out: 59 checks in all, then silence; the task stays pending.
    evaluations = 0;
    auto never = OTTask::taskWithCondition(
        [&] {
            ++evaluations;
            return false;
        },
        [&] { ++ran; });
    never->setTaskId("uploadPushToken");
    OTTaskManager::manager()->addTask(never);
    test.scheduler().advance(60s);
    EXPECT_EQ(evaluations, 1 + 59);
    EXPECT_FALSE(never->isChecking());
    test.scheduler().advance(600s);
    EXPECT_EQ(evaluations, 60);
    EXPECT_EQ(ran, 1);
    ASSERT_EQ(OTTaskManager::manager()->pendingTasks().size(), 1u);
    // Its id still blocks a new task of the same id.
    auto again = OTTask::taskWithCondition([] { return true; }, [&] { ++ran; });
    again->setTaskId("uploadPushToken");
    OTTaskManager::manager()->addTask(again);
    EXPECT_EQ(ran, 1);
}

TEST(OTTaskManager, AtMostTenWaitAndAnIdWaitsOnce) {
    OTTestEnvironment test;
    auto manager = OTTaskManager::manager();
    int ran = 0;
    std::vector<std::shared_ptr<OTTask>> tasks;
    for (int i = 0; i < 11; ++i) {
        tasks.push_back(OTTask::taskWithCondition([] { return false; }, [&] { ++ran; }));
        manager->addTask(tasks.back());
    }
    EXPECT_EQ(manager->pendingTasks().size(), 10u);
    EXPECT_FALSE(tasks[10]->isChecking());  // the eleventh was dropped before its checks
    manager->addTask(tasks[0]);
    EXPECT_EQ(manager->pendingTasks().size(), 10u);
    manager->removeTask(tasks[0]);
    manager->removeAllTasks();
    EXPECT_EQ(manager->pendingTasks().size(), 10u);  // removal is not offered
    manager->doTask(tasks[3]);
    EXPECT_EQ(ran, 1);
    EXPECT_EQ(manager->pendingTasks().size(), 9u);
    manager->addTask(nullptr);
    // Tasks without an id never block each other.
    auto a = OTTask::taskWithCondition([] { return false; }, nullptr);
    manager->addTask(a);
    EXPECT_EQ(manager->pendingTasks().size(), 10u);
}

namespace {
struct Ticker {
    int ticks = 0;
    void tick(OTTimer&) { ++ticks; }
};
}  // namespace

TEST(OTTimer, FiresOnTheMainQueueAndHoldsItsTargetWeakly) {
    OTTestEnvironment test;
    auto once = std::make_shared<Ticker>();
    auto single = OTTimer::timerWithTimeInterval(test.scheduler().mainQueue(), 2.0, once, &Ticker::tick, false);
    EXPECT_TRUE(single->isValid());
    EXPECT_FALSE(single->repeats());
    EXPECT_EQ(single->timeInterval(), 2.0);
    test.scheduler().advance(1999ms);
    EXPECT_EQ(once->ticks, 0);
    test.scheduler().advance(1ms);
    EXPECT_EQ(once->ticks, 1);
    EXPECT_FALSE(single->isValid());
    test.scheduler().advance(10s);
    EXPECT_EQ(once->ticks, 1);

    auto repeating = std::make_shared<Ticker>();
    auto timer = OTTimer::initWithFireTime(test.scheduler().mainQueue(), 0.5, 1.0, repeating, &Ticker::tick, true);
    test.scheduler().advance(2500ms);
    EXPECT_EQ(repeating->ticks, 3);  // at 0.5, 1.5 and 2.5 s
    repeating.reset();
    test.scheduler().advance(1s);
    EXPECT_FALSE(timer->isValid());  // the target went away: invalid at the next firing

    // A timer nobody keeps stops by itself.
    auto orphanTarget = std::make_shared<Ticker>();
    OTTimer::timerWithTimeInterval(test.scheduler().mainQueue(), 1.0, orphanTarget, &Ticker::tick, true);
    test.scheduler().advance(5s);
    EXPECT_EQ(orphanTarget->ticks, 0);

    auto manual = std::make_shared<Ticker>();
    auto fired = OTTimer::timerWithTimeInterval(test.scheduler().mainQueue(), 100.0, manual, &Ticker::tick, true);
    fired->fire();
    EXPECT_EQ(manual->ticks, 1);
    fired->invalidate();
    fired->fire();
    EXPECT_EQ(manual->ticks, 1);
}

TEST(OTDispatchQueueManager, RunsInPlaceWhenAlreadyThereAndQueuesOtherwise) {
    OTTestEnvironment test;
    std::vector<std::string> trace;
    OTDispatchQueueManager::dispatchInMainThread(
        test.scheduler(), [&] { trace.push_back("main inline"); }, false);
    EXPECT_EQ(trace, std::vector<std::string>{"main inline"});

    const std::string tag = OTDispatchQueueManager::QUEUE_TAG_HANDLE_NORMAL_ASYNC_TASK_IN_MAIN_THREAD;
    OTDispatchQueueManager::dispatchInSerialQueue(test.scheduler(), tag, [&] {
        EXPECT_EQ(OTEnvironment::current()->queue("cn.com.OT.asyncTask")->isCurrent(), true);
        trace.push_back("serial");
        OTDispatchQueueManager::dispatchInSerialQueue(test.scheduler(), tag, [&] { trace.push_back("serial inline"); });
        OTDispatchQueueManager::dispatchInMainThread(
            test.scheduler(), [&] { trace.push_back("main async"); }, true);
        OTDispatchQueueManager::dispatchInMainThread(
            test.scheduler(), [&] { trace.push_back("main sync"); }, false);
        trace.push_back("serial end");
    });
    OTDispatchQueueManager::dispatchInSerialQueue(test.scheduler(), "another tag", [&] { trace.push_back("never"); });
    EXPECT_EQ(trace.size(), 1u);
    test.scheduler().runUntilIdle();
    EXPECT_EQ(trace, (std::vector<std::string>{"main inline", "serial", "serial inline", "main async", "main sync",
                                               "serial end"}));
}

}  // namespace corvane
