#include "view/OTNavigationController.h"

namespace corvane {

namespace {
// Built in place: moving a short string in here trips a false -Warray-bounds of g++ 12 at -O2.
std::vector<std::string> withNavigationClass(std::vector<std::string> superclasses) {
    superclasses.emplace_back("UINavigationController");
    return superclasses;
}
}  // namespace

OTNavigationController::OTNavigationController(std::string className, std::vector<std::string> superclasses)
    : OTViewController(std::move(className), withNavigationClass(std::move(superclasses))) {}

std::shared_ptr<OTNavigationController> OTNavigationController::withRoot(
    const std::shared_ptr<OTViewController>& root) {
    auto navigation = std::make_shared<OTNavigationController>();
    navigation->pushViewController(root, false);
    return navigation;
}

std::vector<std::shared_ptr<OTViewController>> OTNavigationController::viewControllers() const {
    std::lock_guard lock(mutex_);
    return stack_;
}

std::shared_ptr<OTViewController> OTNavigationController::topViewController() const {
    std::lock_guard lock(mutex_);
    return stack_.empty() ? nullptr : stack_.back();
}

void OTNavigationController::pushViewController(const std::shared_ptr<OTViewController>& controller, bool) {
    if (!controller) return;
    {
        std::lock_guard lock(mutex_);
        stack_.push_back(controller);
    }
    controller->setParentViewController(shared_from_this());
}

void OTNavigationController::popToRootViewController(bool) {
    std::lock_guard lock(mutex_);
    if (stack_.size() > 1) stack_.resize(1);
}

std::shared_ptr<OTViewController> OTNavigationController::popViewController(bool) {
    std::lock_guard lock(mutex_);
    if (stack_.size() < 2) return nullptr;
    auto top = stack_.back();
    stack_.pop_back();
    return top;
}

}  // namespace corvane
