#include <gtest/gtest.h>

#include <sys/stat.h>

#include "foundation/OTFiles.h"
#include "platform/OTEnvironment.h"
#include "services/OTKeychainItemWrapper.h"
#include "services/OTLogger.h"
#include "services/OTUserDefaults.h"
#include "services/OTUserShare.h"
#include "services/OTUtils.h"
#include "support/OTTestEnvironment.h"

namespace corvane {

TEST(OTUserShare, GroupValuesAreTextFilesInTheContainerAndOthersAreDefaults) {
    OTTestEnvironment test;
    auto share = OTUserShare::share();
    share->setInteger(3, "group_info_key_env", "group.demo");
    const auto file = test.root() / "AppGroups/group.demo/Library/Caches/OT_group_info_key_env.json";
    EXPECT_EQ(OTFiles::readFile(file), "3");
    EXPECT_EQ(share->integerForKey("group_info_key_env", "group.demo"), 3);
    EXPECT_EQ(share->objectForKey("group_info_key_env", "group.demo"), nlohmann::json("3"));

    // A value's description is what the file holds, not JSON.
    share->setObject("https://a.example:8088", "group_info_key_url", "group.demo");
    EXPECT_EQ(OTFiles::readFile(test.root() / "AppGroups/group.demo/Library/Caches/OT_group_info_key_url.json"),
              "https://a.example:8088");
    share->setObject(nlohmann::json{{"k", 1}}, "dict", "group.demo");
    EXPECT_EQ(share->stringForKey("dict", "group.demo"), "{\n    k = 1;\n}");

    // Without a group the same calls use the standard user defaults under the key itself.
    share->setInteger(3, "group_info_key_env", "");
    EXPECT_EQ(OTUserDefaults::standardUserDefaults().stringForKey("group_info_key_env"), "3");
    EXPECT_EQ(share->integerForKey("group_info_key_env", ""), 3);
    EXPECT_EQ(share->integerForKey("missing", "group.demo"), 0);
    EXPECT_EQ(share->integerForKey("missing", ""), 0);

    // The write is logged at level 6 with the file's URL.
    const auto log = test.log();
    EXPECT_NE(
        log.find("数据写入共享文件成功，url : file://" + file.string() + ", key : group_info_key_env, value : 3\n"),
        std::string::npos);
}

TEST(OTUserShare, EmptyKeysNullValuesAndUnusableGroupsChangeNothing) {
    OTTestEnvironment test;
    auto share = OTUserShare::share();
    share->setObject("v", "", "group.demo");
    share->setObject("v", "", "");
    share->setObject(nullptr, "k", "group.demo");
    share->setObject("v", "k", "");
    share->setObject(nullptr, "k", "");  // removes the entry again
    share->setObject("v", "../escape", "group.demo");
    share->setObject("v", "k", "../..");
    EXPECT_FALSE(std::filesystem::exists(test.root() / "AppGroups"));
    EXPECT_TRUE(OTUserDefaults::standardUserDefaults().dictionaryRepresentation().empty());
    EXPECT_FALSE(share->objectForKey("", "").has_value());
    const auto log = test.log();
    EXPECT_NE(log.find("数据写入共享文件失败，key : ../escape, value : v\n"), std::string::npos);
    EXPECT_NE(log.find("数据写入共享文件失败，key : k, value : v\n"), std::string::npos);
    EXPECT_NE(log.find("数据写入共享文件失败，key : k, value : (null)\n"), std::string::npos);

    // A file that is not UTF-8 text reads as nothing.
    OTFiles::writeFileAtomically(test.root() / "AppGroups/g/Library/Caches/OT_bad.json", "\xFF\xFE\xFD");
    EXPECT_FALSE(share->objectForKey("bad", "g").has_value());
    EXPECT_EQ(share->integerForKey("bad", "g"), 0);
}

TEST(OTKeychainItemWrapper, DeviceIdentifierIsStoredOnceAndSurvivesRestarts) {
    OTTestEnvironment test;
    EXPECT_EQ(OTUtils::getUUIDWithKeychain(), "");  // a new item starts with empty data
    OTUtils::saveUUIDWithKeyChain();
    EXPECT_EQ(OTUtils::getUUIDWithKeychain(), "11111111-2222-4333-8444-555555555555");

    // A later device identifier does not replace the one kept.
    test.restart();
    OTUtils::saveUUIDWithKeyChain();
    EXPECT_EQ(OTUtils::getUUIDWithKeychain(), "11111111-2222-4333-8444-555555555555");

    struct stat info {};
    ASSERT_EQ(::stat((test.root() / "Keychain/items.plist").c_str(), &info), 0);
    EXPECT_EQ(info.st_mode & 0777, 0600u);

    OTKeychainItemWrapper wrapper("UUID", std::string(OTUtils::kKeychainAccessGroup));
    EXPECT_EQ(wrapper.keychainItemData()["gena"], "UUID");
    EXPECT_EQ(wrapper.keychainItemData()["agrp"], OTUtils::kKeychainAccessGroup);
    EXPECT_EQ(wrapper.keychainItemData()["acct"], "");
    wrapper.resetKeychainItem();
    EXPECT_EQ(wrapper.objectForKey("v_Data"), nlohmann::json(""));
    OTKeychainItemWrapper reopened("UUID", std::string(OTUtils::kKeychainAccessGroup));
    EXPECT_EQ(reopened.objectForKey("v_Data"), nlohmann::json(""));
    // Another access group is another item.
    OTKeychainItemWrapper other("UUID", std::string("other.group"));
    other.setObject("x", "v_Data");
    EXPECT_EQ(OTKeychainItemWrapper("UUID", std::string("other.group")).objectForKey("v_Data"), nlohmann::json("x"));
}

}  // namespace corvane
