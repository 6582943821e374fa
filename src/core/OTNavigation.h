#pragma once

#include <memory>
#include <optional>
#include <string>

namespace corvane {

class OTNavigationController;
class OTViewController;
class OTWindow;

// Finds the app's key window, its current navigation stack and its topmost page.
class OTNavigation {
public:
    OTNavigation() = delete;

    static std::shared_ptr<OTWindow> keyWindow();
    // The first window whose scene is active in the foreground.
    static std::shared_ptr<OTWindow> _activeKeyWindow();
    // The first window whose scene is in the foreground, active or not.
    static std::shared_ptr<OTWindow> _keyWindow();
    static std::shared_ptr<OTNavigationController> currentNavigation();
    // From the key window's root: presented pages, then navigation tops and selected tabs.
    static std::shared_ptr<OTViewController> currentViewController();
    // The web view the user sees: the topmost one laid over the key window's pages.
    static std::optional<std::string> currentWebview();
    // The address that web view shows; nothing without one or when it has none.
    static std::optional<std::string> currentWebviewURL();
    // Whether `controller` is the page the user sees: the current page of the key window, its view
    // shown, and no view laid over it other than `exceptFor` (a view being removed).
    static bool isControllerOnTopOfKeyWindow(const std::shared_ptr<OTViewController>& controller,
                                             const std::optional<std::string>& exceptFor);
};

}  // namespace corvane
