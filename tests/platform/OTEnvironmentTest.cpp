#include <gtest/gtest.h>

#include <atomic>
#include <thread>
#include <vector>

#include "platform/OTEnvironment.h"
#include "services/OTUserDefaults.h"
#include "support/OTTestEnvironment.h"

namespace corvane {

namespace {
struct Counted {
    static inline std::atomic<int> made{0};
    static inline std::atomic<int> gone{0};
    Counted() { ++made; }
    ~Counted() { ++gone; }
};
}  // namespace

TEST(OTEnvironment, SharedInstancesAreMadeOnceAndDiscardedWithTheEnvironment) {
    OTTestEnvironment test;
    Counted::made = 0;
    Counted::gone = 0;
    auto make = [] { return std::make_shared<Counted>(); };

    std::vector<std::thread> threads;
    std::vector<std::shared_ptr<Counted>> seen(8);
    for (std::size_t i = 0; i < seen.size(); ++i) {
        threads.emplace_back([&, i] { seen[i] = OTEnvironment::current()->singleton<Counted>(make); });
    }
    for (auto& t : threads) t.join();
    EXPECT_EQ(Counted::made.load(), 1);
    for (const auto& s : seen) EXPECT_EQ(s, seen[0]);
    seen.clear();

    auto first = OTEnvironment::current()->singleton<Counted>(make);
    test.restart();
    EXPECT_EQ(Counted::gone.load(), 0);  // still held here
    first.reset();
    EXPECT_EQ(Counted::gone.load(), 1);
    auto second = OTEnvironment::current()->singleton<Counted>(make);
    EXPECT_EQ(Counted::made.load(), 2);
}

TEST(OTEnvironment, SandboxLayoutAndDefaultsSurviveARestart) {
    OTTestEnvironment test;
    auto& env = OTEnvironment::current()->sandbox();
    EXPECT_EQ(env.documentsDirectory(), test.root() / "Documents");
    EXPECT_EQ(env.userDefaultsPath("com.corvane.test"), test.root() / "Library/Preferences/com.corvane.test.plist");
    EXPECT_EQ(env.containerForApplicationGroup("group.demo"), test.root() / "AppGroups/group.demo");
    EXPECT_FALSE(env.containerForApplicationGroup("").has_value());
    EXPECT_FALSE(env.containerForApplicationGroup("..").has_value());
    EXPECT_FALSE(env.containerForApplicationGroup("a/../../etc").has_value());

    auto& defaults = OTUserDefaults::standardUserDefaults();
    defaults.setObject(nlohmann::json{{"a", {1, 2.5, "three", nullptr, true}}}, "nested");
    defaults.setObject("12abc", "text");
    defaults.setDate(test.clock().now(), "when");
    defaults.setData({0, 1, 2, 255}, "bytes");
    defaults.setObject(7, "gone");
    defaults.setObject(nullptr, "gone");

    test.restart();
    auto& reread = OTUserDefaults::standardUserDefaults();
    EXPECT_EQ(*reread.objectForKey("nested"), (nlohmann::json{{"a", {1, 2.5, "three", nullptr, true}}}));
    EXPECT_EQ(reread.integerForKey("text"), 12);
    EXPECT_EQ(reread.stringForKey("text"), "12abc");
    EXPECT_EQ(reread.dateForKey("when"), test.clock().now());
    EXPECT_EQ(reread.dataForKey("bytes"), (OTPropertyList::Data{0, 1, 2, 255}));
    EXPECT_FALSE(reread.objectForKey("gone").has_value());
    EXPECT_FALSE(reread.dateForKey("text").has_value());
    EXPECT_EQ(reread.integerForKey("missing"), 0);
}

}  // namespace corvane
