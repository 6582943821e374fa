#include <gtest/gtest.h>

#include <unistd.h>
#include <thread>

#include "core/OTSDKManager.h"
#include "platform/OTEnvironment.h"
#include "platform/deterministic/OTRecordingConsole.h"
#include "platform/linux/OTSystemClock.h"
#include "platform/linux/OTThreadScheduler.h"
#include "support/OTTestEnvironment.h"

namespace corvane {

using namespace std::chrono_literals;

// Events and profile changes from several threads at once, on real queues.
TEST(OTSDKManagerThreads, EventsFromManyThreadsAreAllHandledInTheirQueue) {
    std::string root = (std::filesystem::temp_directory_path() / "ot-threads-XXXXXX").string();
    ASSERT_NE(::mkdtemp(root.data()), nullptr);
    auto scheduler = std::make_shared<OTThreadScheduler>();
    OTEnvironment::Parts parts;
    parts.clock = std::make_shared<OTSystemClock>();
    parts.scheduler = scheduler;
    parts.sandboxRoot = root;
    parts.device = OTTestEnvironment::fixedDevice();
    parts.console = std::make_shared<OTRecordingConsole>();
    OTEnvironment::install(std::make_shared<OTEnvironment>(std::move(parts)));
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
        EXPECT_TRUE(scheduler->runMainLoopUntil([&] { return engine->pvCount() == 200; }, 20s));
        EXPECT_EQ(engine->mainPagePVCount(), 100);
        EXPECT_LE(engine->waitingEvents().size(), 5u);
    }
    OTEnvironment::install(nullptr);
    std::error_code ec;
    std::filesystem::remove_all(root, ec);
}

}  // namespace corvane
