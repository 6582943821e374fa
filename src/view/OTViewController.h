#pragma once

#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

namespace corvane {

class OTNavigationController;
class OTTabBarController;

// A page of the host app in the abstract controller tree: its class (with the classes it derives
// from), what it presented and what presented it, its parent container, and the values set on its
// declared properties. UIKit backs it on Apple; Linux hosts and the simulator build it directly.
class OTViewController : public std::enable_shared_from_this<OTViewController> {
public:
    // `superclasses` lists the ancestors nearest first; "UIViewController" ends every chain.
    explicit OTViewController(std::string className, std::vector<std::string> superclasses = {});
    virtual ~OTViewController() = default;

    const std::string& className() const { return className_; }
    // This class or one of its ancestors is `name`.
    bool isKindOfClass(const std::string& name) const;

    std::shared_ptr<OTViewController> presentedViewController() const;
    std::shared_ptr<OTViewController> presentingViewController() const;
    std::shared_ptr<OTViewController> parentViewController() const;
    // The nearest navigation controller among the parents.
    std::shared_ptr<OTNavigationController> navigationController() const;
    std::shared_ptr<OTTabBarController> tabBarController() const;

    void presentViewController(const std::shared_ptr<OTViewController>& controller, bool animated);
    // Dismisses what this page presented, or else this page from the one that presented it.
    void dismissViewController(bool animated);

    // Values set through key-value coding on declared properties.
    std::optional<std::string> valueForKey(const std::string& key) const;
    void setValueForKey(const std::string& value, const std::string& key);
    std::map<std::string, std::string> propertyValues() const;

    bool hidesBottomBarWhenPushed() const;
    void setHidesBottomBarWhenPushed(bool value);
    // Whether the view is shown (not hidden, alpha above zero); the on-top test skips hidden views.
    bool isViewVisible() const;
    void setViewVisible(bool value);

    // How the page was made: "storyboard", "nib" or "plain" for pages made from a link.
    const std::string& madeFrom() const { return madeFrom_; }
    void setMadeFrom(std::string value) { madeFrom_ = std::move(value); }

    // The page appears or is about to go: calls through the method runtime, where they can be
    // intercepted.
    void viewDidAppear(bool animated);
    void viewWillDisappear(bool animated);

    virtual bool isNavigationController() const { return false; }
    virtual bool isTabBarController() const { return false; }

protected:
    // Makes the class and its ancestors known to the method runtime.
    void defineRuntimeClass() const;
    friend class OTNavigationController;
    friend class OTTabBarController;
    void setParentViewController(const std::shared_ptr<OTViewController>& parent);

    mutable std::mutex mutex_;

private:
    const std::string className_;
    const std::vector<std::string> superclasses_;
    std::weak_ptr<OTViewController> parent_;
    std::shared_ptr<OTViewController> presented_;
    std::weak_ptr<OTViewController> presenting_;
    std::map<std::string, std::string> values_;
    bool hidesBottomBarWhenPushed_ = false;
    bool viewVisible_ = true;
    std::string madeFrom_ = "plain";
};

}  // namespace corvane
