#include "render/OTHeadlessUIHost.h"

#include <cstdio>

#include "platform/OTEnvironment.h"
#include "services/OTLogger.h"
#include "view/OTSceneNode.h"

namespace corvane {

std::shared_ptr<OTUIHost> OTUIHost::makeDefault() { return std::make_shared<OTHeadlessUIHost>(); }

bool OTHeadlessUIHost::canSendMail() {
    std::lock_guard lock(mutex_);
    return canSendMail_;
}

void OTHeadlessUIHost::presentMailComposer(const MailRequest& request, const std::shared_ptr<OTViewController>&,
                                           MailFinished finished) {
    MailResult result;
    std::optional<std::string> error;
    {
        std::lock_guard lock(mutex_);
        mails_.push_back(request);
        result = outcome_;
        error = outcomeError_;
    }
    record("mail: " + request.subject);
    if (!finished) return;
    OTEnvironment::current()->mainQueue()->async([finished, result, error] { finished(result, error); });
}

void OTHeadlessUIHost::dismissMailComposer() { record("mail dismissed"); }

void OTHeadlessUIHost::showMessage(const std::string& text) { record("message: " + text); }

void OTHeadlessUIHost::reloadData(const std::shared_ptr<OTSceneNode>& listView) {
    if (!listView) return;
    record(std::string("reloadData ") + OTSceneNode::roleName(listView->role()));
    listView->runActions(OTSceneNode::kReloadData);
}

std::shared_ptr<OTSceneNode> OTHeadlessUIHost::makeView(const OTSize& size) {
    auto view = std::make_shared<OTSceneNode>(OTSceneNode::Role::View, "container");
    view->setFrame({{0, 0}, size});
    return view;
}

namespace {
std::shared_ptr<OTSceneNode> listWithCell(OTSceneNode::Role list, OTSceneNode::Role cell, const OTSize& size) {
    auto view = std::make_shared<OTSceneNode>(list, OTSceneNode::roleName(list));
    view->setFrame({{0, 0}, size});
    view->addSubview(OTSceneNode::makeCell(cell, {{0, 0}, size}));
    return view;
}
}  // namespace

std::shared_ptr<OTSceneNode> OTHeadlessUIHost::makeTableViewWithCell(const OTSize& size) {
    return listWithCell(OTSceneNode::Role::Table, OTSceneNode::Role::TableCell, size);
}

std::shared_ptr<OTSceneNode> OTHeadlessUIHost::makeCollectionViewWithCell(const OTSize& size) {
    return listWithCell(OTSceneNode::Role::Collection, OTSceneNode::Role::CollectionCell, size);
}

void OTHeadlessUIHost::animateKeyWindowBounds(double width, double height, std::chrono::milliseconds duration,
                                              std::function<void()> completion) {
    char line[96];
    std::snprintf(line, sizeof line, "animate key window bounds to %gx%g in %lldms", width, height,
                  static_cast<long long>(duration.count()));
    record(line);
    if (completion) OTEnvironment::current()->mainQueue()->after(duration, std::move(completion));
}

void OTHeadlessUIHost::terminate(int status) { record("terminate " + std::to_string(status)); }

void OTHeadlessUIHost::setCanSendMail(bool value) {
    std::lock_guard lock(mutex_);
    canSendMail_ = value;
}

void OTHeadlessUIHost::setMailOutcome(MailResult result, std::optional<std::string> error) {
    std::lock_guard lock(mutex_);
    outcome_ = result;
    outcomeError_ = std::move(error);
}

std::vector<std::string> OTHeadlessUIHost::records() const {
    std::lock_guard lock(mutex_);
    return records_;
}

std::vector<OTUIHost::MailRequest> OTHeadlessUIHost::mails() const {
    std::lock_guard lock(mutex_);
    return mails_;
}

void OTHeadlessUIHost::record(std::string line) {
    std::lock_guard lock(mutex_);
    records_.push_back(std::move(line));
}

std::vector<std::shared_ptr<OTWindow>> OTHeadlessUIHost::windows() {
    std::lock_guard lock(mutex_);
    return windows_;
}

void OTHeadlessUIHost::setWindows(std::vector<std::shared_ptr<OTWindow>> windows) {
    std::lock_guard lock(mutex_);
    windows_ = std::move(windows);
}

bool OTHeadlessUIHost::canOpenURL(const std::string& url) {
    if (OTHeadlessWebView::isLocalFileURL(url)) return false;
    const auto colon = url.find(':');
    if (colon == std::string::npos || colon == 0 || colon + 1 >= url.size()) return false;
    for (std::size_t i = 0; i < colon; ++i) {
        const char c = url[i];
        const bool schemeChar = (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') ||
                                c == '+' || c == '-' || c == '.';
        if (!schemeChar) return false;
    }
    return url.find_first_of(" \t\n\r") == std::string::npos;
}

void OTHeadlessUIHost::openURL(const std::string& url) {
    if (OTHeadlessWebView::isLocalFileURL(url)) {
        OTLog(OTLogger::kLevelError, "拒绝打开本地文件地址：%@", url);
        record("refused url: " + url);
        return;
    }
    record("open url: " + url);
}

void OTHeadlessUIHost::setNotificationCenterDelegate(const std::shared_ptr<void>&) {
    record("notification delegate set");
}

void OTHeadlessUIHost::requestNotificationAuthorization(
    std::int64_t options, std::function<void(bool, const std::optional<std::string>&)> completion) {
    record("request notification authorization " + std::to_string(options));
    if (completion) {
        OTEnvironment::current()->mainQueue()->async([completion] { completion(true, std::nullopt); });
    }
}

void OTHeadlessUIHost::registerUserNotificationSettings(std::int64_t types) {
    record("register notification settings " + std::to_string(types));
}

void OTHeadlessUIHost::registerForRemoteNotifications() { record("register for remote notifications"); }

std::shared_ptr<OTWebView> OTHeadlessUIHost::makeWebView() {
    auto view = std::make_shared<OTHeadlessWebView>();
    std::lock_guard lock(mutex_);
    webViews_.push_back(view);
    return view;
}

std::vector<std::shared_ptr<OTHeadlessWebView>> OTHeadlessUIHost::webViews() const {
    std::lock_guard lock(mutex_);
    return webViews_;
}

}  // namespace corvane
