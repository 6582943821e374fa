#include "view/OTTabBarController.h"

namespace corvane {

namespace {
// Built in place: moving a short string in here trips a false -Warray-bounds of g++ 12 at -O2.
std::vector<std::string> withTabBarClass(std::vector<std::string> superclasses) {
    superclasses.emplace_back("UITabBarController");
    return superclasses;
}
}  // namespace

OTTabBarController::OTTabBarController(std::string className, std::vector<std::string> superclasses)
    : OTViewController(std::move(className), withTabBarClass(std::move(superclasses))) {}

std::vector<std::shared_ptr<OTViewController>> OTTabBarController::viewControllers() const {
    std::lock_guard lock(mutex_);
    return children_;
}

void OTTabBarController::setViewControllers(const std::vector<std::shared_ptr<OTViewController>>& controllers) {
    {
        std::lock_guard lock(mutex_);
        children_ = controllers;
        selectedIndex_ = 0;
    }
    for (const auto& child : controllers) {
        if (child) child->setParentViewController(shared_from_this());
    }
}

std::int64_t OTTabBarController::selectedIndex() const {
    std::lock_guard lock(mutex_);
    return selectedIndex_;
}

void OTTabBarController::setSelectedIndex(std::int64_t index) {
    std::lock_guard lock(mutex_);
    if (index >= 0 && static_cast<std::size_t>(index) < children_.size()) selectedIndex_ = index;
}

std::shared_ptr<OTViewController> OTTabBarController::selectedViewController() const {
    std::lock_guard lock(mutex_);
    if (selectedIndex_ < 0 || static_cast<std::size_t>(selectedIndex_) >= children_.size()) return nullptr;
    return children_[static_cast<std::size_t>(selectedIndex_)];
}

}  // namespace corvane
