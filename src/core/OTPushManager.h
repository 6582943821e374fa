#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <nlohmann/json_fwd.hpp>
#include <optional>
#include <string>
#include <utility>

namespace corvane {

class OTDispatchQueue;
class OTEnvironment;
class OTNavigationController;
class OTPageClassRegistry;
class OTTabBarController;
class OTUIHost;
class OTViewController;

// Turns a campaign link or an opened notification into something the user sees: a web page in
// the app, another app, or one of the host app's own pages (named "Class?key=value&..."), with
// the query's values set on its declared properties.
class OTPushManager : public std::enable_shared_from_this<OTPushManager> {
public:
    using Properties = std::map<std::string, std::string>;
    // Where a link came from: a campaign's dialog or banner, or an opened notification.
    enum class Source { Campaign, Notification };
    using NavigationListener = std::function<void(const nlohmann::json& navigation)>;

    // Navigates on the environment's main queue and user interface, among the host's `pages`.
    OTPushManager(const OTEnvironment& environment, std::shared_ptr<OTPageClassRegistry> pages);
    // The one of the installed environment.
    static std::shared_ptr<OTPushManager> sharedManager();

    // A host that draws its own screens performs each navigation itself: with a listener set, the
    // library decides over its page model as ever but hands the decision over (on the main queue,
    // when it would have navigated) instead of moving the model. Empty: the model moves.
    void setNavigationListener(NavigationListener listener);

    // Asks for notification permission and registers for remote notifications.
    void registerForRemoteNotificationWithDelegate(const std::shared_ptr<void>& delegate);
    // Only type 1 (a tapped notification) follows the message's "intentUrl".
    void handlePush(std::int64_t type, const nlohmann::json& msg);
    void handlePush(const std::optional<std::string>& link);
    void _handleUrl(const std::optional<std::string>& link, Source source = Source::Campaign);
    // Opens an address 0.6 s later: http and https in the app's browser, other schemes outside.
    void pushUrl(const std::optional<std::string>& link, Source source = Source::Campaign);
    // Makes the page the link names and shows it 0.6 s later.
    void pushViewController(const std::string& link, Source source = Source::Campaign);
    // Sets the values whose keys the controller's own class declares.
    void setProperty(const std::optional<Properties>& properties, const std::shared_ptr<OTViewController>& controller);
    void _pushViewController(const std::shared_ptr<OTViewController>& controller,
                             const std::optional<Properties>& property, Source source = Source::Campaign);
    // The tab whose root page is of the controller's class, or -1.
    std::int64_t _controller(const std::shared_ptr<OTViewController>& controller,
                             const std::shared_ptr<OTTabBarController>& inFirstPagesOfTabbar);
    // Switches to the tab rooted at the controller's class instead of pushing a second copy.
    bool _controllerInRootPageFrom(const std::shared_ptr<OTViewController>& controller,
                                   const std::shared_ptr<OTViewController>& current);
    bool _controllerWithPropertyInTabBarController(const std::shared_ptr<OTViewController>& controller,
                                                   const std::optional<Properties>& property,
                                                   const std::shared_ptr<OTTabBarController>& tabBarController);
    // "a=1&b=2" as a dictionary; pairs with an empty side are left out.
    std::optional<Properties> getProperty(const std::optional<std::string>& query);
    bool isExistPropertyInObject(const std::shared_ptr<OTViewController>& object, const std::string& propertyName);

    // Whether the link, as a whole, is "scheme://" followed by address characters.
    static bool isURLLink(const std::string& link);

private:
    // The tab bar, and the index in it, of the tab rooted at the controller's class, found by
    // climbing from `current` through nested tab bars; the stack to pop when there is one.
    struct TabRoot {
        std::shared_ptr<OTTabBarController> tabs;
        std::int64_t index = -1;
        std::shared_ptr<OTNavigationController> navigation = nullptr;
    };
    std::optional<TabRoot> tabRootFor(const std::shared_ptr<OTViewController>& controller,
                                      const std::shared_ptr<OTViewController>& current);
    // What showing `controller` over `top` means for the host, as handed to the listener.
    nlohmann::json pageNavigation(const std::shared_ptr<OTViewController>& controller,
                                  const std::shared_ptr<OTViewController>& top, Source source);
    NavigationListener navigationListener() const;
    // Hands `navigation` to the listener; false when there is none.
    bool report(const nlohmann::json& navigation) const;

    const std::shared_ptr<OTDispatchQueue> mainQueue_;
    const std::shared_ptr<OTUIHost> uiHost_;
    const std::shared_ptr<OTPageClassRegistry> pages_;
    const std::string systemVersion_;
    mutable std::mutex mutex_;
    NavigationListener listener_;
};

}  // namespace corvane
