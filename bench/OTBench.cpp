// otbench: how fast the library's hot paths run. Each benchmark installs a deterministic
// environment (virtual clock, manual scheduler, a temporary sandbox) of its own.
#include <benchmark/benchmark.h>

#include "OTBenchScratch.h"

#include "core/OTSDKManager.h"
#include "foundation/OTJSONWriter.h"
#include "model/OTBanner.h"
#include "model/OTEvent.h"
#include "model/OTWindowData.h"
#include "platform/OTEnvironment.h"
#include "platform/OTTextMeasurer.h"
#include "platform/deterministic/OTManualScheduler.h"
#include "render/OTHeadlessUIHost.h"
#include "services/OTDataArchiver.h"
#include "ui/OTBannerManager.h"
#include "ui/OTBannerView.h"
#include "ui/OTCycleScrollView.h"
#include "ui/OTPopWindow.h"
#include "view/OTNavigationController.h"
#include "view/OTWindow.h"

namespace corvane {

using nlohmann::json;

// An incoming event against one condition with a number predicate.
static void BM_EventMatchesCondition(benchmark::State& state) {
    OTBenchScratch scratch;
    OTEvent incoming, condition;
    incoming.setModelWithDic({{"xwhat", "buy"}, {"xcontext", {{"price", 150}, {"name", "Ann"}}}});
    condition.setModelWithDic(OTBenchScratch::campaignJSON(1, "buy")["event"]);
    for (auto _ : state) benchmark::DoNotOptimize(incoming.matches(&condition));
}
BENCHMARK(BM_EventMatchesCondition);

// A campaign object from the server into its record.
static void BM_CampaignFromJSON(benchmark::State& state) {
    OTBenchScratch scratch;
    const json dic = OTBenchScratch::campaignJSON(1, "buy");
    for (auto _ : state) {
        OTWindowData data;
        data.setModelWithDic(dic);
        benchmark::DoNotOptimize(data.windowId());
    }
}
BENCHMARK(BM_CampaignFromJSON);

// The campaign list file written and read back (keyed archive, binary property list).
static void BM_CampaignArchiveRoundTrip(benchmark::State& state) {
    OTBenchScratch scratch;
    const auto list = OTBenchScratch::campaigns(static_cast<int>(state.range(0)), "buy");
    const auto path = OTEnvironment::current()->sandbox().documentsDirectory() / "OTInAppWindowData.plist";
    for (auto _ : state) {
        OTDataArchiver::setData(list, path);
        benchmark::DoNotOptimize(OTDataArchiver::getObjectsForPath<OTWindowData>(path));
    }
    state.SetItemsProcessed(state.iterations() * state.range(0));
}
BENCHMARK(BM_CampaignArchiveRoundTrip)->Arg(10)->Arg(1000)->Unit(benchmark::kMillisecond);

// A text dialog measured, laid out, shown and closed on a headless screen.
static void BM_TextDialogLayout(benchmark::State& state) {
    OTBenchScratch scratch;
    auto window =
        std::make_shared<OTWindow>(OTNavigationController::withRoot(std::make_shared<OTViewController>("HomeVC")));
    scratch.host().setWindows({window});
    auto data = std::make_shared<OTWindowData>();
    data->setModelWithDic(OTBenchScratch::campaignJSON(1, "buy"));
    for (auto _ : state) {
        auto dialog = std::make_shared<OTPopWindow>();
        dialog->popWithData(data, nullptr);
        dialog->closeWithCompletion(nullptr);
        scratch.scheduler().advance(std::chrono::milliseconds(250));
    }
}
BENCHMARK(BM_TextDialogLayout)->Unit(benchmark::kMicrosecond);

// The Linux text model over a long mixed text.
static void BM_TextModelHeight(benchmark::State& state) {
    std::string text;
    while (text.size() < static_cast<std::size_t>(state.range(0))) text += "New arrivals every week. 每周都有新品。 ";
    for (auto _ : state) benchmark::DoNotOptimize(OTTextMeasurer::modelHeight(text, 15.24, 5, 306.7));
    state.SetBytesProcessed(state.iterations() * static_cast<std::int64_t>(text.size()));
}
BENCHMARK(BM_TextModelHeight)->Arg(1024)->Arg(100 * 1024)->Unit(benchmark::kMicrosecond);

// The pretty JSON body of one usage report.
static void BM_ReportBody(benchmark::State& state) {
    OTBenchScratch scratch;
    OTEvent event;
    event.setModelWithDic({{"xwhat", "$impDialog"},
                           {"xwhen", 1714521600000.0},
                           {"xcontext", {{"activityId", "101"}, {"$dialog_type", 1}, {"$lib_version", "2.2.2"}}}});
    for (auto _ : state) {
        const json body = {{"os", {{"brand", "iphone"}, {"platform", "ios"}}},
                           {"events", json::array({event.toDictionary()})}};
        benchmark::DoNotOptimize(OTJSONWriter::prettyString(body));
    }
}
BENCHMARK(BM_ReportBody);

// ---- Banners ----

// A banner list as the server sends it: 100 banners parsed and digested.
static void BM_BannerListFromJSON(benchmark::State& state) {
    OTBenchScratch scratch;
    json list = json::array();
    for (int id = 0; id < 100; ++id) list.push_back(OTBenchScratch::bannerJSON(id));
    for (auto _ : state) {
        for (const auto& element : list) {
            auto banner = std::make_shared<OTBanner>();
            banner->setModelWithDic(element);
            benchmark::DoNotOptimize(banner);
        }
    }
}
BENCHMARK(BM_BannerListFromJSON)->Unit(benchmark::kMicrosecond);

// The size and the layout of each style, as pure arithmetic.
static void BM_BannerFetchSizeAndLayout(benchmark::State& state) {
    double width = 320;
    for (auto _ : state) {
        for (std::int64_t style = 1; style <= 5; ++style) {
            benchmark::DoNotOptimize(OTBannerView::fetchSize(style, width, 40));
            benchmark::DoNotOptimize(OTBannerView::layoutFor(style, width, 40));
        }
        width = width >= 430 ? 320 : width + 1;
    }
}
BENCHMARK(BM_BannerFetchSizeAndLayout);

// The carousel's index, page and step arithmetic for one tick.
static void BM_CarouselArithmetic(benchmark::State& state) {
    double offset = 0;
    for (auto _ : state) {
        const auto index = OTCycleScrollView::currentIndexFor(offset, 355, {355, 233});
        benchmark::DoNotOptimize(OTCycleScrollView::pageControlIndexWithCurrentCellIndex(index, 3));
        benchmark::DoNotOptimize(OTCycleScrollView::scrollStepTo(index + 1, 300, true));
        offset = offset > 300 * 355 ? 0 : offset + 355;
    }
}
BENCHMARK(BM_CarouselArithmetic);

// One banner rendered into a table cell, the previous banner view replaced.
static void BM_BannerRenderIntoTableCell(benchmark::State& state) {
    OTBenchScratch scratch;
    auto manager = OTBannerManager::sharedManager();
    OTBannerManager::Banners banners;
    for (int id = 0; id < 100; ++id) {
        auto banner = std::make_shared<OTBanner>();
        banner->setModelWithDic(OTBenchScratch::bannerJSON(id));
        banners.push_back(banner);
    }
    manager->setBannerDefaultArray(banners);
    auto table = OTHeadlessUIHost::makeTableViewWithCell({390, 600});
    auto config = std::make_shared<CorvaneBannerConfig>();
    config->setLocationId("location-1");
    config->setContainer(table->subviews().front());
    for (auto _ : state) benchmark::DoNotOptimize(manager->renderBanner(config));
}
BENCHMARK(BM_BannerRenderIntoTableCell)->Unit(benchmark::kMicrosecond);

}  // namespace corvane

BENCHMARK_MAIN();
