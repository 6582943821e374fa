#include <gtest/gtest.h>

#include <thread>

#include "platform/deterministic/OTSimulatedFileSystem.h"
#include "platform/linux/OTLinuxFileSystem.h"
#include "support/OTTestEnvironment.h"

namespace corvane {

namespace {
using Stage = OTSimulatedFileSystem::Stage;
using Files = OTSimulatedFileSystem::Files;
constexpr Stage kStages[] = {Stage::BeforeTemporary, Stage::HalfWritten, Stage::AfterRename};
const OTFileSystem::Path kJournal = "/box/Library/OTFileJournal.bin";

// Two files changed in one batch, the second by a removal.
void changeBoth(OTFileSystem& files) {
    OTFileSystem::Batch batch(files);
    files.writeFileAtomically("/box/a.plist", std::string("new a"));
    files.removeFile("/box/b.plist");
    batch.commit();
}
}  // namespace

TEST(OTFileSystem, ABatchLandsWholeOrNotAtAllWhereverTheProcessStops) {
    const Files before = {{"/box/a.plist", "old a"}, {"/box/b.plist", "old b"}};
    OTSimulatedFileSystem measure(before);
    measure.openJournal(kJournal);
    changeBoth(measure);
    // The journal, the two changes, the journal's removal.
    ASSERT_EQ(measure.writePoints(), 4u);
    EXPECT_EQ(measure.snapshot(), (Files{{"/box/a.plist", "new a"}}));

    for (std::uint64_t point = 1; point <= measure.writePoints(); ++point) {
        for (const auto stage : kStages) {
            SCOPED_TRACE(std::to_string(point) + " " + OTSimulatedFileSystem::stageName(stage));
            OTSimulatedFileSystem files(before);
            files.openJournal(kJournal);
            files.planCrash(point, stage);
            changeBoth(files);
            ASSERT_TRUE(files.crashed());
            files.restart();
            files.openJournal(kJournal);  // the next launch
            files.sweepTemporaryFiles("/box", {});
            const auto after = files.snapshot();
            const bool old = after == before;
            const bool fresh = after == Files{{"/box/a.plist", "new a"}};
            EXPECT_TRUE(old || fresh) << "a: " << after.count("/box/a.plist") << " b: " << after.count("/box/b.plist");
            // Once the journal is written, the change is there for good.
            EXPECT_EQ(fresh, point > 1 || stage == Stage::AfterRename);
        }
    }
}

TEST(OTFileSystem, BatchesReadTheirOwnWritesNestAndForgetWhatIsNotCommitted) {
    OTSimulatedFileSystem files(Files{{"/box/a", "1"}});
    files.openJournal(kJournal);
    {
        OTFileSystem::Batch outer(files);
        files.writeFileAtomically("/box/a", std::string("2"));
        {
            OTFileSystem::Batch inner(files);
            files.writeFileAtomically("/box/b", std::string("3"));
            EXPECT_TRUE(inner.commit());  // left to the outer batch
        }
        EXPECT_EQ(files.readFile("/box/a"), "2");
        EXPECT_EQ(files.readFile("/box/a", 0), std::nullopt);  // over the reader's bound
        std::optional<std::string> seenElsewhere;
        std::thread([&] { seenElsewhere = files.readFile("/box/a"); }).join();
        EXPECT_EQ(seenElsewhere, "1");  // another thread's writes are its own
        EXPECT_EQ(files.writePoints(), 0u);
        EXPECT_TRUE(outer.commit());
        EXPECT_FALSE(outer.commit());
    }
    EXPECT_EQ(files.snapshot(), (Files{{"/box/a", "2"}, {"/box/b", "3"}}));
    {
        OTFileSystem::Batch dropped(files);
        files.writeFileAtomically("/box/a", std::string("lost"));
    }
    EXPECT_EQ(files.readFile("/box/a"), "2");
    // A single change needs no journal.
    const auto points = files.writePoints();
    {
        OTFileSystem::Batch one(files);
        files.writeFileAtomically("/box/a", std::string("4"));
        one.commit();
    }
    EXPECT_EQ(files.writePoints(), points + 1);
}

TEST(OTFileSystem, AJournalThatDoesNotAddUpIsDroppedAndTheFilesStay) {
    for (const std::string& bad : {std::string("OTJ1"), std::string("junk"), std::string(64, '\xff'),
                                   std::string("OTJ1") + std::string(20, '\0')}) {
        OTSimulatedFileSystem files(Files{{"/box/a", "kept"}, {kJournal.string(), bad}});
        files.openJournal(kJournal);
        EXPECT_EQ(files.snapshot(), (Files{{"/box/a", "kept"}}));
    }
    // A well-formed journal with one byte changed fails its sum.
    OTSimulatedFileSystem source(Files{{"/box/a", "old"}, {"/box/b", "old"}});
    source.openJournal(kJournal);
    source.planCrash(2, Stage::BeforeTemporary);  // after the journal, before the first file
    {
        OTFileSystem::Batch batch(source);
        source.writeFileAtomically("/box/a", std::string("new"));
        source.writeFileAtomically("/box/b", std::string("new"));
        batch.commit();
    }
    auto left = source.snapshot();
    ASSERT_EQ(left.count(kJournal.string()), 1u);
    left[kJournal.string()][10] ^= 1;
    OTSimulatedFileSystem tampered(left);
    tampered.openJournal(kJournal);
    EXPECT_EQ(tampered.snapshot(), (Files{{"/box/a", "old"}, {"/box/b", "old"}}));
}

TEST(OTFileSystem, TheDevicesFilesKeepNoJournalOnceABatchHasLanded) {
    OTTestEnvironment test;
    auto& files = test.environment().files();
    const auto a = test.root() / "Library" / "a.plist";
    const auto b = test.root() / "Documents" / "b.plist";
    files.writeFileAtomically(b, std::string("old b"));
    {
        OTFileSystem::Batch batch(files);
        files.writeFileAtomically(a, std::string("new a"));
        files.writeFileAtomically(b, std::string("new b"));
        ASSERT_TRUE(batch.commit());
    }
    EXPECT_EQ(files.readFile(a), "new a");
    EXPECT_EQ(files.readFile(b), "new b");
    EXPECT_FALSE(std::filesystem::exists(test.root() / "Library" / "OTFileJournal.bin"));
    EXPECT_TRUE(files.moveFile(b, test.root() / "c"));
    EXPECT_FALSE(files.readFile(b).has_value());
    EXPECT_TRUE(files.removeFile(test.root() / "c"));
}

}  // namespace corvane
