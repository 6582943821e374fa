#include "view/OTViewController.h"

#include <algorithm>
#include <utility>

#include "platform/OTMethodRuntime.h"
#include "view/OTNavigationController.h"
#include "view/OTTabBarController.h"

namespace corvane {

OTViewController::OTViewController(std::string className, std::vector<std::string> superclasses)
    : className_(std::move(className)), superclasses_(std::move(superclasses)) {}

bool OTViewController::isKindOfClass(const std::string& name) const {
    return name == className_ || name == "UIViewController" ||
           std::find(superclasses_.begin(), superclasses_.end(), name) != superclasses_.end();
}

std::shared_ptr<OTViewController> OTViewController::presentedViewController() const {
    std::lock_guard lock(mutex_);
    return presented_;
}

std::shared_ptr<OTViewController> OTViewController::presentingViewController() const {
    std::lock_guard lock(mutex_);
    return presenting_.lock();
}

std::shared_ptr<OTViewController> OTViewController::parentViewController() const {
    std::lock_guard lock(mutex_);
    return parent_.lock();
}

void OTViewController::setParentViewController(const std::shared_ptr<OTViewController>& parent) {
    std::lock_guard lock(mutex_);
    parent_ = parent;
}

std::shared_ptr<OTNavigationController> OTViewController::navigationController() const {
    for (auto parent = parentViewController(); parent; parent = parent->parentViewController()) {
        if (parent->isNavigationController()) return std::static_pointer_cast<OTNavigationController>(parent);
    }
    return nullptr;
}

std::shared_ptr<OTTabBarController> OTViewController::tabBarController() const {
    for (auto parent = parentViewController(); parent; parent = parent->parentViewController()) {
        if (parent->isTabBarController()) return std::static_pointer_cast<OTTabBarController>(parent);
    }
    return nullptr;
}

void OTViewController::presentViewController(const std::shared_ptr<OTViewController>& controller, bool) {
    if (!controller || controller.get() == this) return;
    {
        std::lock_guard lock(mutex_);
        presented_ = controller;
    }
    std::lock_guard lock(controller->mutex_);
    controller->presenting_ = weak_from_this();
}

void OTViewController::dismissViewController(bool animated) {
    std::shared_ptr<OTViewController> presented;
    {
        std::lock_guard lock(mutex_);
        presented = std::exchange(presented_, nullptr);
    }
    if (!presented) {
        // As on the platform, a page that presented nothing asks the one that presented it.
        if (auto presenting = presentingViewController()) presenting->dismissViewController(animated);
        return;
    }
    std::lock_guard lock(presented->mutex_);
    presented->presenting_.reset();
}

std::optional<std::string> OTViewController::valueForKey(const std::string& key) const {
    std::lock_guard lock(mutex_);
    const auto it = values_.find(key);
    if (it == values_.end()) return std::nullopt;
    return it->second;
}

void OTViewController::setValueForKey(const std::string& value, const std::string& key) {
    std::lock_guard lock(mutex_);
    values_[key] = value;
}

std::map<std::string, std::string> OTViewController::propertyValues() const {
    std::lock_guard lock(mutex_);
    return values_;
}

bool OTViewController::hidesBottomBarWhenPushed() const {
    std::lock_guard lock(mutex_);
    return hidesBottomBarWhenPushed_;
}

void OTViewController::setHidesBottomBarWhenPushed(bool value) {
    std::lock_guard lock(mutex_);
    hidesBottomBarWhenPushed_ = value;
}

bool OTViewController::isViewVisible() const {
    std::lock_guard lock(mutex_);
    return viewVisible_;
}

void OTViewController::setViewVisible(bool value) {
    std::lock_guard lock(mutex_);
    viewVisible_ = value;
}

void OTViewController::defineRuntimeClass() const {
    auto runtime = OTMethodRuntime::shared();
    std::string name = className_;
    for (const auto& ancestor : superclasses_) {
        if (!runtime->classExists(name)) runtime->defineClass(name, ancestor);
        name = ancestor;
    }
    if (!runtime->classExists(name)) runtime->defineClass(name, "UIViewController");
}

void OTViewController::viewDidAppear(bool animated) {
    defineRuntimeClass();
    OTMethodRuntime::shared()->invoke(className_, shared_from_this(), "viewDidAppear:", {animated});
}

void OTViewController::viewWillDisappear(bool animated) {
    defineRuntimeClass();
    OTMethodRuntime::shared()->invoke(className_, shared_from_this(), "viewWillDisappear:", {animated});
}

}  // namespace corvane
