#include "core/OTNavigation.h"

#include "platform/OTUIHost.h"
#include "view/OTNavigationController.h"
#include "view/OTTabBarController.h"
#include "view/OTWindow.h"

namespace corvane {

std::shared_ptr<OTWindow> OTNavigation::keyWindow() const { return _activeKeyWindow(); }

std::shared_ptr<OTWindow> OTNavigation::_activeKeyWindow() const {
    for (const auto& window : host_.windows()) {
        if (window && window->activationState() == OTWindow::ForegroundActive) return window;
    }
    return nullptr;
}

std::shared_ptr<OTWindow> OTNavigation::_keyWindow() const {
    for (const auto& window : host_.windows()) {
        if (!window) continue;
        const auto state = window->activationState();
        if (state == OTWindow::ForegroundActive || state == OTWindow::ForegroundInactive) return window;
    }
    return nullptr;
}

std::shared_ptr<OTNavigationController> OTNavigation::currentNavigation() const {
    const auto window = _keyWindow();
    const auto root = window ? window->rootViewController() : nullptr;
    if (!root) return nullptr;
    if (root->isNavigationController()) return std::static_pointer_cast<OTNavigationController>(root);
    if (root->isTabBarController()) {
        const auto selected = std::static_pointer_cast<OTTabBarController>(root)->selectedViewController();
        if (!selected) return nullptr;
        if (selected->isNavigationController()) return std::static_pointer_cast<OTNavigationController>(selected);
        return selected->navigationController();
    }
    return nullptr;
}

std::shared_ptr<OTViewController> OTNavigation::currentViewController() const {
    const auto window = _keyWindow();
    auto current = window ? window->rootViewController() : nullptr;
    // Each step goes one level deeper; a tree is finite, but a hostile cycle must not spin forever.
    for (int depth = 0; current && depth < 1000; ++depth) {
        if (auto presented = current->presentedViewController()) {
            current = presented;
        } else if (current->isNavigationController()) {
            auto top = std::static_pointer_cast<OTNavigationController>(current)->topViewController();
            if (!top) break;
            current = top;
        } else if (current->isTabBarController()) {
            auto selected = std::static_pointer_cast<OTTabBarController>(current)->selectedViewController();
            if (!selected) break;
            current = selected;
        } else {
            break;
        }
    }
    return current;
}

std::optional<std::string> OTNavigation::currentWebview() const {
    const auto window = keyWindow();
    const auto web = window ? window->topWebView() : std::nullopt;
    if (!web) return std::nullopt;
    return web->name;
}

std::optional<std::string> OTNavigation::currentWebviewURL() const {
    const auto window = keyWindow();
    const auto web = window ? window->topWebView() : std::nullopt;
    return web ? web->url : std::nullopt;
}

bool OTNavigation::isControllerOnTopOfKeyWindow(const std::shared_ptr<OTViewController>& controller,
                                                const std::optional<std::string>& exceptFor) const {
    const auto window = keyWindow();
    if (!controller || !window || currentViewController() != controller || !controller->isViewVisible()) return false;
    for (const auto& view : window->subviews()) {
        if (!exceptFor || view != *exceptFor) return false;
    }
    return true;
}

}  // namespace corvane
