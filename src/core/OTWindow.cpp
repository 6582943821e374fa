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
    return subviews_;
}

void OTWindow::addSubview(const std::string& name) {
    std::lock_guard lock(mutex_);
    subviews_.push_back(name);
}

void OTWindow::removeSubview(const std::string& name) {
    OTMethodRuntime::shared()->invoke("UIWindow", shared_from_this(), "willRemoveSubview:", {name});
    std::lock_guard lock(mutex_);
    const auto it = std::find(subviews_.begin(), subviews_.end(), name);
    if (it != subviews_.end()) subviews_.erase(it);
}
