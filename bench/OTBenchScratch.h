#pragma once

#include <filesystem>
#include <memory>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

namespace corvane {

class OTEnvironment;
class OTHeadlessUIHost;
class OTHTTPTransport;
class OTManualScheduler;
class OTWindowData;

// A deterministic environment for one benchmark run: virtual clock, manual scheduler, a console
// that drops what it is given (the platform's console is not what is measured) and a temporary
// sandbox, or a sandbox that outlives it when a run starts again from what an earlier one stored.
class OTBenchScratch {
public:
    // `http` answers every request when given; otherwise the system transport does, as in an app.
    explicit OTBenchScratch(std::shared_ptr<OTHTTPTransport> http = nullptr);
    explicit OTBenchScratch(const std::filesystem::path& keptSandbox, std::shared_ptr<OTHTTPTransport> http = nullptr);
    ~OTBenchScratch();
    OTBenchScratch(const OTBenchScratch&) = delete;
    OTBenchScratch& operator=(const OTBenchScratch&) = delete;

    OTManualScheduler& scheduler() { return *scheduler_; }
    OTHeadlessUIHost& host() { return *host_; }
    const std::filesystem::path& root() const { return root_; }

    // A dialog campaign triggered by `what` with a price above 100, as the server sends it.
    static nlohmann::json campaignJSON(int id, const std::string& what);
    static std::vector<std::shared_ptr<const OTWindowData>> campaigns(int count, const std::string& what);
    // A banner campaign with three pictures, as the server sends it.
    static nlohmann::json bannerJSON(int id);
    // A fresh temporary folder.
    static std::filesystem::path temporaryFolder();

private:
    std::filesystem::path root_;
    bool ownsRoot_;
    std::shared_ptr<OTManualScheduler> scheduler_;
    std::shared_ptr<OTHeadlessUIHost> host_;
    std::shared_ptr<OTEnvironment> environment_;
};

}  // namespace corvane
