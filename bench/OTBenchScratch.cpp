#include "OTBenchScratch.h"

#include <unistd.h>

#include "model/OTWindowData.h"
#include "platform/OTConsole.h"
#include "platform/OTEnvironment.h"
#include "platform/deterministic/OTManualScheduler.h"
#include "platform/deterministic/OTVirtualClock.h"
#include "render/OTHeadlessUIHost.h"

namespace corvane {

namespace fs = std::filesystem;
using nlohmann::json;

namespace {
class DroppingConsole final : public OTConsole {
public:
    void print(const std::string&) override {}
};
}  // namespace

OTBenchScratch::OTBenchScratch(std::shared_ptr<OTHTTPTransport> http)
    : OTBenchScratch(temporaryFolder(), std::move(http)) {
    ownsRoot_ = true;
}

OTBenchScratch::OTBenchScratch(const fs::path& keptSandbox, std::shared_ptr<OTHTTPTransport> http)
    : root_(keptSandbox), ownsRoot_(false) {
    auto clock = std::make_shared<OTVirtualClock>(OTVirtualClock::defaultStart(), std::chrono::hours(8));
    scheduler_ = std::make_shared<OTManualScheduler>(clock);
    OTEnvironment::Parts parts;
    parts.clock = clock;
    parts.scheduler = scheduler_;
    parts.sandboxRoot = root_;
    parts.console = std::make_shared<DroppingConsole>();
    host_ = std::make_shared<OTHeadlessUIHost>();
    parts.uiHost = host_;
    parts.http = std::move(http);
    environment_ = std::make_shared<OTEnvironment>(std::move(parts));
    OTEnvironment::install(environment_);
}

OTBenchScratch::~OTBenchScratch() {
    environment_->shutdown();
    OTEnvironment::install(nullptr);
    std::error_code ec;
    if (ownsRoot_) fs::remove_all(root_, ec);
}

fs::path OTBenchScratch::temporaryFolder() {
    std::string pattern = (fs::temp_directory_path() / "otbench-XXXXXX").string();
    if (::mkdtemp(pattern.data()) == nullptr) return fs::temp_directory_path() / "otbench";
    return pattern;
}

json OTBenchScratch::campaignJSON(int id, const std::string& what) {
    return {{"id", std::to_string(id)},
            {"type", 1},
            {"style", 3},
            {"count", 3},
            {"startTime", "2024-01-01 00:00:00"},
            {"endTime", "2030-12-31 23:59:59"},
            {"preEvents", {{{"xwhat", what}}}},
            {"event",
             {{"xwhat", what},
              {"rule", {{{"field", "price"}, {"dataType", "number"}, {"function", "GT"}, {"value", {"100"}}}}}}},
            {"title", {{"text", "Hello ${event.name}"}, {"size", "36pd"}}},
            {"buttonRight", {{"text", "Go"}, {"clickEvent", "DetailVC?id=1"}}}};
}

std::vector<std::shared_ptr<const OTWindowData>> OTBenchScratch::campaigns(int count, const std::string& what) {
    std::vector<std::shared_ptr<const OTWindowData>> list;
    list.reserve(static_cast<std::size_t>(count));
    for (int i = 0; i < count; ++i) {
        auto data = std::make_shared<OTWindowData>();
        data->setModelWithDic(campaignJSON(i + 1, what));
        list.push_back(data);
    }
    return list;
}

json OTBenchScratch::bannerJSON(int id) {
    json pictures = json::array();
    for (int i = 0; i < 3; ++i) {
        pictures.push_back({{"url", "https://img.example.com/" + std::to_string(id) + "-" + std::to_string(i) + ".png"},
                            {"clickEvent", "DetailVC?id=" + std::to_string(i)}});
    }
    return {{"id", std::to_string(id)},
            {"style", 1 + id % 5},
            {"locationId", "location-" + std::to_string(id % 10)},
            {"startTime", "2024-01-01 00:00:00"},
            {"endTime", "2030-12-31 23:59:59"},
            {"clickEvent", "DetailVC?id=" + std::to_string(id)},
            {"content", {{"text", "春季上新，满 300 减 50"}}},
            {"resource", {{"picture", pictures}, {"video", {{{"url", "https://v.example.com/a.mp4"}}}}}},
            {"events", {{{"xwhat", "$pageview"}}}}};
}

}  // namespace corvane
