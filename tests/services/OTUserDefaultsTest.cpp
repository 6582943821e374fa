#include <gtest/gtest.h>
#include <sys/stat.h>

#include "foundation/OTFiles.h"
#include "platform/OTSandbox.h"
#include "services/OTImageDiskCache.h"
#include "services/OTKeychainStore.h"
#include "services/OTLogger.h"
#include "services/OTUserConfig.h"
#include "services/OTUserDefaults.h"
#include "support/OTTestEnvironment.h"

namespace corvane {

namespace fs = std::filesystem;

namespace {
unsigned modeOf(const fs::path& path) {
    struct stat info {};
    return ::lstat(path.c_str(), &info) == 0 ? (info.st_mode & 0777) : 0;
}
}  // namespace

TEST(OTUserDefaults, AHundredMegabytesOfCachedPicturesLeaveTheOtherKeysReadable) {
    OTTestEnvironment test;
    auto config = OTUserConfig::defaultConfig();
    config->setDailyPopWindowCount(2);
    // Seven pictures of 15 MB, each as large as an answer may be.
    const std::size_t pictureBytes = 15u << 20;
    for (int i = 0; i < 7; ++i) {
        std::string picture(pictureBytes, static_cast<char>('a' + i));
        OTImageDiskCache::cache()->setImageData(picture, "https://cdn.example.com/p" + std::to_string(i) + ".png");
    }
    const auto listPath = OTUserDefaults::standardUserDefaults().path();
    EXPECT_LT(fs::file_size(listPath), 64u << 10);
    test.restart();

    EXPECT_EQ(OTUserConfig::defaultConfig()->dailyPopWindowCount(), 2u);
    for (int i = 0; i < 7; ++i) {
        const auto picture =
            OTImageDiskCache::cache()->imageDataForKey("https://cdn.example.com/p" + std::to_string(i) + ".png");
        ASSERT_TRUE(picture.has_value()) << i;
        EXPECT_EQ(picture->size(), pictureBytes);
        EXPECT_EQ(picture->front(), static_cast<char>('a' + i));
    }
    // The counter keeps being written (and read after another restart) with the pictures there.
    OTUserConfig::defaultConfig()->setDailyPopWindowCount(3);
    test.restart();
    EXPECT_EQ(OTUserConfig::defaultConfig()->dailyPopWindowCount(), 3u);
}

TEST(OTUserDefaults, LargeDataLivesInAFileOfItsOwnUntilReplacedOrRemoved) {
    OTTestEnvironment test;
    auto& defaults = OTUserDefaults::standardUserDefaults();
    const auto folder = fs::path(defaults.path().string() + ".data");
    const OTPropertyList::Data small(OTUserDefaults::kMaxInlineDataBytes, 1);
    const OTPropertyList::Data large(OTUserDefaults::kMaxInlineDataBytes + 1, 2);
    auto filesInFolder = [&] {
        std::size_t n = 0;
        std::error_code ec;
        for (fs::directory_iterator it(folder, ec), end; !ec && it != end; it.increment(ec)) ++n;
        return n;
    };

    defaults.setData(small, "small");
    EXPECT_EQ(filesInFolder(), 0u);
    defaults.setData(large, "large");
    EXPECT_EQ(filesInFolder(), 1u);
    EXPECT_EQ(defaults.dataForKey("large"), large);
    EXPECT_EQ(defaults.dictionaryRepresentation().at("large"), OTPropertyList(large));
    // Replaced by a small value: the file goes; set large again and removed: it goes too.
    defaults.setData(small, "large");
    EXPECT_EQ(filesInFolder(), 0u);
    EXPECT_EQ(defaults.dataForKey("large"), small);
    defaults.setData(large, "large");
    defaults.removeObjectForKey("large");
    EXPECT_EQ(filesInFolder(), 0u);
    EXPECT_FALSE(defaults.dataForKey("large").has_value());

    // A file gone from under the list reads as absent; a reference that points out of the folder
    // is never followed.
    defaults.setData(large, "gone");
    for (fs::directory_iterator it(folder), end; it != end; ++it) fs::remove(it->path());
    EXPECT_FALSE(defaults.dataForKey("gone").has_value());
    defaults.setValue(
        OTPropertyList(OTPropertyList::Dictionary{{"$class", OTPropertyList("OTUserDefaultsDataFile")},
                                                  {"file", OTPropertyList("../../Keychain/items.plist")}}),
        "escape");
    EXPECT_FALSE(defaults.dataForKey("escape").has_value());
    EXPECT_FALSE(defaults.valueForKey("escape").has_value());
}

TEST(OTSandbox, FilesAndFoldersTheLibraryMakesAreTheUsersOnly) {
    OTTestEnvironment test;
    auto& defaults = OTUserDefaults::standardUserDefaults();
    defaults.setObject("token-1", "ot_token");
    defaults.setData(OTPropertyList::Data(OTUserDefaults::kMaxInlineDataBytes + 1, 0), "picture");
    OTKeychainStore::shared().add(OTKeychainStore::Item{{"acct", OTPropertyList("a")}});
    OTLog(OTLogger::kLevelError, "token %@", "token-1");
    test.scheduler().runUntilIdle();
    ASSERT_TRUE(OTFiles::writeFileAtomically(test.root() / "AppGroups" / "group.demo" / "x.txt", "x"));

    std::size_t files = 0;
    for (fs::recursive_directory_iterator it(test.root()), end; it != end; ++it) {
        SCOPED_TRACE(it->path().string());
        if (it->is_directory()) {
            EXPECT_EQ(modeOf(it->path()), 0700u);
        } else {
            EXPECT_EQ(modeOf(it->path()), 0600u);
            ++files;
        }
    }
    EXPECT_GE(files, 5u);  // list, picture, keychain, log, group file
}

TEST(OTUserDefaults, ACorruptFileReadsAsEmptyAndIsReplacedOnWrite) {
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

TEST(OTKeychainStore, ItemsPersistForTheOwnerOnly) {
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

}  // namespace corvane
