#pragma once

#include <cstddef>
#include <filesystem>
#include <functional>
#include <map>
#include <memory>
#include <nlohmann/json.hpp>
#include <optional>
#include <ostream>
#include <string>

#include "foundation/OTGeometry.h"
#include "render/OTHTMLRenderer.h"

namespace corvane {

class OTBannerView;
class OTSceneNode;
class OTScenarioAction;

// The simulator's banner locations: each "banner" action puts a host container (a plain view, a
// table or collection view cell, or none) at its location and asks the library for a banner.
// Every banner view that appears in a container is observed, also when it arrives later for a
// waiting request, and so is every reload of a table or collection view.
class OTSimulatorBanners {
public:
    using Observe = std::function<void(nlohmann::json observation)>;
    using Error = std::function<void(const std::string& message)>;
    // The height of the page a banner's snapshot is drawn on.
    static constexpr double kContainerHeight = 600;

    // `assets` keeps the pages' pictures and videos beside them.
    OTSimulatorBanners(Observe observe, std::optional<std::filesystem::path> htmlDirectory, OTSize screen,
                       OTHTMLRenderer::AssetSource assets = nullptr);

    void load(const OTScenarioAction& action, const Error& error);
    void tap(const OTScenarioAction& action, const Error& error);
    void getBanner(const OTScenarioAction& action, const Error& error);
    // Looks for banner views that appeared since the last look.
    void collect();
    // "bannerNodes" and "presentingBanners" of the final state.
    void addState(nlohmann::json& state) const;
    // Prints a banner, reload or banner data observation as text; false for other types.
    static bool print(std::ostream& out, const std::string& at, const nlohmann::json& o);

private:
    struct Location {
        std::string kind;
        std::shared_ptr<OTSceneNode> list;       // the table or collection view, if any
        std::shared_ptr<OTSceneNode> container;  // what the banner goes into
        std::shared_ptr<OTBannerView> observed;  // the banner view last observed there
    };

    std::shared_ptr<OTBannerView> bannerViewIn(const Location& location) const;
    void observeBanner(const std::string& locationId, const std::string& kind,
                       const std::shared_ptr<OTBannerView>& view, const OTSize& size);
    void writeSnapshot(const std::string& locationId, const std::shared_ptr<OTSceneNode>& root);

    Observe observe_;
    std::optional<std::filesystem::path> htmlDirectory_;
    OTHTMLRenderer::AssetSource assets_;
    OTSize screen_;
    std::map<std::string, Location> locations_;
    std::size_t snapshots_ = 0;
};

}  // namespace corvane
