#include <gtest/gtest.h>

#include "corvane/CorvaneOtConfig.h"
#include "foundation/OTFiles.h"
#include "platform/OTEnvironment.h"
#include "services/OTUserDefaults.h"
#include "support/OTTestEnvironment.h"

namespace corvane {

TEST(CorvaneOtConfig, UrlIsTrimmedOfBlanksAndOneTrailingSlashAndKeptInTheStore) {
    OTTestEnvironment test;
    CorvaneOtConfig config;
    config.setApplicationGroupIdentifier("group.demo");
    EXPECT_FALSE(config.url().has_value());

    config.setUrl(" \t https://ot.example.com:8088/ \r\n");
    EXPECT_EQ(config.url(), "https://ot.example.com:8088");
    EXPECT_EQ(OTFiles::readFile(test.root() / "AppGroups/group.demo/Library/Caches/OT_group_info_key_url.json"),
              "https://ot.example.com:8088");

    config.setUrl("\xE3\x80\x80https://two.example//\xC2\xA0");  // ideographic and no-break spaces
    EXPECT_EQ(config.url(), "https://two.example/");

    // Empty and absent values are ignored; the stored URL stays.
    config.setUrl("");
    config.setUrl(std::nullopt);
    EXPECT_EQ(config.url(), "https://two.example/");

    // Another instance over the same group reads the same value: the store is the truth.
    CorvaneOtConfig other;
    other.setApplicationGroupIdentifier("group.demo");
    EXPECT_EQ(other.url(), "https://two.example/");
    other.setApplicationGroupIdentifier("group.other");
    EXPECT_FALSE(other.url().has_value());
}

TEST(CorvaneOtConfig, EnvironmentFollowsTheGroupDomain) {
    OTTestEnvironment test;
    CorvaneOtConfig config;
    EXPECT_EQ(config.envType(), 0u);
    // Set before the group: written to the default domain (the user defaults)...
    config.setEnvType(2);
    EXPECT_EQ(OTUserDefaults::standardUserDefaults().stringForKey("group_info_key_env"), "2");
    // ...and copied to the group's domain when the group is set.
    config.setApplicationGroupIdentifier("group.demo");
    EXPECT_EQ(OTFiles::readFile(test.root() / "AppGroups/group.demo/Library/Caches/OT_group_info_key_env.json"), "2");
    EXPECT_EQ(config.envType(), 2u);

    // The getter always answers what the store holds for the current domain.
    OTFiles::writeFileAtomically(test.root() / "AppGroups/group.demo/Library/Caches/OT_group_info_key_env.json", "3");
    EXPECT_EQ(config.envType(), 3u);
    config.setApplicationGroupIdentifier("group.second");
    EXPECT_EQ(config.envType(), 3u);  // the cached 3 was written again under the new group

    EXPECT_EQ(CorvaneOtConfig::defaultConfig(), CorvaneOtConfig::defaultConfig());
    auto before = CorvaneOtConfig::defaultConfig();
    test.restart();
    EXPECT_NE(CorvaneOtConfig::defaultConfig(), before);
}

}  // namespace corvane
