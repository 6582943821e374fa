#include <gtest/gtest.h>

#include <atomic>
#include <thread>
#include <vector>

#include "foundation/OTFiles.h"
#include "foundation/OTNotificationCenter.h"
#include "foundation/OTText.h"
#include "platform/OTEnvironment.h"
#include "services/OTKeychainStore.h"
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

TEST(OTEnvironment, CorruptDefaultsFileReadsAsEmptyAndIsReplacedOnWrite) {
    OTTestEnvironment test;
    const auto path = test.root() / "Library/Preferences/com.corvane.test.plist";
    OTFiles::writeFileAtomically(path, "bplist00 this is not a property list at all, truncated");
    test.restart();
    auto& defaults = OTUserDefaults::standardUserDefaults();
    EXPECT_TRUE(defaults.dictionaryRepresentation().empty());
    defaults.setObject("v", "k");
    test.restart();
    EXPECT_EQ(OTUserDefaults::standardUserDefaults().stringForKey("k"), "v");
}

TEST(OTEnvironment, IntegerValueOfTextReadsLikeThePlatform) {
    EXPECT_EQ(OTText::integerValue("3"), 3);
    EXPECT_EQ(OTText::integerValue("  -42xyz"), -42);
    EXPECT_EQ(OTText::integerValue("+7"), 7);
    EXPECT_EQ(OTText::integerValue("abc"), 0);
    EXPECT_EQ(OTText::integerValue(""), 0);
    EXPECT_EQ(OTText::integerValue("1.9"), 1);
    EXPECT_EQ(OTText::integerValue("99999999999999999999"), INT64_MAX);
    EXPECT_EQ(OTText::integerValue("-99999999999999999999"), INT64_MIN);
}

TEST(OTEnvironment, KeychainItemsPersistForTheOwnerOnly) {
    OTTestEnvironment test;
    auto& keychain = OTKeychainStore::shared();
    OTKeychainStore::Item item{{"class", OTPropertyList("genp")},
                               {"gena", OTPropertyList("UUID")},
                               {"v_Data", OTPropertyList(OTPropertyList::Data{'x'})}};
    EXPECT_TRUE(keychain.add(item));
    EXPECT_FALSE(keychain.add(item));
    EXPECT_TRUE(keychain.update({{"gena", OTPropertyList("UUID")}}, {{"labl", OTPropertyList("l")}}));
    EXPECT_FALSE(keychain.update({{"gena", OTPropertyList("other")}}, {{"labl", OTPropertyList("l")}}));
    const auto perms = std::filesystem::status(test.root() / "Keychain/items.plist").permissions();
    EXPECT_EQ(perms & std::filesystem::perms::all,
              std::filesystem::perms::owner_read | std::filesystem::perms::owner_write);

    test.restart();
    auto& reread = OTKeychainStore::shared();
    auto found = reread.copyMatching({{"class", OTPropertyList("genp")}, {"gena", OTPropertyList("UUID")}});
    ASSERT_TRUE(found.has_value());
    EXPECT_EQ(*found->at("labl").get<std::string>(), "l");
    EXPECT_TRUE(reread.remove({{"gena", OTPropertyList("UUID")}}));
    EXPECT_FALSE(reread.copyMatching({{"gena", OTPropertyList("UUID")}}).has_value());
}

TEST(OTEnvironment, NotificationsReachObserversInOrderUntilRemoved) {
    OTNotificationCenter center;
    std::vector<std::string> seen;
    int owner1 = 0;
    int owner2 = 0;
    center.addObserver(&owner1, "N", [&](const auto& n) {
        seen.push_back("1:" + n.name);
        center.removeObserver(&owner2);  // removal during a post takes effect at once
    });
    center.addObserver(&owner2, "N", [&](const auto&) { seen.push_back("2"); });
    center.addObserver(&owner2, "M", [&](const auto&) { seen.push_back("M"); });
    center.post("N");
    center.post("M");
    EXPECT_EQ(seen, (std::vector<std::string>{"1:N"}));
    EXPECT_EQ(center.observerCount("N"), 1u);
    center.removeObserver(&owner1, "N");
    EXPECT_EQ(center.observerCount("N"), 0u);
}

}  // namespace corvane
