#include <gtest/gtest.h>

#include "platform/OTScheduler.h"
#include "platform/deterministic/OTManualScheduler.h"
#include "server/OTEventReporter.h"
#include "support/OTServerHarness.h"
#include "ui/OTBannerManager.h"

namespace corvane {

using namespace std::chrono_literals;

TEST(OTIdle, AStartedLibraryWithNothingToDoWakesOnlyForItsCacheTrims) {
    OTServerHarness h;
    h.test.installHostApp();
    h.start();
    ASSERT_TRUE(h.waitForOutcomes("/push/sdk/in_app"));
    ASSERT_TRUE(h.waitForOutcomes(OTBannerManager::kBannerPath));
    h.test.scheduler().runUntilIdle();  // the banners are taken in on the main queue
    // The start's own follow-ups settle within minutes; the one report of the start, "$pullDialog",
    // is answered on the HTTP thread.
    h.test.scheduler().advance(5min);
    ASSERT_TRUE(h.waitForOutcomes(OTEventReporter::kReportPath));
    h.test.scheduler().runUntilIdle();
    h.test.scheduler().resetLaneUse();

    h.test.scheduler().advance(1h);
    std::size_t others = 0;
    for (const auto& [label, use] : h.test.scheduler().laneUse()) {
        if (label == OTScheduler::kBackgroundQueueLabel) {
            EXPECT_EQ(use.runs, 60u) << "one cache trim a minute";
        } else {
            others += use.runs;
            EXPECT_EQ(use.runs, 0u) << label << " woke up with nothing to do";
        }
    }
    EXPECT_EQ(others, 0u);
    EXPECT_EQ(h.test.scheduler().pendingCount(), 1u);  // the next trim
}

}  // namespace corvane
