#include "core/OTWindow.h"

#include <algorithm>

#include "core/OTMethodRuntime.h"

OTWindow::OTWindow(std::shared_ptr<OTViewController> root, ActivationState state) : root_(std::move(root)), state_(state) {}

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
    subviews_.push_back({name, false, std::nullopt});
}

void OTWindow::addWebView(const std::string& name, const std::optional<std::string>& url) {
    std::lock_guard lock(mutex_);
    subviews_.push_back({name, true, url});
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
    std::lock_guard lock(mutex_);
    const auto it = std::find_if(subviews_.begin(), subviews_.end(), [&](const Subview& view) { return view.name == name; });
    if (it != subviews_.end()) subviews_.erase(it);
}
