#include "view/OTWindow.h"

#include <algorithm>

#include "platform/OTEnvironment.h"
#include "platform/OTMethodRuntime.h"
#include "view/OTSceneNode.h"

namespace corvane {

OTWindow::OTWindow(std::shared_ptr<OTViewController> root, ActivationState state)
    : root_(std::move(root)), state_(state) {}

std::shared_ptr<OTViewController> OTWindow::rootViewController() const {
    std::lock_guard lock(mutex_);
    return root_;
}

void OTWindow::setRootViewController(std::shared_ptr<OTViewController> root) {
    std::lock_guard lock(mutex_);
    root_ = std::move(root);
}

OTWindow::ActivationState OTWindow::activationState() const {
    std::lock_guard lock(mutex_);
    return state_;
}

void OTWindow::setActivationState(ActivationState state) {
    std::lock_guard lock(mutex_);
    state_ = state;
}

std::vector<std::string> OTWindow::subviews() const {
    std::lock_guard lock(mutex_);
    std::vector<std::string> names;
    for (const auto& view : subviews_) names.push_back(view.name);
    return names;
}

void OTWindow::addSubview(const std::string& name) {
    std::lock_guard lock(mutex_);
    subviews_.push_back({name, false, std::nullopt, nullptr});
}

void OTWindow::addWebView(const std::string& name, const std::optional<std::string>& url) {
    std::lock_guard lock(mutex_);
    subviews_.push_back({name, true, url, nullptr});
}

std::optional<OTWindow::Subview> OTWindow::topWebView() const {
    std::lock_guard lock(mutex_);
    for (auto it = subviews_.rbegin(); it != subviews_.rend(); ++it) {
        if (it->isWebView) return *it;
    }
    return std::nullopt;
}

void OTWindow::removeSubview(const std::string& name) {
    OTMethodRuntime::shared()->invoke("UIWindow", shared_from_this(), "willRemoveSubview:", {name});
    std::shared_ptr<OTSceneNode> node;
    {
        std::lock_guard lock(mutex_);
        const auto it =
            std::find_if(subviews_.begin(), subviews_.end(), [&](const Subview& view) { return view.name == name; });
        if (it == subviews_.end()) return;
        node = it->node;
        subviews_.erase(it);
    }
    if (node) node->removeFromSuperview();
}

void OTWindow::addSubview(const std::shared_ptr<OTSceneNode>& node) {
    if (!node) return;
    auto root = scene();
    {
        std::lock_guard lock(mutex_);
        subviews_.push_back({node->name(), false, std::nullopt, node});
    }
    root->addSubview(node);
}

void OTWindow::removeSubview(const std::shared_ptr<OTSceneNode>& node) {
    if (!node) return;
    {
        std::lock_guard lock(mutex_);
        if (std::none_of(subviews_.begin(), subviews_.end(), [&](const Subview& view) { return view.node == node; }))
            return;
    }
    OTMethodRuntime::shared()->invoke("UIWindow", shared_from_this(), "willRemoveSubview:", {node->name()});
    {
        std::lock_guard lock(mutex_);
        std::erase_if(subviews_, [&](const Subview& view) { return view.node == node; });
    }
    node->removeFromSuperview();
}

std::shared_ptr<OTSceneNode> OTWindow::scene() {
    std::lock_guard lock(mutex_);
    if (!scene_) {
        const auto& device = OTEnvironment::current()->device();
        scene_ = std::make_shared<OTSceneNode>(OTSceneNode::Role::View, "UIWindow");
        scene_->setFrame({{0, 0}, {device.screenWidth, device.screenHeight}});
    }
    return scene_;
}

}  // namespace corvane
