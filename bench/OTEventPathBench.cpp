// The event path: one analytics event walked past every campaign, set beside its floor (the bytes
// the walk logs, appended through the logger's file path), and the time each event costs the main
// queue. The ratios are measured within the same iterations, so they hold on a busy machine.
#include <benchmark/benchmark.h>

#include <chrono>
#include <filesystem>

#include "OTBenchScratch.h"
#include "core/OTCampaignStore.h"
#include "core/OTSDKManager.h"
#include "model/OTEvent.h"
#include "model/OTWindowData.h"
#include "platform/OTScheduler.h"
#include "platform/deterministic/OTManualScheduler.h"
#include "services/OTLogger.h"

namespace corvane {

using nlohmann::json;
using Campaigns = std::vector<std::shared_ptr<const OTWindowData>>;

namespace {
using Clock = std::chrono::steady_clock;

double seconds(Clock::duration d) { return std::chrono::duration<double>(d).count(); }

// The run's log file may grow this far here: the floor is only a floor while every phase writes.
constexpr std::uint64_t kBenchLogBytes = std::uint64_t{1} << 36;

std::uintmax_t logBytes() {
    std::error_code ec;
    const auto size = std::filesystem::file_size(OTLogger::getInstance()->logFilePath(), ec);
    return ec ? 0 : size;
}

// The lines a walk past campaigns that do not match writes, formatted here from the records.
void logWalkLines(const std::shared_ptr<OTEvent>& event, const Campaigns& campaigns) {
    for (std::size_t index = 0; index < campaigns.size(); ++index) {
        const auto& data = campaigns[index];
        OTLog(OTLogger::kLevelLog, "corvane->triggerEventMatchInApp:event->%@,startIndex:%d,inAppDataArray:%d", event,
              index, campaigns.size());
        OTLog(OTLogger::kLevelLog, "corvane->triggerEventMatchInApp:%@", data);
        OTLog(OTLogger::kLevelLog, "corvane->triggerEventMatchInApp:windowData.type=%d,preEvent=%d", data->type(),
              data->preEvents().size());
        OTLog(OTLogger::kLevelLog, "corvane->triggerEventMatchInApp->mainPage:%@", nullptr);
        OTLog(OTLogger::kLevelLog, "corvane->handleEvent:event->%@,windowData->%@", event, data);
        OTLog(OTLogger::kLevelLog, "corvane->handleEvent-->nomaches");
    }
    OTLog(OTLogger::kLevelLog, "corvane->triggerEventMatchInApp:event->%@,startIndex:%d,inAppDataArray:%d", event,
          campaigns.size(), campaigns.size());
}
}  // namespace

// Reported: the walk's own time per iteration, `walk/floor` (goal: at most 1.5), `format/floor`,
// the bytes each phase appended and the walk's cost per campaign, which should stay flat from 100
// to 10,000 campaigns. The log file's cap is lifted for the run; a walk and a floor that wrote
// nothing, or not the same bytes, end the measurement with an error instead of a ratio.
static void BM_MatchWalkVsFloor(benchmark::State& state) {
    OTBenchScratch scratch;
    const auto count = static_cast<int>(state.range(0));
    auto engine = OTSDKManager::sharedManager();
    const auto campaigns = OTBenchScratch::campaigns(count, "other");
    engine->campaigns().setInAppDataArray(campaigns);
    const json data = {{"xwhat", "buy"}, {"xcontext", {{"price", 150}}}};
    auto logger = OTLogger::getInstance();
    logger->setMaxFileBytes(kBenchLogBytes);
    scratch.scheduler().runUntilIdle();

    // One walk heard message by message; it also settles what the records keep for later walks.
    std::vector<std::string> messages;
    logger->setListener([&messages](std::int64_t, const std::string& message) { messages.push_back(message); });
    engine->triggerEventMatchWithData(data);
    scratch.scheduler().runUntilIdle();
    logger->setListener(nullptr);
    auto event = std::make_shared<OTEvent>();
    event->setModelWithDic(data);

    Clock::duration walk{}, floor{}, formatted{};
    std::uintmax_t walkBytes = 0, floorBytes = 0, formatBytes = 0;
    for (auto _ : state) {
        const auto before = logBytes();
        const auto t0 = Clock::now();
        engine->triggerEventMatchWithData(data);
        scratch.scheduler().runUntilIdle();
        const auto t1 = Clock::now();
        const auto afterWalk = logBytes();
        for (const auto& message : messages) logger->_log(message);
        scratch.scheduler().runUntilIdle();
        const auto t2 = Clock::now();
        const auto afterFloor = logBytes();
        logWalkLines(event, campaigns);
        scratch.scheduler().runUntilIdle();
        const auto t3 = Clock::now();
        walk += t1 - t0;
        floor += t2 - t1;
        formatted += t3 - t2;
        walkBytes = afterWalk - before;
        floorBytes = afterFloor - afterWalk;
        formatBytes = logBytes() - afterFloor;
        state.SetIterationTime(seconds(t1 - t0));
        if (walkBytes == 0 || walkBytes != floorBytes) {
            state.SkipWithError(("the floor is not the walk's: the walk wrote " + std::to_string(walkBytes) +
                                 " bytes, the floor " + std::to_string(floorBytes))
                                    .c_str());
            break;
        }
    }
    if (state.error_occurred()) return;
    state.counters["walk/floor"] = seconds(walk) / seconds(floor);
    state.counters["format/floor"] = seconds(formatted) / seconds(floor);
    state.counters["us/campaign"] = seconds(walk) * 1e6 / (static_cast<double>(state.iterations()) * count);
    state.counters["walkBytes"] = static_cast<double>(walkBytes);
    state.counters["floorBytes"] = static_cast<double>(floorBytes);
    state.counters["formatBytes"] = static_cast<double>(formatBytes);
}
BENCHMARK(BM_MatchWalkVsFloor)
    ->Arg(10)
    ->Arg(100)
    ->Arg(1000)
    ->Arg(10000)
    ->UseManualTime()
    ->Unit(benchmark::kMicrosecond);

// The same walk with the host listening for decisions, beside the walk without: `traced/plain`
// (goal: at most 1.2 over 100 and 1,000 campaigns), measured within the same iterations. Both
// write their log, as in an app: the log file's cap is lifted here too.
static void BM_MatchWalkTraced(benchmark::State& state) {
    OTBenchScratch scratch;
    const auto count = static_cast<int>(state.range(0));
    OTLogger::getInstance()->setMaxFileBytes(kBenchLogBytes);
    auto engine = OTSDKManager::sharedManager();
    engine->campaigns().setInAppDataArray(OTBenchScratch::campaigns(count, "other"));
    const json data = {{"xwhat", "buy"}, {"xcontext", {{"price", 150}}}};
    std::size_t records = 0;
    const auto listen = [&engine, &records](bool on) {
        if (on) engine->setDecisionListener([&records](const json&) { ++records; });
        else engine->setDecisionListener(nullptr);
    };
    engine->triggerEventMatchWithData(data);
    scratch.scheduler().runUntilIdle();
    Clock::duration traced{}, plain{};
    for (auto _ : state) {
        listen(true);
        const auto t0 = Clock::now();
        engine->triggerEventMatchWithData(data);
        scratch.scheduler().runUntilIdle();
        const auto t1 = Clock::now();
        listen(false);
        engine->triggerEventMatchWithData(data);
        scratch.scheduler().runUntilIdle();
        const auto t2 = Clock::now();
        traced += t1 - t0;
        plain += t2 - t1;
        state.SetIterationTime(seconds(t1 - t0));
    }
    state.counters["traced/plain"] = seconds(traced) / seconds(plain);
    state.counters["records"] = static_cast<double>(records);
}
BENCHMARK(BM_MatchWalkTraced)->Arg(100)->Arg(1000)->UseManualTime()->Unit(benchmark::kMicrosecond);

// Events from the analytics SDK as the host delivers them, over 1,000 campaigns, none shown: the
// main queue's share of each (goal: at most 50 µs) beside the event queue's, log written.
static void BM_EventQueueShares(benchmark::State& state) {
    OTBenchScratch scratch;
    OTLogger::getInstance()->setMaxFileBytes(kBenchLogBytes);
    auto engine = OTSDKManager::sharedManager();
    engine->campaigns().setInAppDataArray(OTBenchScratch::campaigns(1000, "other"));
    const json data = {{"xwhat", "buy"}, {"xcontext", {{"price", 150}}}, {"source", 0}};
    engine->onEventDataReceived(data);
    scratch.scheduler().runUntilIdle();
    scratch.scheduler().resetLaneUse();
    for (auto _ : state) {
        engine->onEventDataReceived(data);
        scratch.scheduler().runUntilIdle();
    }
    const auto use = scratch.scheduler().laneUse();
    const auto events = static_cast<double>(state.iterations());
    const auto share = [&](const std::string& label) {
        const auto it = use.find(label);
        return it == use.end() ? 0.0 : seconds(it->second.busy) * 1e6 / events;
    };
    state.counters["mainQueue_us"] = share(OTScheduler::kMainQueueLabel);
    state.counters["eventQueue_us"] = share(OTSDKManager::kEventQueueLabel);
}
BENCHMARK(BM_EventQueueShares)->Unit(benchmark::kMillisecond);

}  // namespace corvane
