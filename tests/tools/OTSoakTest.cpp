#include <gtest/gtest.h>

#include <algorithm>
#include <cstdio>
#include <fstream>
#include <future>
#include <nlohmann/json.hpp>
#include <sstream>
#include <string>
#include <vector>

#include "OTSoak.h"
#include "OTSoakLedger.h"
#include "foundation/OTFiles.h"
#include "foundation/OTPropertyList.h"
#include "support/OTTestEnvironment.h"

namespace corvane {

using nlohmann::json;

namespace {
json report(const std::string& xwhat, const std::string& campaign, double when) {
    return {{"appid", ""},   {"count", 1},   {"xwhat", xwhat},
            {"xwhen", when}, {"xwho", "u1"}, {"xcontext", {{"activityId", campaign}, {"price", 90.0}}}};
}

json fate(const char* name, const char* queue, const json& about) {
    json record{{"type", "report"}, {"fate", name}, {"queue", queue}};
    if (std::string(name) == "dropped") record["reports"] = json::array({about});
    else if (std::string(name) == "loaded") record["count"] = about;
    else record["report"] = about;
    return record;
}

}  // namespace

TEST(OTSoakLedger, EveryReportIsAccountedForAndOnesDroppedOnTheFloorAreCaught) {
    using End = OTSoakLedger::End;
    OTSoakLedger ledger(0, {}, 70);
    const auto sent = report("$impDialog", "7", 1000);
    const auto resent = report("$clickDialog", "7", 1001);
    const auto refused = report("$closeDialog", "7", 1002);
    const auto kept = report("$ot_push_click", "p1", 1003);
    const auto full = report("$impDialog", "8", 1004);
    const auto waiting = report("$impDialog", "9", 1005);
    const auto overwritten = report("$impDialog", "10", 1006);
    const auto failed = report("$closeDialog", "11", 1007);
    const auto later = report("$x", "12", 1008);

    // Life 1 ends at once: one sent, one sent three times (refused first), one refused, one kept
    // in its queue file, one dropped from a full queue, one still waiting for its answer.
    ledger.lifeBegan(0, {});
    for (const auto& made : {sent, resent, refused, kept, full, waiting}) {
        ledger.reportObserved(1, 1, fate("made", "window", made));
    }
    ledger.serverReceived(sent, false);
    ledger.reportObserved(2, 2, fate("sent", "window", sent));
    // The server reads whole numbers as integers: 90.0 arrives as 90 and is the same report.
    ledger.serverReceived(json::parse(resent.dump().replace(resent.dump().find("90.0"), 4, "90")), true);
    ledger.serverReceived(resent, false);
    ledger.serverReceived(resent, false);
    ledger.serverReceived(refused, true);
    ledger.reportObserved(2, 2, fate("refused", "window", refused));
    ledger.reportObserved(2, 2, fate("failed", "push", kept));
    ledger.reportObserved(2, 2, fate("queued", "push", kept));
    ledger.reportObserved(2, 2, fate("dropped", "window", full));
    ledger.lifeEnded(3, 10, End::Ended, {{"push", {kept}}, {"window", {overwritten}}});

    // Life 2 writes its window queue before reading it back: the earlier file's report is gone by
    // design. It dies in that very write, so nothing said it was queued: the file itself tells. It
    // also holds a report lost in transport and not yet queued.
    ledger.lifeBegan(3, {{"push", {kept}}, {"window", {overwritten}}});
    ledger.reportObserved(4, 11, fate("made", "window", failed));
    ledger.reportObserved(4, 11, fate("failed", "window", failed));
    ledger.reportObserved(4, 11, fate("made", "window", later));
    ledger.lifeEnded(5, 12, End::Killed, {{"push", {kept}}, {"window", {later}}});

    auto totals = ledger.totals();
    EXPECT_EQ(totals.made, 9u);
    EXPECT_EQ(totals.sent, 2u);
    EXPECT_EQ(totals.refused, 1u);
    EXPECT_EQ(totals.queued, 2u);
    EXPECT_EQ(totals.droppedByBound, 1u);
    EXPECT_EQ(totals.lostByOverwrite, 1u);
    EXPECT_EQ(totals.inFlightAtEnd, 2u);
    EXPECT_EQ(totals.lostOtherwise, 0u);
    EXPECT_EQ(totals.duplicates, 2u);
    EXPECT_TRUE(ledger.lostReports().empty());

    // Life 3 reads its queue back, then loses three reports: one failed and never queued, one
    // never answered in all the time a report may wait, and one read back and never sent before
    // a quiet end in which everything had time to be answered.
    ledger.lifeBegan(5, {{"push", {kept}}, {"window", {later}}});
    ledger.reportObserved(6, 20, fate("loaded", "window", 1));
    const auto lostFailed = report("$closeDialog", "13", 2000);
    const auto unanswered = report("$clickDialog", "14", 2001);
    ledger.reportObserved(6, 20, fate("made", "window", lostFailed));
    ledger.reportObserved(6, 20, fate("failed", "window", lostFailed));
    ledger.reportObserved(6, 20, fate("made", "window", unanswered));
    ledger.lifeEnded(8, 95, End::Ended, {{"push", {kept}}});
    ledger.lifeBegan(8, {{"push", {kept}}});
    ledger.reportObserved(9, 96, fate("made", "push", report("$y", "15", 3)));
    ledger.lifeEnded(9, 97, End::Drained, {{"push", {kept}}});
    const auto lost = ledger.lostReports();
    std::vector<std::string> what;
    for (const auto& breach : lost) what.push_back(breach.what.substr(0, breach.what.find(": {")));
    std::sort(what.begin(), what.end());
    EXPECT_EQ(what, (std::vector<std::string>{"report lost: $clickDialog of campaign 14",
                                              "report lost: $closeDialog of campaign 13",
                                              "report lost: $x of campaign 12", "report lost: $y of campaign 15"}));
    EXPECT_EQ(ledger.totals().lostOtherwise, 4u);
}

TEST(OTSoakLedger, DialogsOverTheDailyCapOrACampaignsCountAreBreaches) {
    OTSoakLedger ledger(2, {{"101", 3}}, 70);
    std::vector<std::string> broken;
    const auto show = [&](const char* campaign, std::int64_t period, std::int64_t day, std::int64_t user) {
        for (auto& line : ledger.dialogShown(campaign, period, day, user)) broken.push_back(std::move(line));
    };
    show("101", 0, 20000, 0);
    show("102", 0, 20000, 0);
    EXPECT_TRUE(broken.empty());
    // The next day, and the same day again after the clock went back, count afresh.
    show("101", 0, 20001, 0);
    show("102", 1, 20000, 0);
    EXPECT_TRUE(broken.empty());
    show("103", 0, 20000, 0);
    ASSERT_EQ(broken.size(), 1u);
    EXPECT_EQ(broken[0], "dialog 103 makes 3 shown on one calendar day, over the daily cap of 2");
    // 101 may be shown three times to each user.
    show("101", 2, 20002, 0);
    show("101", 2, 20003, 0);
    ASSERT_EQ(broken.size(), 2u);
    EXPECT_EQ(broken[1], "dialog 101 shown 4 times to one user, over its count of 3");
    show("101", 3, 20004, 1);
    EXPECT_EQ(broken.size(), 2u);
}

TEST(OTSoakLedger, AHalfWrittenFileIsFoundAndTemporaryOrAbsentOnesAreNot) {
    OTTestEnvironment test;
    const auto folder = test.root() / "app";
    std::filesystem::create_directories(folder / "Documents");
    const auto whole =
        OTPropertyList(OTPropertyList::Dictionary{{"k", OTPropertyList(std::string(3000, 'v'))}}).toBinary().value();
    ASSERT_TRUE(OTFiles::writeFileAtomically(folder / "Documents" / "whole.plist", whole));
    EXPECT_TRUE(OTSoakLedger::unreadableFiles(folder).empty());
    // A crash's leftover temporary file is swept at the next start, not read.
    std::ofstream(folder / "Documents" / "whole.plist.tmp1234.7") << whole.substr(0, 100);
    std::ofstream(folder / "notes.txt") << "not a property list";
    EXPECT_TRUE(OTSoakLedger::unreadableFiles(folder).empty());
    std::ofstream(folder / "Documents" / "half.plist") << whole.substr(0, whole.size() / 2);
    EXPECT_EQ(OTSoakLedger::unreadableFiles(folder),
              std::vector<std::filesystem::path>{folder / "Documents" / "half.plist"});
}

// An app that dies or stops answering ends the run with a breach that names the step.
TEST(OTSoak, AnAppThatDiesOrHangsIsABreach) {
    OTTestEnvironment test;
    const auto hangs = test.root() / "hangs.sh";
    std::ofstream(hangs) << "#!/bin/sh\nexec sleep 30\n";
    std::filesystem::permissions(hangs, std::filesystem::perms::owner_all);
    for (const auto& [program, expected] :
         {std::pair{std::filesystem::path("/bin/false"), std::string("the app exited with status 1 on ")},
          std::pair{hangs, std::string("the app hung on ")}}) {
        OTSoak::Options options;
        options.seed = 1;
        options.campaigns = OT_SAMPLE_CAMPAIGNS;
        options.folder = test.root() / ("run-" + program.filename().string());
        options.program = program;
        options.stepTimeout = std::chrono::seconds(1);
        std::ostringstream out;
        EXPECT_FALSE(OTSoak(options, out).run());
        EXPECT_NE(out.str().find("breach at step 0 (seed 1): " + expected + R"({"action":"app")"), std::string::npos)
            << out.str();
        EXPECT_TRUE(out.str().ends_with("  invariants            1 breached\nsoak: the run's files are kept in " +
                                        options.folder->string() + "\n"))
            << out.str();
    }
}

// A few short seeded runs, each restarting and killing the app: every invariant holds.
TEST(OTSoak, ShortSeededRunsHoldEveryInvariant) {
    std::vector<std::future<std::pair<int, std::string>>> runs;
    for (const int seed : {2, 3}) {
        runs.push_back(std::async(std::launch::async, [seed] {
            const std::string command = std::string(OTSIM_PATH) + " --soak " + std::to_string(seed) +
                                        " --days 1 --campaigns " + OT_SAMPLE_CAMPAIGNS + " 2>&1";
            std::string output;
            FILE* pipe = ::popen(command.c_str(), "r");
            if (pipe == nullptr) return std::pair{-1, output};
            char buffer[4096];
            while (std::fgets(buffer, sizeof buffer, pipe) != nullptr) output += buffer;
            return std::pair{::pclose(pipe), output};
        }));
    }
    for (auto& run : runs) {
        const auto [status, output] = run.get();
        EXPECT_EQ(status, 0) << output;
        // The accounting is the run's last lines.
        const auto at = output.rfind("soak accounting (seed ");
        ASSERT_NE(at, std::string::npos) << output;
        const auto accounting = output.substr(at);
        EXPECT_NE(accounting.find("\n    lost otherwise      0\n"), std::string::npos) << output;
        EXPECT_TRUE(accounting.ends_with("\n  invariants            held\n")) << output;
        EXPECT_EQ(output.find("breach"), std::string::npos) << output;
        EXPECT_NE(accounting.find(" killed)\n"), std::string::npos);
        EXPECT_EQ(accounting.find("\n  restarts              0 "), std::string::npos) << output;
    }
}

}  // namespace corvane
