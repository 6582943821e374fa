#include "facade/OTScenePublisher.h"

#include <algorithm>
#include <nlohmann/json.hpp>

#include "core/OTSDKManager.h"
#include "corvane/CorvaneOtManager.h"
#include "platform/OTEnvironment.h"
#include "render/OTHeadlessUIHost.h"
#include "render/OTSceneJSONRenderer.h"
#include "view/OTNavigationController.h"
#include "view/OTSceneNode.h"
#include "view/OTWindow.h"

namespace corvane {

namespace {
constexpr const char* kDialogName = "OTPopWindow";
constexpr const char* kBannerContainerName = "bannerContainer";
}  // namespace

std::shared_ptr<OTScenePublisher> OTScenePublisher::shared() {
    return OTEnvironment::current()->singleton<OTScenePublisher>([] { return std::make_shared<OTScenePublisher>(); });
}

void OTScenePublisher::setPresenter(std::optional<Presenter> presenter) {
    if (presenter) ensureWindow();
    std::lock_guard lock(mutex_);
    presenter_ = std::move(presenter);
    shown_.clear();
    publishedRevision_.reset();
}

void OTScenePublisher::ensureWindow() {
    auto* host = dynamic_cast<OTHeadlessUIHost*>(&OTEnvironment::current()->uiHost());
    if (host == nullptr || !host->windows().empty()) return;
    const auto configuration = OTSDKManager::sharedManager()->configuration();
    const auto mainPage = configuration ? configuration->mainPage() : std::nullopt;
    auto root = std::make_shared<OTViewController>(mainPage.value_or("UIViewController"));
    host->setWindows({std::make_shared<OTWindow>(OTNavigationController::withRoot(root))});
    // As in a launching app, the first page appears: the main page's first view is known then.
    root->viewDidAppear(true);
}

std::uint64_t OTScenePublisher::idOf(const std::shared_ptr<OTSceneNode>& node) {
    auto& entry = ids_[node.get()];
    // A node made where a gone one lived is a new node.
    if (entry.id == 0 || entry.node.expired()) {
        entry = {node, nextId_++};
        nodes_[entry.id] = node;
    }
    return entry.id;
}

void OTScenePublisher::forgetGoneNodes() {
    std::erase_if(ids_, [](const auto& item) { return item.second.node.expired(); });
    std::erase_if(nodes_, [](const auto& item) { return item.second.expired(); });
}

std::vector<OTScenePublisher::Surface> OTScenePublisher::surfaces() {
    std::vector<Surface> found;
    for (const auto& window : OTEnvironment::current()->uiHost().windows()) {
        if (!window) continue;
        for (const auto& node : window->scene()->subviews()) {
            found.push_back({node, node->name() == kDialogName ? "dialog" : "overlay", std::nullopt});
        }
    }
    found.insert(found.end(), banners_.begin(), banners_.end());
    return found;
}

void OTScenePublisher::publish() {
    std::vector<std::function<void()>> calls;
    {
        std::lock_guard lock(mutex_);
        if (!presenter_) return;
        const auto revision = OTSceneNode::revision();
        if (publishedRevision_ == revision && !bannersChanged_) return;
        publishedRevision_ = revision;
        bannersChanged_ = false;
        forgetGoneNodes();
        const auto& device = OTEnvironment::current()->device();
        const auto id = [this](const std::shared_ptr<OTSceneNode>& node) { return idOf(node); };
        std::unordered_map<std::uint64_t, std::string> now;
        for (const auto& surface : surfaces()) {
            const auto surfaceId = idOf(surface.root);
            nlohmann::json description = {{"surface", surfaceId},
                                          {"kind", surface.kind},
                                          {"screen", {{"width", device.screenWidth}, {"height", device.screenHeight}}}};
            if (surface.locationId) description["locationId"] = *surface.locationId;
            description["root"] = OTSceneJSONRenderer::render(surface.root, id);
            auto text = description.dump(-1, ' ', false, nlohmann::json::error_handler_t::replace);
            const auto before = shown_.find(surfaceId);
            if ((before == shown_.end() || before->second != text) && presenter_->show) {
                calls.emplace_back([show = presenter_->show, surfaceId, text] { show(surfaceId, text); });
            }
            now.emplace(surfaceId, std::move(text));
        }
        for (const auto& [surfaceId, text] : shown_) {
            if (!now.contains(surfaceId) && presenter_->dismiss) {
                calls.emplace_back([dismiss = presenter_->dismiss, surfaceId = surfaceId] { dismiss(surfaceId); });
            }
        }
        shown_ = std::move(now);
    }
    for (const auto& call : calls) call();
}

std::shared_ptr<OTSceneNode> OTScenePublisher::shownNode(std::uint64_t id) {
    std::lock_guard lock(mutex_);
    const auto it = nodes_.find(id);
    auto node = it == nodes_.end() ? nullptr : it->second.lock();
    if (!node) return nullptr;
    for (const auto& surface : surfaces()) {
        for (auto up = node; up; up = up->superview()) {
            if (up == surface.root) return node;
        }
    }
    return nullptr;
}

bool OTScenePublisher::tap(std::uint64_t node) {
    const auto target = shownNode(node);
    if (!target) return false;
    return target->sendActions(OTSceneNode::kTouchUpInside) || target->sendActions(OTSceneNode::kTap);
}

bool OTScenePublisher::scroll(std::uint64_t node, const OTPoint& offset) {
    const auto target = shownNode(node);
    if (!target || !target->scrollEnabled() || !target->userInteractionEnabled() || !target->isVisible()) return false;
    using Role = OTSceneNode::Role;
    if (target->role() != Role::Scroll && target->role() != Role::Collection && target->role() != Role::Table) {
        return false;
    }
    target->runActions(OTSceneNode::kWillBeginDragging);
    target->setContentOffset(offset);
    target->runActions(OTSceneNode::kDidScroll);
    target->runActions(OTSceneNode::kDidEndDragging);
    target->runActions(OTSceneNode::kDidEndDecelerating);
    return true;
}

OTScenePublisher::Banner OTScenePublisher::loadBanner(const std::string& locationId, const OTSize& size,
                                                      bool hidesWhenNotAvailable) {
    auto container = std::make_shared<OTSceneNode>(OTSceneNode::Role::View, kBannerContainerName);
    container->setFrame({{0, 0}, size});
    auto config = std::make_shared<CorvaneBannerConfig>();
    config->setLocationId(locationId);
    config->setContainer(container);
    config->setHidesWhenNotAvailable(hidesWhenNotAvailable);
    Banner banner;
    {
        std::lock_guard lock(mutex_);
        banner.surface = idOf(container);
        banners_.push_back({container, "banner", locationId});
        bannersChanged_ = true;
    }
    const auto loaded = CorvaneOtManager::loadBanner(config);
    banner.size = {loaded.width, loaded.height};
    return banner;
}

bool OTScenePublisher::releaseBanner(std::uint64_t surface) {
    std::shared_ptr<OTSceneNode> released;  // let go outside the lock: a banner view's teardown may call back
    std::lock_guard lock(mutex_);
    const auto it = std::find_if(banners_.begin(), banners_.end(),
                                 [&](const Surface& banner) { return idOf(banner.root) == surface; });
    if (it == banners_.end()) return false;
    released = it->root;
    banners_.erase(it);
    bannersChanged_ = true;
    return true;
}

}  // namespace corvane
