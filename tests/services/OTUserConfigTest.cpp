#include <gtest/gtest.h>
#include <sys/inotify.h>
#include <unistd.h>

#include <filesystem>

#include "foundation/OTFiles.h"
#include "services/OTUserConfig.h"
#include "services/OTUserDefaults.h"
#include "support/OTTestEnvironment.h"

namespace corvane {

using namespace std::chrono_literals;

TEST(OTUserConfig, DefaultsWithNothingStored) {
    OTTestEnvironment test;
    auto config = OTUserConfig::defaultConfig();
    EXPECT_EQ(config, OTUserConfig::defaultConfig()->configWithGroupIdentifier(std::nullopt));
    EXPECT_EQ(config->maxDailyPopWindowCount(), 4294967295u);
    EXPECT_EQ(config->dailyPopWindowCount(), 0u);
    EXPECT_EQ(config->dailyPopWindowCountMarkTime(), test.clock().now());
    EXPECT_FALSE(config->lastIPhoneUpdateTime().has_value());
    EXPECT_FALSE(config->lastBackgroundUpdateTime().has_value());
    EXPECT_FALSE(config->dataPulledToday());
    EXPECT_EQ(config->intervalDay(), 0u);
    EXPECT_FALSE(config->token().has_value());
    // Reading stored nothing: construction wrote nothing either.
    EXPECT_TRUE(OTUserDefaults::standardUserDefaults().dictionaryRepresentation().empty());
}

TEST(OTUserConfig, DailyCounterRestartsOnANewLocalDayAndEveryWriteMovesTheMark) {
    OTTestEnvironment test;  // 2024-05-01 08:00 local
    auto config = OTUserConfig::defaultConfig();
    config->setDailyPopWindowCount(3);
    EXPECT_EQ(config->dailyPopWindowCount(), 3u);
    test.clock().advance(15h + 59min + 59s);  // 23:59:59 the same day
    EXPECT_EQ(config->dailyPopWindowCount(), 3u);
    test.clock().advance(1s);  // midnight
    EXPECT_EQ(config->dailyPopWindowCount(), 0u);
    EXPECT_EQ(OTUserDefaults::standardUserDefaults().integerForKey("OTDailyPopWindowCount"), 3);
    config->setDailyPopWindowCount(config->dailyPopWindowCount() + 1);
    EXPECT_EQ(config->dailyPopWindowCount(), 1u);
    EXPECT_EQ(config->dailyPopWindowCountMarkTime(), test.clock().now());
    // The count and its day reach the file in one write: killed between two, the count would stand
    // under the day before and read as a new day with nothing shown.
    const auto file = std::filesystem::path(OTUserDefaults::standardUserDefaults().path());
    const int watch = ::inotify_init1(IN_NONBLOCK);
    ASSERT_GE(watch, 0);
    // Each write renames a temporary file of its own onto the file.
    ASSERT_GE(::inotify_add_watch(watch, file.parent_path().c_str(), IN_MOVED_FROM), 0);
    test.clock().advance(24h);
    config->setDailyPopWindowCount(config->dailyPopWindowCount() + 1);
    std::size_t replaced = 0;
    alignas(inotify_event) char events[4096];
    for (auto n = ::read(watch, events, sizeof events); n > 0; n = ::read(watch, events, sizeof events)) {
        for (char* at = events; at < events + n;) {
            const auto* event = reinterpret_cast<const inotify_event*>(at);
            if (event->len > 0 && std::string(event->name).starts_with(file.filename().string() + ".tmp")) ++replaced;
            at += sizeof(inotify_event) + event->len;
        }
    }
    ::close(watch);
    EXPECT_EQ(replaced, 1u);
    EXPECT_EQ(OTUserConfig::defaultConfig()->dailyPopWindowCount(), 1u);

    // A new user clears the counter only; the mark and the limit stay.
    config->setMaxDailyPopWindowCount(5);
    const auto mark = config->dailyPopWindowCountMarkTime();
    test.clock().advance(1h);
    config->clearDialog();
    EXPECT_EQ(config->dailyPopWindowCount(), 0u);
    EXPECT_EQ(config->dailyPopWindowCountMarkTime(), mark);
    EXPECT_EQ(config->maxDailyPopWindowCount(), 5u);
    EXPECT_EQ(test.console().lines().back(), "corvane->setUserId");
}

TEST(OTUserConfig, ServerSettingsAndTheZeroCap) {
    OTTestEnvironment test;
    auto config = OTUserConfig::configWithDictionary(nlohmann::json{{"dayDialogMaxCount", 2}, {"intervalDay", "7"}});
    EXPECT_EQ(config->maxDailyPopWindowCount(), 2u);
    EXPECT_EQ(config->intervalDay(), 7u);
    OTUserConfig::configWithDictionary(nlohmann::json{{"dayDialogMaxCount", 0}});
    EXPECT_EQ(OTUserDefaults::standardUserDefaults().integerForKey("OTMaxDailyPopWindowCount"), 0);
    EXPECT_EQ(config->maxDailyPopWindowCount(), 4294967295u);
    // Absent keys, nulls and non-dictionaries change nothing.
    config->setMaxDailyPopWindowCount(9);
    OTUserConfig::configWithDictionary(nlohmann::json{{"intervalDay", nullptr}});
    OTUserConfig::configWithDictionary(nlohmann::json::array({1, 2}));
    OTUserConfig::configWithDictionary("dayDialogMaxCount");
    EXPECT_EQ(config->maxDailyPopWindowCount(), 9u);
    EXPECT_EQ(config->intervalDay(), 7u);
}

TEST(OTUserConfig, IdentityFollowsTheGroupAndTimesStayWithTheApp) {
    OTTestEnvironment test;
    auto config = OTUserConfig::defaultConfig()->configWithGroupIdentifier(std::string("group.a"));
    config->setToken("t-1");
    config->setUserId("u-1");
    config->setAppId("app");
    config->setLastIPhoneUpdateTime(test.clock().now());
    EXPECT_EQ(OTFiles::readFile(test.root() / "AppGroups/group.a/Library/Caches/OT_ot_xwho.json"), "u-1");
    EXPECT_TRUE(config->dataPulledToday());

    // An empty group keeps the previous one.
    config->configWithGroupIdentifier(std::string(""));
    EXPECT_EQ(config->groupIdentifier(), "group.a");
    EXPECT_EQ(config->token(), "t-1");

    config->configWithGroupIdentifier(std::string("group.b"));
    EXPECT_FALSE(config->userId().has_value());
    EXPECT_FALSE(config->appId().has_value());
    EXPECT_TRUE(config->dataPulledToday());

    test.clock().advance(24h);
    EXPECT_FALSE(config->dataPulledToday());
    test.restart();
    auto reread = OTUserConfig::defaultConfig()->configWithGroupIdentifier(std::string("group.a"));
    EXPECT_EQ(reread->userId(), "u-1");
    EXPECT_EQ(reread->lastIPhoneUpdateTime(), OTVirtualClock::defaultStart());
}

}  // namespace corvane
