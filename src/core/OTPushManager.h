#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <nlohmann/json_fwd.hpp>
#include <optional>
#include <string>

namespace corvane {

class OTTabBarController;
class OTViewController;

// Turns a campaign link or an opened notification into something the user sees: a web page in
// the app, another app, or one of the host app's own pages (named "Class?key=value&..."), with
// the query's values set on its declared properties.
class OTPushManager {
public:
    using Properties = std::map<std::string, std::string>;

    static std::shared_ptr<OTPushManager> sharedManager();

    // Asks for notification permission and registers for remote notifications.
    void registerForRemoteNotificationWithDelegate(const std::shared_ptr<void>& delegate);
    // Only type 1 (a tapped notification) follows the message's "intentUrl".
    void handlePush(std::int64_t type, const nlohmann::json& msg);
    void handlePush(const std::optional<std::string>& link);
    void _handleUrl(const std::optional<std::string>& link);
    // Opens an address 0.6 s later: http and https in the app's browser, other schemes outside.
    void pushUrl(const std::optional<std::string>& link);
    // Makes the page the link names and shows it 0.6 s later.
    void pushViewController(const std::string& link);
    // Sets the values whose keys the controller's own class declares.
    void setProperty(const std::optional<Properties>& properties, const std::shared_ptr<OTViewController>& controller);
    void _pushViewController(const std::shared_ptr<OTViewController>& controller,
                             const std::optional<Properties>& property);
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
};

}  // namespace corvane
