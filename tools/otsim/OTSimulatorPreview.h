#pragma once

#include <filesystem>
#include <functional>
#include <memory>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "foundation/OTGeometry.h"

namespace corvane {

class OTDevServer;
class OTSimulatorAssets;

// A gallery of the campaigns of a campaign folder, drawn before any host runs them: every dialog
// and every banner at the widths of the common phones, one page each, and an index page that shows
// them side by side (with PNG pictures of them, when Chromium is there). The campaigns are served
// by an embedded dev server so that their pictures load as they will on a phone.
class OTSimulatorPreview {
public:
    using Observe = std::function<void(nlohmann::json observation)>;
    // Screen sizes in points: 320, 375, 390 and 430 wide.
    static const std::vector<OTSize>& screens();
    static constexpr const char* kIndexName = "index.html";

    OTSimulatorPreview(std::filesystem::path campaigns, std::filesystem::path directory, Observe observe);
    ~OTSimulatorPreview();
    OTSimulatorPreview(const OTSimulatorPreview&) = delete;
    OTSimulatorPreview& operator=(const OTSimulatorPreview&) = delete;

    // False when nothing could be drawn (no server, no folder to write).
    bool draw(bool pictures);

private:
    struct Campaign {
        std::string kind;  // "dialog" or "banner"
        std::string id;
        std::int64_t style = 0;
        nlohmann::json object;
    };
    struct Page {
        std::size_t campaign = 0;
        double width = 0;
        std::string file;  // relative to the directory
        double height = 0;
    };

    void readCampaigns(const OTDevServer& server);
    void drawAt(const OTSize& screen, const std::filesystem::path& sandbox);
    void drawDialog(std::size_t index, const OTSize& screen);
    void drawBanner(std::size_t index, const OTSize& screen);
    // Runs the main queue until `done` or the time is up.
    static void pump(const std::function<bool()>& done, std::chrono::milliseconds limit);
    void writeIndex(const std::vector<std::string>& pictureProblems, bool pictures) const;

    std::filesystem::path campaigns_;
    std::filesystem::path directory_;
    Observe observe_;
    std::vector<Campaign> list_;
    std::vector<Page> pages_;
    std::unique_ptr<OTSimulatorAssets> assets_;
};

}  // namespace corvane
