#pragma once

#include <memory>
#include <optional>
#include <string>

namespace corvane {

class OTNavigationController;
class OTUIHost;
class OTViewController;
class OTWindow;

// Finds the app's key window, its current navigation stack and its topmost page among the
// windows of one host. Made where it is needed and not kept: the host outlives it.
class OTNavigation {
public:
    explicit OTNavigation(OTUIHost& host) : host_(host) {}

    std::shared_ptr<OTWindow> keyWindow() const;
    // The first window whose scene is active in the foreground.
    std::shared_ptr<OTWindow> _activeKeyWindow() const;
    // The first window whose scene is in the foreground, active or not.
    std::shared_ptr<OTWindow> _keyWindow() const;
    std::shared_ptr<OTNavigationController> currentNavigation() const;
    // From the key window's root: presented pages, then navigation tops and selected tabs.
    std::shared_ptr<OTViewController> currentViewController() const;
    // The web view the user sees: the topmost one laid over the key window's pages.
    std::optional<std::string> currentWebview() const;
    // The address that web view shows; nothing without one or when it has none.
    std::optional<std::string> currentWebviewURL() const;
    // Whether `controller` is the page the user sees: the current page of the key window, its view
    // shown, and no view laid over it other than `exceptFor` (a view being removed).
    bool isControllerOnTopOfKeyWindow(const std::shared_ptr<OTViewController>& controller,
                                      const std::optional<std::string>& exceptFor) const;

private:
    OTUIHost& host_;
};

}  // namespace corvane
