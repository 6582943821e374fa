// Memory: what a list of campaigns costs once it is held, and the peak while it is downloaded,
// logged and archived, counted allocation by allocation.
#include <benchmark/benchmark.h>

#include <filesystem>

#include "OTAllocationCounter.h"
#include "OTBenchScratch.h"
#include "core/OTCampaignStore.h"
#include "core/OTSDKManager.h"
#include "corvane/CorvaneOtManager.h"
#include "platform/OTEnvironment.h"
#include "platform/OTHTTPTransport.h"
#include "platform/deterministic/OTManualScheduler.h"
#include "server/OTServerSession.h"

namespace corvane {

using nlohmann::json;

namespace {
// The server, answered at once: a token at login, `inApp` for the dialog list, empty lists for
// everything else.
class CannedServer final : public OTHTTPTransport {
public:
    explicit CannedServer(std::string inApp) : inApp_(std::move(inApp)) {}

    void send(Request request, Completion completion) override {
        const auto endsWith = [&](const std::string& path) {
            return request.url.size() >= path.size() &&
                   request.url.compare(request.url.size() - path.size(), path.size(), path) == 0;
        };
        if (endsWith("/push/sdk/login")) {
            complete(completion, 200, R"({"code":0,"message":"success","token":"token-1","rule":{}})", std::nullopt);
        } else if (endsWith("/push/sdk/in_app")) {
            // A copy, as a body read off the network would be.
            complete(completion, 200, std::string(inApp_), std::nullopt);
        } else {
            complete(completion, 200, R"({"code":0,"message":"success","data":[]})", std::nullopt);
        }
    }
    void shutdown() override {}

private:
    std::string inApp_;
};

std::string inAppAnswer(int count) {
    json data = json::array();
    for (int id = 1; id <= count; ++id) data.push_back(OTBenchScratch::campaignJSON(id, "buy"));
    return json{{"code", 0}, {"message", "success"}, {"data", std::move(data)}}.dump();
}
}  // namespace

// Reported per campaign: the bytes that stay held once the list is in use (goal: at most 4 KB at
// 10,000 campaigns), the peak above the start while it was downloaded, logged and archived, and
// `peak/resident` (goal: at most 3); `answer` and `archive` are the server's text and the stored
// file per campaign (none when the list was refused).
static void BM_CampaignListMemory(benchmark::State& state) {
    const auto count = static_cast<int>(state.range(0));
    std::size_t resident = 0, peak = 0, held = 0, answer = 0, archive = 0;
    for (auto _ : state) {
        auto server = std::make_shared<CannedServer>(inAppAnswer(count));
        answer = inAppAnswer(count).size();
        OTBenchScratch scratch(server);
        auto engine = std::static_pointer_cast<OTSDKManager>(CorvaneOtManager::getObserverListener("group.bench"));
        engine->session().setUserId("user-1");
        auto config = std::make_shared<CorvaneOtConfig>();
        config->setApplicationGroupIdentifier("group.bench");
        config->setAppKey("app-key");
        config->setUrl("https://bench.invalid/");
        scratch.scheduler().runUntilIdle();
        const auto before = OTAllocationCounter::liveBytes();
        OTAllocationCounter::resetPeak();
        CorvaneOtManager::startWithConfig(config);
        scratch.scheduler().runUntilIdle();
        held = engine->campaigns().inAppDataArray().size();
        resident = OTAllocationCounter::liveBytes() - before;
        peak = OTAllocationCounter::peakBytes() - before;
        std::error_code ec;
        archive = std::filesystem::file_size(
            OTEnvironment::current()->sandbox().documentsDirectory() / OTCampaignStore::kInAppFileName, ec);
        if (ec) archive = 0;
    }
    const auto perCampaign = [&](std::size_t bytes) { return static_cast<double>(bytes) / count; };
    state.counters["held"] = static_cast<double>(held);
    state.counters["resident_B/campaign"] = perCampaign(resident);
    state.counters["peak_B/campaign"] = perCampaign(peak);
    state.counters["peak/resident"] = static_cast<double>(peak) / static_cast<double>(resident);
    state.counters["answer_B/campaign"] = perCampaign(answer);
    state.counters["archive_B/campaign"] = perCampaign(archive);
}
BENCHMARK(BM_CampaignListMemory)->Arg(1000)->Arg(10000)->Iterations(1)->Unit(benchmark::kMillisecond);

}  // namespace corvane
