#include "OTSimulatorBanners.h"

#include <fstream>

#include "OTScenarioAction.h"
#include "OTSimulatorTranscript.h"
#include "corvane/CorvaneOtManager.h"
#include "model/OTBanner.h"
#include "model/OTBannerRecordTree.h"
#include "model/OTBannerRecordTreeNode.h"
#include "render/OTHTMLRenderer.h"
#include "render/OTHeadlessRenderer.h"
#include "render/OTHeadlessUIHost.h"
#include "ui/OTBannerManager.h"
#include "ui/OTBannerView.h"

namespace corvane {

using nlohmann::json;

namespace {
// Containers are as wide as the screen and tall enough for any banner.
}  // namespace

OTSimulatorBanners::OTSimulatorBanners(Observe observe, std::optional<std::filesystem::path> htmlDirectory,
                                       OTSize screen, OTHTMLRenderer::AssetSource assets)
    : observe_(std::move(observe)),
      htmlDirectory_(std::move(htmlDirectory)),
      assets_(std::move(assets)),
      screen_(screen) {}

void OTSimulatorBanners::load(const OTScenarioAction& action, const Error& error) {
    const std::string locationId = action.text("locationId", "");
    const std::string kind = action.text("container", "view");
    Location location{kind, nullptr, nullptr, nullptr};
    const OTSize area{screen_.width, kContainerHeight};
    if (kind == "view") {
        location.container = OTHeadlessUIHost::makeView(area);
    } else if (kind == "tableCell" || kind == "collectionCell") {
        location.list = kind == "tableCell" ? OTHeadlessUIHost::makeTableViewWithCell(area)
                                            : OTHeadlessUIHost::makeCollectionViewWithCell(area);
        location.container = location.list->subviews().front();
        location.list->addAction(OTSceneNode::kReloadData, [this, kind] {
            observe_({{"type", "reload"}, {"kind", kind == "tableCell" ? "table" : "collection"}});
        });
    } else if (kind != "none") {
        return error("unknown container \"" + kind + "\"");
    }
    auto config = std::make_shared<CorvaneBannerConfig>();
    config->setLocationId(locationId);
    config->setContainer(location.container);
    config->setHidesWhenNotAvailable(action.flag("hidesWhenNotAvailable", false));
    locations_[locationId] = location;

    const auto size = CorvaneOtManager::loadBanner(config);
    auto& kept = locations_[locationId];
    if (!kept.container) {
        // Nothing is inserted without a container: the banner is the one a render would choose.
        if (size.width > 0 || size.height > 0) {
            auto view = OTBannerView::initWithBanner(OTBannerManager::sharedManager()->bannerToShow(config));
            view->render();
            observeBanner(locationId, kind, view, {size.width, size.height});
        }
        return;
    }
    if (auto view = bannerViewIn(kept)) {
        kept.observed = view;
        observeBanner(locationId, kind, view, {size.width, size.height});
    }
}

std::shared_ptr<OTBannerView> OTSimulatorBanners::bannerViewIn(const Location& location) const {
    if (!location.container) return nullptr;
    for (const auto& child : location.container->contentView()->subviews()) {
        if (auto view = std::dynamic_pointer_cast<OTBannerView>(child)) return view;
    }
    return nullptr;
}

void OTSimulatorBanners::collect() {
    for (auto& [locationId, location] : locations_) {
        auto view = bannerViewIn(location);
        if (!view || view == location.observed) continue;
        location.observed = view;
        observeBanner(locationId, location.kind, view, view->bounds().size);
    }
}

void OTSimulatorBanners::observeBanner(const std::string& locationId, const std::string& kind,
                                       const std::shared_ptr<OTBannerView>& view, const OTSize& size) {
    const auto& banner = view->banner();
    json text;
    if (banner && banner->content() && banner->content()->text()) text = *banner->content()->text();
    observe_({{"type", "banner"},
              {"locationId", locationId},
              {"container", kind},
              {"banner", banner && banner->bannerID() ? json(*banner->bannerID()) : json()},
              {"style", banner ? json(banner->style()) : json()},
              {"width", size.width},
              {"height", size.height},
              {"text", text},
              {"pictures", banner ? json(banner->pictureURLs()) : json::array()},
              {"videos", banner ? json(banner->videos()) : json::array()}});
    const auto& location = locations_[locationId];
    writeSnapshot(locationId, location.list ? location.list : location.container ? location.container : view);
}

void OTSimulatorBanners::writeSnapshot(const std::string& locationId, const std::shared_ptr<OTSceneNode>& root) {
    if (!htmlDirectory_) return;
    std::error_code ec;
    std::filesystem::create_directories(*htmlDirectory_, ec);
    const auto file = *htmlDirectory_ / ("banner-" + std::to_string(++snapshots_) + "-" + locationId + ".html");
    std::ofstream(file) << OTHTMLRenderer::render(root, {screen_.width, kContainerHeight}, "banner " + locationId,
                                                  assets_);
    observe_({{"type", "snapshot"}, {"banner", locationId}, {"file", file.string()}});
}

void OTSimulatorBanners::tap(const OTScenarioAction& action, const Error& error) {
    const std::string locationId = action.text("locationId", "");
    const auto it = locations_.find(locationId);
    const auto view = it == locations_.end() ? nullptr : bannerViewIn(it->second);
    if (!view || !view->banner()) return error("no banner shown at \"" + locationId + "\"");
    if (!action.has("item")) {
        if (!OTHeadlessRenderer::tap(view->findByName(OTSceneNode::kContentViewName))) {
            error("the banner at \"" + locationId + "\" takes no tap on its own; tap an \"item\"");
        }
        return;
    }
    auto carousel = std::dynamic_pointer_cast<OTCycleScrollView>(view->findByName("cycleScrollView"));
    const auto item = action.integer("item", 0);
    if (!carousel || item < 0 || item >= static_cast<std::int64_t>(carousel->imagePathsGroup().size())) {
        return error("the banner at \"" + locationId + "\" has no carousel page " + std::to_string(item));
    }
    carousel->makeScrollViewScrollToIndex(item);
    OTHeadlessRenderer::tap(carousel->visibleCells().front());
}

void OTSimulatorBanners::getBanner(const OTScenarioAction& action, const Error& error) {
    const std::string locationId = action.text("locationId", "");
    if (locationId.empty()) return error("getBanner needs a \"locationId\"");
    CorvaneOtManager::getBanner(locationId, [observe = observe_, locationId](const std::optional<std::string>& text) {
        json data;
        if (text) data = json::parse(*text, nullptr, false);
        observe({{"type", "bannerData"}, {"locationId", locationId}, {"data", data.is_discarded() ? json() : data}});
    });
}

void OTSimulatorBanners::addState(json& state) const {
    auto manager = OTBannerManager::sharedManager();
    json nodes = json::array();
    for (const auto& node : manager->bannerRecordTree()->allNodes()) {
        const auto banner = std::dynamic_pointer_cast<OTBannerRecordTreeNode>(node);
        if (!banner) continue;
        const auto optional = [](const std::optional<std::string>& value) { return value ? json(*value) : json(); };
        nodes.push_back(json{{"id", banner->nodeId()},
                             {"activated", banner->activated()},
                             {"startTime", optional(banner->startTime())},
                             {"endTime", optional(banner->endTime())},
                             {"dataMD5", optional(banner->dataMD5())}});
    }
    json presenting = json::array();
    for (const auto& banner : manager->presentingBanners()) presenting.push_back(banner->bannerID().value_or(""));
    state["bannerNodes"] = nodes;
    state["presentingBanners"] = presenting;
}

bool OTSimulatorBanners::print(std::ostream& out, const std::string& at, const json& o) {
    const std::string type = o["type"];
    const auto text = OTSimulatorTranscript::text;
    if (type == "banner") {
        const std::string rule(56, '=');
        out << at << "  +" << rule << "\n";
        out << "           | banner " << (o["banner"].is_null() ? "(none)" : text(o["banner"])) << " at "
            << text(o["locationId"]) << " in " << text(o["container"]) << ", style " << text(o["style"]) << ", "
            << OTHTMLRenderer::px(o["width"].get<double>()) << " x " << OTHTMLRenderer::px(o["height"].get<double>())
            << "\n";
        if (!o["text"].is_null()) out << "           | " << text(o["text"]) << "\n";
        for (const auto& picture : o["pictures"]) out << "           | picture " << text(picture) << "\n";
        for (const auto& video : o["videos"]) out << "           | video " << text(video) << "\n";
        out << "           +" << rule << "\n";
        return true;
    }
    if (type == "reload") {
        out << at << "  " << text(o["kind"]) << " view reloaded\n";
        return true;
    }
    if (type == "bannerData") {
        out << at << "  banner data for " << text(o["locationId"]) << ": " << o["data"].dump() << "\n";
        return true;
    }
    return false;
}

}  // namespace corvane
