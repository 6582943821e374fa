#include "OTSimulatorPreview.h"

#include <stdlib.h>

#include <algorithm>
#include <fstream>
#include <thread>

#include "OTDevServer.h"
#include "OTSimulatorAssets.h"
#include "OTSimulatorScreenshots.h"
#include "model/OTBanner.h"
#include "model/OTWindowData.h"
#include "platform/OTEnvironment.h"
#include "platform/OTRandomSource.h"
#include "platform/deterministic/OTManualReachabilitySource.h"
#include "platform/linux/OTFileConsole.h"
#include "platform/linux/OTSystemClock.h"
#include "platform/linux/OTThreadScheduler.h"
#include "render/OTHTMLRenderer.h"
#include "render/OTHeadlessUIHost.h"
#include "services/OTDownloadManager.h"
#include "services/OTImageDiskCache.h"
#include "ui/OTBannerView.h"
#include "ui/OTPopWindow.h"
#include "view/OTNavigationController.h"
#include "view/OTWindow.h"

namespace corvane {

namespace fs = std::filesystem;
using nlohmann::json;
using namespace std::chrono_literals;

namespace {
// The show animation of a dialog takes 0.2 s; a web page dialog may wait for its page.
constexpr auto kShowLimit = 1500ms;
constexpr auto kPictureLimit = 5s;

std::string widthName(double width) { return std::to_string(static_cast<int>(width)); }

// Every picture address of a campaign object, for loading them before anything is drawn.
std::vector<std::string> pictureAddresses(const json& object) {
    std::vector<std::string> found;
    if (const auto picture = object.find("picture"); picture != object.end() && picture->is_string())
        found.push_back(picture->get<std::string>());
    if (const auto resource = object.find("resource"); resource != object.end() && resource->is_object()) {
        if (const auto list = resource->find("picture"); list != resource->end() && list->is_array()) {
            for (const auto& entry : *list) {
                if (entry.is_object() && entry.contains("url") && entry["url"].is_string())
                    found.push_back(entry["url"].get<std::string>());
            }
        }
    }
    return found;
}
}  // namespace

const std::vector<OTSize>& OTSimulatorPreview::screens() {
    static const std::vector<OTSize> sizes = {{320, 568}, {375, 667}, {390, 844}, {430, 932}};
    return sizes;
}

OTSimulatorPreview::OTSimulatorPreview(fs::path campaigns, fs::path directory, Observe observe)
    : campaigns_(std::move(campaigns)), directory_(std::move(directory)), observe_(std::move(observe)) {}

OTSimulatorPreview::~OTSimulatorPreview() = default;

bool OTSimulatorPreview::draw(bool pictures) {
    std::error_code ec;
    fs::create_directories(directory_, ec);
    if (ec) return false;
    OTDevServer server(OTDevServer::Options{campaigns_});
    if (!server.start()) return false;
    readCampaigns(server);
    std::string pattern = (fs::temp_directory_path() / "otsim-preview-XXXXXX").string();
    if (::mkdtemp(pattern.data()) == nullptr) return false;
    const fs::path sandbox = pattern;
    for (const auto& screen : screens()) drawAt(screen, sandbox);
    fs::remove_all(sandbox, ec);
    server.stop();

    std::vector<std::string> problems;
    if (pictures) {
        for (const auto& screen : screens()) {
            const auto name = widthName(screen.width);
            const auto result = OTSimulatorScreenshots::render(directory_ / name, directory_ / "png" / name, screen);
            for (const auto& file : result.written) observe_({{"type", "png"}, {"file", file.string()}});
            for (const auto& problem : result.problems) {
                if (std::find(problems.begin(), problems.end(), problem) == problems.end()) problems.push_back(problem);
            }
        }
        for (const auto& problem : problems) observe_({{"type", "png"}, {"problem", problem}});
    }
    writeIndex(problems, pictures);
    observe_({{"type", "gallery"}, {"file", (directory_ / kIndexName).string()}, {"pages", pages_.size()}});
    return true;
}

void OTSimulatorPreview::readCampaigns(const OTDevServer& server) {
    const std::pair<const char*, const char*> lists[] = {
        {"in_app", "dialog"}, {"subscribe", "dialog"}, {"banners", "banner"}, {"default_banners", "banner"}};
    for (const auto& [list, kind] : lists) {
        // As the server sends them: its address in place of the folder's marker.
        for (const auto& object : server.dataFor(list)) {
            if (!object.is_object()) continue;
            const auto id = object.value("id", json());
            const auto style = object.value("style", json());
            list_.push_back({kind,
                             id.is_string()   ? id.get<std::string>()
                             : id.is_number() ? id.dump()
                                              : object.value("locationId", std::string("campaign")),
                             style.is_number()               ? style.get<std::int64_t>()
                             : std::string(kind) == "banner" ? 1
                                                             : 0,
                             object});
        }
    }
}

void OTSimulatorPreview::drawAt(const OTSize& screen, const fs::path& sandbox) {
    OTEnvironment::Parts parts;
    parts.clock = std::make_shared<OTSystemClock>();
    auto scheduler = std::make_shared<OTThreadScheduler>();
    parts.scheduler = scheduler;
    parts.sandboxRoot = sandbox;
    parts.device = OTDeviceInfo::current(sandbox.string(), "com.corvane.otsim", "1.0.0");
    // The simulated phone speaks the sample campaigns' language, whatever this machine's locale.
    parts.device.preferredLanguage = "zh-Hans";
    parts.device.screenWidth = screen.width;
    parts.device.screenHeight = screen.height;
    parts.console = std::make_shared<OTFileConsole>(sandbox / "console.log");
    parts.random = std::make_shared<OTRandomSource>();
    parts.reachability = std::make_shared<OTManualReachabilitySource>();
    auto environment = std::make_shared<OTEnvironment>(std::move(parts));
    OTEnvironment::install(environment);
    const auto folder = directory_ / widthName(screen.width);
    std::error_code ec;
    fs::create_directories(folder, ec);
    assets_ = std::make_unique<OTSimulatorAssets>(folder);

    // Pictures first, so that layouts that depend on a picture's size have it: each address once,
    // one after another, so that the server is never asked twice at the same time.
    std::vector<std::string> fetched;
    for (const auto& campaign : list_) {
        for (const auto& url : pictureAddresses(campaign.object)) {
            if (std::find(fetched.begin(), fetched.end(), url) != fetched.end()) continue;
            fetched.push_back(url);
            const auto stored = [&url] { return OTImageDiskCache::cache()->containsImageDataForKey(url); };
            if (stored()) continue;
            OTDownloadManager::sharedManager()->downloadImageWithURL(url, nullptr);
            pump(stored, std::chrono::duration_cast<std::chrono::milliseconds>(kPictureLimit));
        }
    }
    for (std::size_t i = 0; i < list_.size(); ++i) {
        if (list_[i].kind == "dialog") {
            drawDialog(i, screen);
        } else {
            drawBanner(i, screen);
        }
    }
    assets_.reset();
    environment->shutdown();
    OTEnvironment::install(nullptr);
}

void OTSimulatorPreview::drawDialog(std::size_t index, const OTSize& screen) {
    const auto& campaign = list_[index];
    auto data = std::make_shared<OTWindowData>();
    data->setModelWithDic(campaign.object);
    auto window =
        std::make_shared<OTWindow>(OTNavigationController::withRoot(std::make_shared<OTViewController>("HomeVC")));
    static_cast<OTHeadlessUIHost&>(OTEnvironment::current()->uiHost()).setWindows({window});
    auto shown = std::make_shared<bool>(false);
    auto dialog = std::make_shared<OTPopWindow>();
    dialog->popWithData(data, [shown](std::int64_t type, const std::optional<std::string>&) {
        if (type == 1) *shown = true;
    });
    pump([shown] { return *shown; }, kShowLimit);
    const auto file = widthName(screen.width) + "/dialog-" + campaign.id + ".html";
    std::ofstream(directory_ / file) << OTHTMLRenderer::render(
        window->scene(), screen, "dialog " + campaign.id + ", " + widthName(screen.width) + " points",
        assets_->source());
    pages_.push_back({index, screen.width, file, screen.height});
    observe_({{"type", "preview"},
              {"kind", "dialog"},
              {"campaign", campaign.id},
              {"width", screen.width},
              {"file", (directory_ / file).string()}});
}

void OTSimulatorPreview::drawBanner(std::size_t index, const OTSize& screen) {
    const auto& campaign = list_[index];
    auto banner = std::make_shared<OTBanner>();
    banner->setModelWithDic(campaign.object);
    auto view = OTBannerView::initWithBanner(banner);
    view->render();
    // Cached pictures are set on the main queue.
    pump([] { return false; }, 50ms);
    const auto size = view->fetchSize();
    const OTSize area{screen.width, std::max(size.height, 1.0)};
    const auto file = widthName(screen.width) + "/banner-" + campaign.id + ".html";
    std::ofstream(directory_ / file) << OTHTMLRenderer::render(
        view, area, "banner " + campaign.id + ", " + widthName(screen.width) + " points", assets_->source());
    pages_.push_back({index, screen.width, file, area.height});
    observe_({{"type", "preview"},
              {"kind", "banner"},
              {"campaign", campaign.id},
              {"width", screen.width},
              {"height", size.height},
              {"file", (directory_ / file).string()}});
}

void OTSimulatorPreview::pump(const std::function<bool()>& done, std::chrono::milliseconds limit) {
    auto& scheduler = OTEnvironment::current()->scheduler();
    const auto deadline = std::chrono::steady_clock::now() + limit;
    while (true) {
        scheduler.drainMainQueue();
        if (done() || std::chrono::steady_clock::now() >= deadline) return;
        std::this_thread::sleep_for(5ms);
    }
}

void OTSimulatorPreview::writeIndex(const std::vector<std::string>& pictureProblems, bool pictures) const {
    std::ofstream out(directory_ / kIndexName);
    out << "<!DOCTYPE html>\n<html lang=\"zh\"><head><meta charset=\"utf-8\">"
           "<meta name=\"viewport\" content=\"width=device-width, initial-scale=1\">"
           "<title>Campaign preview</title><style>"
           "body{font-family:sans-serif;margin:16px;background:#f4f4f4}"
           "section{margin-bottom:32px}.row{display:flex;flex-wrap:wrap;gap:16px;align-items:flex-start}"
           "figure{margin:0;background:#fff;padding:8px;box-shadow:0 1px 3px #0003}"
           "iframe{border:0;display:block;background:#fff}img{display:block;border:1px solid #ddd}"
           "figcaption{font-size:12px;color:#555;margin-top:4px}</style></head><body>\n"
        << "<h1>Campaign preview</h1>\n<p>" << OTHTMLRenderer::escape(campaigns_.string()) << "</p>\n";
    for (const auto& problem : pictureProblems)
        out << "<p class=\"problem\">" << OTHTMLRenderer::escape(problem) << "</p>\n";
    for (std::size_t index = 0; index < list_.size(); ++index) {
        const auto& campaign = list_[index];
        out << "<section data-kind=\"" << campaign.kind << "\" data-campaign=\"" << OTHTMLRenderer::escape(campaign.id)
            << "\"><h2>" << campaign.kind << " " << OTHTMLRenderer::escape(campaign.id) << " · style " << campaign.style
            << "</h2><div class=\"row\">\n";
        for (const auto& page : pages_) {
            if (page.campaign != index) continue;
            const auto width = OTHTMLRenderer::px(page.width);
            const auto png = fs::path("png") / fs::path(page.file).replace_extension(".png");
            std::error_code ec;
            out << "<figure data-width=\"" << width << "\">";
            if (pictures && fs::is_regular_file(directory_ / png, ec)) {
                out << "<img src=\"" << OTHTMLRenderer::escape(png.string()) << "\" width=\"" << width << "\" alt=\""
                    << campaign.kind << " " << OTHTMLRenderer::escape(campaign.id) << "\">";
            } else {
                out << "<iframe src=\"" << OTHTMLRenderer::escape(page.file) << "\" width=\"" << width << "\" height=\""
                    << OTHTMLRenderer::px(page.height) << "\" loading=\"lazy\"></iframe>";
            }
            out << "<figcaption>" << width << " points</figcaption></figure>\n";
        }
        out << "</div></section>\n";
    }
    out << "</body></html>\n";
}

}  // namespace corvane
