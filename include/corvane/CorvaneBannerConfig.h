#pragma once

#include <memory>
#include <optional>
#include <string>

#include "corvane/corvane_export.h"

namespace corvane {

class OTSceneNode;

/// Where the host wants a banner: the banner location to ask for and the host view that holds it.
/// The view is held weakly: a banner request never keeps a host screen alive.
///
///   auto config = std::make_shared<CorvaneBannerConfig>();
///   config->setLocationId("home_top");
///   config->setContainer(cell);                    // a view, or a table or collection view cell
///   auto size = CorvaneOtManager::loadBanner(config);
class CORVANE_EXPORT CorvaneBannerConfig {
public:
    CorvaneBannerConfig() = default;

    /// A process-wide shared configuration, made on first use.
    static std::shared_ptr<CorvaneBannerConfig> defaultConfig();

    /// The location whose banner shows ("home_top", ...).
    ///@{
    const std::optional<std::string>& locationId() const { return locationId_; }
    void setLocationId(std::optional<std::string> value) { locationId_ = std::move(value); }
    ///@}
    /// A table or collection view cell stands for its content view.
    ///@{
    std::shared_ptr<OTSceneNode> container() const { return container_.lock(); }
    void setContainer(const std::shared_ptr<OTSceneNode>& value) { container_ = value; }
    ///@}
    /// Show nothing (rather than the location's default banner) when no campaign banner is ready.
    ///@{
    bool hidesWhenNotAvailable() const { return hidesWhenNotAvailable_; }
    void setHidesWhenNotAvailable(bool value) { hidesWhenNotAvailable_ = value; }
    ///@}

private:
    std::optional<std::string> locationId_;
    std::weak_ptr<OTSceneNode> container_;
    bool hidesWhenNotAvailable_ = false;
};

}  // namespace corvane
