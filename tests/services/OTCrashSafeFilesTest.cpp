#include <gtest/gtest.h>
#include <signal.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <random>

#include "core/OTSDKManager.h"
#include "foundation/OTFiles.h"
#include "model/OTEvent.h"
#include "server/OTEventReporter.h"
#include "services/OTDataArchiver.h"
#include "services/OTLogger.h"
#include "services/OTUserDefaults.h"
#include "support/OTTestEnvironment.h"

namespace corvane {

namespace fs = std::filesystem;

namespace {
OTPropertyList archive(char fill, std::size_t items) {
    OTPropertyList::Array list;
    for (std::size_t i = 0; i < items; ++i) list.emplace_back(std::string(64, fill));
    return OTPropertyList(OTPropertyList::Dictionary{{"$root", OTPropertyList(std::move(list))}});
}
}  // namespace

// A child writes two archives in turn, as fast as it can, telling the parent after each write;
// the parent kills it at a random moment after a random number of writes. Whatever moment the
// kill lands on, the file holds one archive or the other, whole.
TEST(OTCrashSafeFiles, AKilledWriterLeavesTheOldOrTheNewContent) {
    const fs::path folder = fs::temp_directory_path() / ("ot-crash-" + std::to_string(::getpid()));
    fs::create_directories(folder);
    const fs::path file = folder / "OTCachedOfflineWindowEvents.plist";
    const auto first = archive('a', 2000);
    const auto second = archive('b', 3000);
    const auto firstBytes = *first.toBinary();
    const auto secondBytes = *second.toBinary();
    ASSERT_TRUE(OTDataArchiver::writePropertyList(first, file));

    std::mt19937 random(20261123);
    int landed = 0;
    for (int round = 0; round < 200; ++round) {
        int progress[2];
        ASSERT_EQ(::pipe(progress), 0);
        const pid_t child = ::fork();
        ASSERT_GE(child, 0);
        if (child == 0) {
            ::close(progress[0]);
            for (unsigned n = 0;; ++n) {
                (void)OTFiles::writeFileAtomically(file, n % 2 == 0 ? secondBytes : firstBytes);
                if (::write(progress[1], "w", 1) != 1) ::_exit(1);
            }
        }
        ::close(progress[1]);
        const int writes = 1 + static_cast<int>(random() % 4);
        char byte = 0;
        for (int i = 0; i < writes; ++i) ASSERT_EQ(::read(progress[0], &byte, 1), 1);
        ::kill(child, SIGKILL);
        int status = 0;
        ::waitpid(child, &status, 0);
        ::close(progress[0]);
        ASSERT_TRUE(WIFSIGNALED(status));

        const auto bytes = OTFiles::readFile(file);
        ASSERT_TRUE(bytes.has_value()) << "round " << round;
        ASSERT_TRUE(*bytes == firstBytes || *bytes == secondBytes) << "round " << round << ": " << bytes->size();
        landed += *bytes == secondBytes ? 1 : 0;
        const auto read = OTPropertyList::fromBinary(*bytes);
        ASSERT_TRUE(read.has_value());
    }
    // Both contents were seen: the kills landed at different moments.
    EXPECT_GT(landed, 0);
    EXPECT_LT(landed, 200);
    // What the killed writes left is swept, and only that.
    std::size_t leftovers = 0;
    for (const auto& entry : fs::directory_iterator(folder)) {
        leftovers += OTFiles::isTemporaryName(entry.path().filename().string()) ? 1 : 0;
    }
    EXPECT_EQ(OTFiles::sweepTemporaryFiles(folder, fs::file_time_type::clock::now() + std::chrono::seconds(1)),
              leftovers);
    EXPECT_EQ(std::distance(fs::directory_iterator(folder), fs::directory_iterator()), 1);
    fs::remove_all(folder);
}

// At launch the engine sweeps what writes cut short in an earlier run left in the sandbox; files
// written since the sandbox was opened may belong to writes under way and stay.
TEST(OTCrashSafeFiles, TemporaryFilesAnEarlierRunLeftAreSweptAtLaunch) {
    OTTestEnvironment test;
    const auto& sandbox = test.environment().sandbox();
    const auto plant = [&](const fs::path& path, fs::file_time_type when) {
        ASSERT_TRUE(OTFiles::writeFileAtomically(path, "x"));
        fs::last_write_time(path, when);
    };
    const auto before = sandbox.openedAt() - std::chrono::hours(1);
    const auto since = sandbox.openedAt() + std::chrono::seconds(1);
    const fs::path documents = sandbox.documentsDirectory();
    plant(documents / "OTInAppWindowData.plist.tmp4242.7", before);
    plant(sandbox.root() / "tmp" / "download-3.mp4", before);
    plant(documents / "OTWindowRecordTreeData.plist.tmp4242.8", since);
    plant(documents / "OTInAppWindowData.plist", before);
    plant(documents / "notes.tmp", before);
    plant(documents / "a.tmp12", before);
    auto engine = OTSDKManager::sharedManager();
    engine->startWithConfiguration(std::make_shared<CorvaneOtConfig>());
    engine->startWithConfiguration(std::make_shared<CorvaneOtConfig>());
    test.scheduler().runUntilIdle();
    EXPECT_FALSE(fs::exists(documents / "OTInAppWindowData.plist.tmp4242.7"));
    EXPECT_FALSE(fs::exists(sandbox.root() / "tmp" / "download-3.mp4"));
    for (const char* kept :
         {"OTWindowRecordTreeData.plist.tmp4242.8", "OTInAppWindowData.plist", "notes.tmp", "a.tmp12"}) {
        EXPECT_TRUE(fs::exists(documents / kept)) << kept;
    }
    EXPECT_EQ(test.logCount("已清理上次运行中断写入留下的 2 个临时文件"), 1u);
}

// A full disk, imitated with a file-size limit of one byte: every write fails and is logged, the
// values in memory stay, and nothing throws.
TEST(OTCrashSafeFiles, AFullSandboxFailsWritesButKeepsTheValuesInMemory) {
    OTTestEnvironment test;
    auto& defaults = OTUserDefaults::standardUserDefaults();
    defaults.setObject("before", "key");
    auto engine = OTSDKManager::sharedManager();
    auto event = std::make_shared<OTEvent>();
    event->setModelWithDic(nlohmann::json{{"xwhat", "$clickDialog"}});

    struct sigaction ignore {};
    ignore.sa_handler = SIG_IGN;
    struct sigaction previous {};
    ::sigaction(SIGXFSZ, &ignore, &previous);
    rlimit saved{};
    ::getrlimit(RLIMIT_FSIZE, &saved);
    rlimit tiny = saved;
    tiny.rlim_cur = 1;
    ASSERT_EQ(::setrlimit(RLIMIT_FSIZE, &tiny), 0);

    EXPECT_NO_THROW(defaults.setObject("after", "key"));
    EXPECT_FALSE(defaults.synchronize());
    EXPECT_NO_THROW(defaults.setData(OTPropertyList::Data(OTUserDefaults::kMaxInlineDataBytes + 1, 7), "picture"));
    EXPECT_NO_THROW(engine->reporter().syncCachedEvent(event, true));

    ASSERT_EQ(::setrlimit(RLIMIT_FSIZE, &saved), 0);
    ::sigaction(SIGXFSZ, &previous, nullptr);

    EXPECT_EQ(defaults.stringForKey("key"), "after");
    EXPECT_FALSE(defaults.dataForKey("picture").has_value());
    // The file still holds what was last written whole.
    EXPECT_EQ(OTUserDefaults(defaults.path()).stringForKey("key"), "before");
    const auto log = test.log();
    EXPECT_NE(log.find("写入文件失败：" + defaults.path().string()), std::string::npos);
    EXPECT_NE(log.find("数据文件写入失败，未写入用户设置：picture"), std::string::npos);
    EXPECT_NE(log.find("syncCachedEvents 失败！isWindowEvent ：@(1)"), std::string::npos);
}

}  // namespace corvane
