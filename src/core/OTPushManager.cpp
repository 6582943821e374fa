#include "core/OTPushManager.h"

#include <algorithm>
#include <nlohmann/json.hpp>

#include "core/OTNavigation.h"
#include "foundation/OTJSONValue.h"
#include "foundation/OTText.h"
#include "platform/OTEnvironment.h"
#include "platform/OTPageClassRegistry.h"
#include "services/OTLogger.h"
#include "view/OTNavigationController.h"
#include "view/OTTabBarController.h"
#include "view/OTWindow.h"

namespace corvane {

namespace {
constexpr auto kNavigationDelay = std::chrono::milliseconds(600);

std::vector<std::string> split(const std::string& text, char separator) {
    std::vector<std::string> parts;
    std::size_t from = 0;
    for (std::size_t at = text.find(separator); at != std::string::npos; at = text.find(separator, from)) {
        parts.push_back(text.substr(from, at - from));
        from = at + 1;
    }
    parts.push_back(text.substr(from));
    return parts;
}

bool isAddressCharacter(char c) {
    static constexpr std::string_view kMarks = ".-~!@#$%^&*+?:_/=<>";
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') ||
           kMarks.find(c) != std::string_view::npos;
}

// The class a tab is compared with: a navigation stack's root, or the tab itself.
std::shared_ptr<OTViewController> tabPage(const std::shared_ptr<OTViewController>& child) {
    if (child && child->isNavigationController()) {
        const auto stack = std::static_pointer_cast<OTNavigationController>(child)->viewControllers();
        return stack.empty() ? nullptr : stack.front();
    }
    return child;
}

const char* sourceName(OTPushManager::Source source) {
    return source == OTPushManager::Source::Notification ? "notification" : "campaign";
}
}  // namespace

OTPushManager::OTPushManager(const OTEnvironment& environment, std::shared_ptr<OTPageClassRegistry> pages)
    : mainQueue_(environment.mainQueue()),
      uiHost_(environment.uiHostHandle()),
      pages_(std::move(pages)),
      systemVersion_(environment.device().systemVersion) {}

std::shared_ptr<OTPushManager> OTPushManager::sharedManager() {
    const auto environment = OTEnvironment::current();
    return environment->singleton<OTPushManager>(
        [&] { return std::make_shared<OTPushManager>(*environment, OTPageClassRegistry::shared()); });
}

void OTPushManager::setNavigationListener(NavigationListener listener) {
    std::lock_guard lock(mutex_);
    listener_ = std::move(listener);
}

OTPushManager::NavigationListener OTPushManager::navigationListener() const {
    std::lock_guard lock(mutex_);
    return listener_;
}

bool OTPushManager::report(const nlohmann::json& navigation) const {
    const auto listener = navigationListener();
    if (!listener) return false;
    OTLogger::guarded([&] { listener(navigation); });
    return true;
}

void OTPushManager::registerForRemoteNotificationWithDelegate(const std::shared_ptr<void>& delegate) {
    auto& host = *uiHost_;
    const double version = OTJSONValue::doubleValueOfText(systemVersion_);
    if (version >= 10) {
        if (delegate) host.setNotificationCenterDelegate(delegate);
        host.requestNotificationAuthorization(15, [](bool, const std::optional<std::string>& error) {
            if (!error) OTLog(OTLogger::kLevelLog, "request authorization succeeded!");
        });
        mainQueue_->async([ui = uiHost_] { ui->registerForRemoteNotifications(); });
    } else if (version >= 8) {
        mainQueue_->async([ui = uiHost_] { ui->registerForRemoteNotifications(); });
        host.registerUserNotificationSettings(7);
    } else {
        OTLog(OTLogger::kLevelError, "暂不支持 iOS 8.0 以下系统！");
    }
}

void OTPushManager::handlePush(std::int64_t type, const nlohmann::json& msg) {
    if (type != 1 || !msg.is_object()) return;
    const auto it = msg.find("intentUrl");
    _handleUrl(it == msg.end() ? std::nullopt : OTJSONValue::text(*it), Source::Notification);
}

void OTPushManager::handlePush(const std::optional<std::string>& link) { _handleUrl(link); }

bool OTPushManager::isURLLink(const std::string& link) {
    const std::size_t question = link.find('?');
    for (std::size_t at = link.find("://"); at != std::string::npos && at < question; at = link.find("://", at + 1)) {
        if (at == 0) continue;
        const std::string_view rest = std::string_view(link).substr(at + 3);
        if (!rest.empty() && std::all_of(rest.begin(), rest.end(), isAddressCharacter)) return true;
    }
    return false;
}

void OTPushManager::_handleUrl(const std::optional<std::string>& link, Source source) {
    if (!link || link->empty()) return;
    const std::string trimmed = OTText::trimmed(*link, false);
    if (isURLLink(trimmed)) pushUrl(trimmed, source);
    else pushViewController(trimmed, source);
}

void OTPushManager::pushUrl(const std::optional<std::string>& link, Source source) {
    if (!link || link->empty()) return;
    mainQueue_->after(kNavigationDelay, [weak = weak_from_this(), url = *link, source] {
        auto self = weak.lock();
        if (!self) return;
        auto& host = *self->uiHost_;
        const bool openable = host.canOpenURL(url);
        if (!openable) OTLog(OTLogger::kLevelError, "您所填写的活动链接不合法->%@", url);
        const bool web = url.rfind("http://", 0) == 0 || url.rfind("https://", 0) == 0;
        // A host is never handed an address its platform refuses (a local file, for one).
        if (self->navigationListener()) {
            if (openable) {
                self->report({{"kind", web ? "web" : "url"}, {"url", url}, {"source", sourceName(source)}});
            }
            return;
        }
        if (!web) {
            host.openURL(url);
            return;
        }
        const auto window = OTNavigation(host).keyWindow();
        const auto root = window ? window->rootViewController() : nullptr;
        if (!root) return;
        auto browser = std::make_shared<OTViewController>("SFSafariViewController");
        browser->setValueForKey(url, "URL");
        root->presentViewController(browser, true);
    });
}

void OTPushManager::pushViewController(const std::string& link, Source source) {
    const std::string cleaned = OTText::replacingOccurrences(link, " ", "");
    const auto parts = split(cleaned, '?');
    const std::string& className = parts.front();
    const auto pageClass = pages_->pageClassNamed(className);
    if (!pageClass) {
        OTLog(OTLogger::kLevelError, "您所填写的页面不存在->%@", className);
        return;
    }
    const auto properties = parts.size() >= 2 ? getProperty(parts[1]) : std::nullopt;
    auto controller = std::make_shared<OTViewController>(className, pageClass->superclasses);
    // The main storyboard first, then a nib of the class's name, then a plain page.
    if (pageClass->storyboardIdentifier == className) controller->setMadeFrom("storyboard");
    else if (pageClass->nibName == className) controller->setMadeFrom("nib");
    setProperty(properties, controller);
    _pushViewController(controller, properties, source);
}

bool OTPushManager::isExistPropertyInObject(const std::shared_ptr<OTViewController>& object,
                                            const std::string& propertyName) {
    if (!object) return false;
    const auto pageClass = pages_->pageClassNamed(object->className());
    if (!pageClass) return false;
    const auto& declared = pageClass->properties;
    return std::find(declared.begin(), declared.end(), propertyName) != declared.end();
}

void OTPushManager::setProperty(const std::optional<Properties>& properties,
                                const std::shared_ptr<OTViewController>& controller) {
    if (!properties || !controller) return;
    for (const auto& [key, value] : *properties) {
        if (isExistPropertyInObject(controller, key)) controller->setValueForKey(value, key);
    }
}

void OTPushManager::_pushViewController(const std::shared_ptr<OTViewController>& controller,
                                        const std::optional<Properties>& property, Source source) {
    mainQueue_->after(kNavigationDelay, [weak = weak_from_this(), controller, property, source] {
        auto self = weak.lock();
        if (!self || !controller) return;
        const auto top = OTNavigation(*self->uiHost_).currentViewController();
        if (self->navigationListener()) {
            self->report(self->pageNavigation(controller, top, source));
            return;
        }
        if (!top) return;
        if (top->presentingViewController()) {
            top->presentViewController(controller, false);
            return;
        }
        const auto navigation = top->navigationController();
        if (!navigation) {
            if (top->parentViewController()) self->_controllerInRootPageFrom(controller, top);
            return;
        }
        if (!navigation->presentingViewController() && navigation->parentViewController() &&
            self->_controllerInRootPageFrom(controller, top)) {
            return;
        }
        controller->setHidesBottomBarWhenPushed(true);
        navigation->pushViewController(controller, true);
    });
}

std::int64_t OTPushManager::_controller(const std::shared_ptr<OTViewController>& controller,
                                        const std::shared_ptr<OTTabBarController>& tabs) {
    if (!controller || !tabs) return -1;
    const auto children = tabs->viewControllers();
    for (std::size_t i = 0; i < children.size(); ++i) {
        const auto page = tabPage(children[i]);
        if (page && controller->isKindOfClass(page->className())) return static_cast<std::int64_t>(i);
    }
    return -1;
}

std::optional<OTPushManager::TabRoot> OTPushManager::tabRootFor(const std::shared_ptr<OTViewController>& controller,
                                                                const std::shared_ptr<OTViewController>& current) {
    if (!controller || !current) return std::nullopt;
    auto navigation = current->navigationController();
    auto parent = navigation ? navigation->parentViewController() : current->parentViewController();
    // Climb through nested tab bars until one has a tab rooted at the controller's class.
    for (int depth = 0; depth < 100; ++depth) {
        if (!parent || !parent->isTabBarController()) return std::nullopt;
        const auto tabs = std::static_pointer_cast<OTTabBarController>(parent);
        const auto index = _controller(controller, tabs);
        if (index != -1) return TabRoot{tabs, index, navigation};
        navigation = parent->navigationController();
        if (!navigation) return std::nullopt;
        parent = navigation->parentViewController();
    }
    return std::nullopt;
}

bool OTPushManager::_controllerInRootPageFrom(const std::shared_ptr<OTViewController>& controller,
                                              const std::shared_ptr<OTViewController>& current) {
    const auto found = tabRootFor(controller, current);
    if (!found) return false;
    if (found->navigation) found->navigation->popToRootViewController(false);
    found->tabs->setSelectedIndex(found->index);
    return true;
}

nlohmann::json OTPushManager::pageNavigation(const std::shared_ptr<OTViewController>& controller,
                                             const std::shared_ptr<OTViewController>& top, Source source) {
    nlohmann::json page = {{"kind", "page"},
                           {"page", controller->className()},
                           {"properties", controller->propertyValues()},
                           {"presentation", "push"},
                           {"source", sourceName(source)}};
    if (top && top->presentingViewController()) {
        page["presentation"] = "present";
        return page;
    }
    // Where the model would look for a tab first: a page with no stack, or a stack held by a parent.
    const auto navigation = top ? top->navigationController() : nullptr;
    const bool tabsFirst = navigation ? !navigation->presentingViewController() && navigation->parentViewController()
                                      : top && top->parentViewController();
    if (const auto tab = tabsFirst ? tabRootFor(controller, top) : std::nullopt) {
        return {
            {"kind", "tab"}, {"page", controller->className()}, {"tab", tab->index}, {"source", sourceName(source)}};
    }
    return page;
}

bool OTPushManager::_controllerWithPropertyInTabBarController(const std::shared_ptr<OTViewController>& controller,
                                                              const std::optional<Properties>& property,
                                                              const std::shared_ptr<OTTabBarController>& tabs) {
    if (!controller || !tabs) return false;
    const auto children = tabs->viewControllers();
    for (std::size_t i = 0; i < children.size(); ++i) {
        const auto& child = children[i];
        if (!child) continue;
        bool matches = false;
        if (child->isNavigationController()) {
            for (const auto& page : std::static_pointer_cast<OTNavigationController>(child)->viewControllers()) {
                matches = matches || (page && controller->isKindOfClass(page->className()));
            }
        } else {
            matches = controller->isKindOfClass(child->className());
        }
        if (matches) {
            tabs->setSelectedIndex(static_cast<std::int64_t>(i));
            setProperty(property, child);
            return true;
        }
    }
    return false;
}

std::optional<OTPushManager::Properties> OTPushManager::getProperty(const std::optional<std::string>& query) {
    if (!query || query->empty()) return std::nullopt;
    Properties properties;
    for (const auto& piece : split(*query, '&')) {
        const auto pair = split(piece, '=');
        if (pair.size() < 2) {
            // A piece without "=" names no value; it is left out rather than failing the link.
            OTLog(OTLogger::kLevelError, "链接参数缺少“=”，已忽略：%@", piece);
            continue;
        }
        if (!pair[0].empty() && !pair[1].empty()) properties[pair[0]] = pair[1];
    }
    return properties;
}

}  // namespace corvane
