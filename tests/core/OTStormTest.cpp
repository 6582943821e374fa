#include <gtest/gtest.h>

#include <atomic>
#include <functional>
#include <thread>

#include "OTDevServer.h"
#include "core/OTCampaignStore.h"
#include "core/OTPopWindowManager.h"
#include "core/OTPushManager.h"
#include "core/OTSDKManager.h"
#include "foundation/OTFiles.h"
#include "model/OTWindowData.h"
#include "platform/deterministic/OTManualReachabilitySource.h"
#include "server/OTIdentityUploader.h"
#include "server/OTNetwork.h"
#include "server/OTServerSession.h"
#include "services/OTUserConfig.h"
#include "support/OTSDKManagerProbe.h"
#include "support/OTThreadedTestEnvironment.h"
#include "view/OTViewController.h"

namespace corvane {

using namespace std::chrono_literals;
using nlohmann::json;

namespace {
// The user on the main queue: every dialog is tapped at once, closed or clicked in turn.
class TappingPresenter final : public OTDialogPresenter {
public:
    void popWithData(const std::shared_ptr<const OTWindowData>& data, EventAction eventAction) override {
        const auto n = shown.fetch_add(1);
        if (!data || !eventAction) return;
        eventAction(1, std::nullopt);
        eventAction(n % 2 == 0 ? 3 : 5, std::string("DetailVC?id=") + std::to_string(n));
    }
    std::atomic<int> shown{0};
};

// A campaign folder for the dev server: `count` three-step sequence campaigns that may show as
// often as the user likes, and a subscribe campaign on the last step.
std::filesystem::path writeCampaigns(const std::filesystem::path& folder, int count, int dailyCap = 0) {
    std::filesystem::create_directories(folder / "in_app");
    std::filesystem::create_directories(folder / "subscribe");
    for (int i = 0; i < count; ++i) {
        const json campaign = {{"id", std::to_string(1000 + i)},
                               {"type", 1},
                               {"count", 1000},
                               {"preEvents", {{{"xwhat", "step1"}}, {{"xwhat", "step2"}}, {{"xwhat", "buy"}}}},
                               {"title", {{"text", "Hello ${event.name}"}}},
                               {"dialogRule",
                                {{{"eventType", "click"}, {"type", 3}, {"count", 1000}, {"intervalValue", 0}},
                                 {{"eventType", "close"}, {"type", 3}, {"count", 1000}, {"intervalValue", 0}}}}};
        OTFiles::writeFileAtomically(folder / "in_app" / (std::to_string(1000 + i) + ".json"), campaign.dump());
    }
    OTFiles::writeFileAtomically(folder / "subscribe" / "1.json",
                                 json{{"id", "1"}, {"event", {{"xwhat", "buy"}}}}.dump());
    if (dailyCap > 0) OTFiles::writeFileAtomically(folder / "rule.json", json{{"dayDialogMaxCount", dailyCap}}.dump());
    return folder;
}
}  // namespace

// Eight host threads at once against an engine with campaigns loaded, on real queues and the dev
// server: events that advance sequences and show dialogs (tapped on the main queue), user changes
// that force downloads, push payloads, page visits, file writes and network flips. The test is
// for the sanitizers: it holds no lock of its own that could hide a race in the library.
TEST(OTStorm, EveryQueueAtOnceWithCampaignsLoaded) {
    auto reachability = std::make_shared<OTManualReachabilitySource>();
    OTThreadedTestEnvironment threaded(reachability);
    auto& scheduler = threaded.scheduler();
    constexpr std::size_t kCampaigns = 20;
    const auto campaigns = threaded.root() / "campaigns";
    OTDevServer server({writeCampaigns(campaigns, kCampaigns)});
    ASSERT_TRUE(server.start());
    {
        auto presenter = std::make_shared<TappingPresenter>();
        OTPopWindowManager::sharedManager()->setPresenter(presenter);
        auto engine = OTSDKManager::sharedManager()->managerWithGroupIdentifier("group.storm");
        auto config = std::make_shared<CorvaneOtConfig>();
        config->setAppKey("app-key");
        config->setMainPage("HomeVC");
        config->setUrl(server.baseURL() + "/");
        engine->session().setUserId("u0");
        engine->startWithConfiguration(config);
        ASSERT_TRUE(OTSDKManagerProbe::waitForInApp(scheduler, *engine, kCampaigns));

        constexpr int kThreads = 8;
        constexpr int kRounds = 40;
        std::atomic<int> finished{0};
        std::atomic<int> pageViews{0};
        std::vector<std::thread> hosts;
        for (int t = 0; t < kThreads; ++t) {
            hosts.emplace_back([&, t] {
                const char* steps[] = {"step1", "step2", "buy"};
                for (int i = 0; i < kRounds; ++i) {
                    engine->onEventDataReceived(
                        json{{"xwhat", steps[(t + i) % 3]}, {"xcontext", {{"name", "user" + std::to_string(t)}}}});
                    switch ((t + i) % 8) {
                        case 0: engine->onUserProfile(json{{"xwho", "u" + std::to_string(i % 3)}}); break;
                        case 1:
                            engine->pushTrack(1, json{{"link", "DetailVC?id=" + std::to_string(i)}}, "group.storm");
                            break;
                        case 2:
                            pageViews.fetch_add(1);
                            engine->onEventDataReceived(json{
                                {"xwhat", "$pageview"}, {"xcontext", {{"$url", i % 2 == 0 ? "HomeVC" : "Other"}}}});
                            break;
                        case 3: engine->autoPageCollected(std::make_shared<OTViewController>("HomeVC")); break;
                        case 4:
                            engine->onLane([](OTSDKManager& lane) {
                                lane.campaigns().syncInAppData();
                                lane.campaigns().syncRecordTree();
                            });
                            break;
                        case 5: reachability->setFlags(i % 2 == 0 ? 0 : OTManualReachabilitySource::kWiFiFlags); break;
                        case 6: engine->getListData(true); break;
                        default:
                            // Identity uploads race the user changes above.
                            if (i % 2 == 0) {
                                engine->pushToken(std::vector<std::uint8_t>(32, static_cast<std::uint8_t>(t)),
                                                  std::string("group.storm"));
                            } else {
                                engine->identity().setWeChatId(std::string("union"), std::string("app"),
                                                               "open-" + std::to_string(t));
                            }
                            break;
                    }
                }
                finished.fetch_add(1);
            });
        }
        EXPECT_TRUE(scheduler.runMainLoopUntil([&] { return finished.load() == kThreads; }, 60s));
        for (auto& host : hosts) host.join();
        ASSERT_TRUE(OTSDKManagerProbe::drained(scheduler, *engine));
        EXPECT_EQ(engine->pvCount(), pageViews.load());
        // Let the answers and dialogs under way land before the environment goes.
        scheduler.runMainLoopUntil([] { return false; }, 500ms);

        EXPECT_GT(presenter->shown.load(), 0);
        const auto published = OTSDKManagerProbe::readOnLane(
            scheduler, *engine, [](OTSDKManager& lane) { return lane.campaigns().inAppDataArray(); });
        ASSERT_TRUE(published.has_value());
        for (const auto& campaign : *published) {
            ASSERT_TRUE(campaign);
            // The placeholders stay in every published campaign.
            ASSERT_TRUE(campaign->title());
            EXPECT_EQ(campaign->title()->text(), "Hello ${event.name}");
        }
    }
}

// Dialogs decided from every direction at once (host threads' events, walks going on after a tap on
// the main queue, the waiting page view replayed as the list lands): each is checked against the
// daily cap and counted in one step on the event queue, so the cap holds exactly.
TEST(OTStorm, TheDailyCapHoldsExactlyWhateverDecidesTheDialogs) {
    OTThreadedTestEnvironment threaded;
    auto& scheduler = threaded.scheduler();
    constexpr int kCap = 3;
    const auto campaigns = threaded.root() / "campaigns";
    OTDevServer server({writeCampaigns(campaigns, 20, kCap)});
    ASSERT_TRUE(server.start());
    {
        auto presenter = std::make_shared<TappingPresenter>();
        OTPopWindowManager::sharedManager()->setPresenter(presenter);
        auto engine = OTSDKManager::sharedManager()->managerWithGroupIdentifier("group.cap");
        auto config = std::make_shared<CorvaneOtConfig>();
        config->setAppKey("app-key");
        config->setUrl(server.baseURL() + "/");
        engine->session().setUserId("u0");
        engine->startWithConfiguration(config);
        const auto buy = [&engine](int n) {
            engine->onEventDataReceived(json{{"xwhat", "buy"}, {"xcontext", {{"name", "n" + std::to_string(n)}}}});
        };
        // Sequences need their first two steps before a "buy" shows a dialog.
        const auto steps = [&engine] {
            engine->onEventDataReceived(json{{"xwhat", "step1"}});
            engine->onEventDataReceived(json{{"xwhat", "step2"}});
        };
        ASSERT_TRUE(OTSDKManagerProbe::waitForInApp(scheduler, *engine, 20));
        std::vector<std::thread> hosts;
        for (int t = 0; t < 8; ++t) {
            hosts.emplace_back([&, t] {
                for (int i = 0; i < 30; ++i) {
                    steps();
                    buy(t * 100 + i);
                }
            });
        }
        // Then one more event each time the main loop looks (every 10 ms at least): the dialogs keep
        // coming, each after its 0.2 s, until the cap stops them, and 100 events more change nothing.
        int next = 0;
        EXPECT_TRUE(scheduler.runMainLoopUntil(
            [&] {
                buy(next++);
                return presenter->shown.load() >= kCap;
            },
            20s));
        for (auto& host : hosts) host.join();
        const int last = next + 100;
        scheduler.runMainLoopUntil(
            [&] {
                buy(next++);
                return next >= last;
            },
            20s);
        // Settled: nothing left on the event queue and no dialog waiting for its delay.
        std::atomic<bool> settled{false};
        std::function<void()> check = [&] {
            engine->onLane([&](OTSDKManager& lane) {
                if (!lane.scheduledDialog()) settled = true;
                else scheduler.mainQueue()->after(50ms, check);
            });
        };
        check();
        ASSERT_TRUE(scheduler.runMainLoopUntil([&] { return settled.load(); }, 10s));
        EXPECT_EQ(presenter->shown.load(), kCap);
        auto settings = OTUserConfig::defaultConfig()->configWithGroupIdentifier(std::string("group.cap"));
        EXPECT_EQ(OTSDKManagerProbe::readOnLane(scheduler, *engine,
                                                [settings](OTSDKManager&) { return settings->dailyPopWindowCount(); }),
                  static_cast<std::uint64_t>(kCap));
    }
}

}  // namespace corvane
