#include <gtest/gtest.h>

#include <thread>

#include "core/OTSDKManager.h"
#include "support/OTThreadedTestEnvironment.h"

namespace corvane {

using namespace std::chrono_literals;

// Events and profile changes from several threads at once, on real queues.
TEST(OTSDKManagerThreads, EventsFromManyThreadsAreAllHandledInTheirQueue) {
    OTThreadedTestEnvironment threaded;
    auto& scheduler = threaded.scheduler();
    {
        auto engine = OTSDKManager::sharedManager()->managerWithGroupIdentifier("group.threads");
        auto config = std::make_shared<CorvaneOtConfig>();
        config->setMainPage("HomeVC");
        engine->setConfiguration(config);
        std::vector<std::thread> senders;
        for (int t = 0; t < 4; ++t) {
            senders.emplace_back([engine, t] {
                for (int i = 0; i < 50; ++i) {
                    engine->onEventDataReceived(nlohmann::json{
                        {"xwhat", "$pageview"}, {"xcontext", {{"$url", i % 2 == 0 ? "HomeVC" : "Other"}}}, {"n", i}});
                    if (i % 10 == 0) engine->onUserProfile(nlohmann::json{{"calibration_time", t + i}});
                }
            });
        }
        for (auto& sender : senders) sender.join();
        EXPECT_TRUE(scheduler.runMainLoopUntil([&] { return engine->pvCount() == 200; }, 20s));
        EXPECT_EQ(engine->mainPagePVCount(), 100);
        EXPECT_LE(engine->waitingEvents().size(), 5u);
    }
}

}  // namespace corvane
