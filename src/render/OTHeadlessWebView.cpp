#include "render/OTHeadlessWebView.h"

#include <cctype>
#include <memory>

#include "services/OTLogger.h"

namespace corvane {

bool OTHeadlessWebView::isLocalFileURL(const std::string& url) {
    std::size_t start = 0;
    while (start < url.size() && static_cast<unsigned char>(url[start]) <= ' ') ++start;
    if (url.size() - start < 5) return false;
    std::string scheme = url.substr(start, 5);
    for (auto& c : scheme) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
    return scheme == "file:";
}

void OTHeadlessWebView::loadRequest(const std::optional<std::string>& url) {
    if (url && isLocalFileURL(*url)) {
        OTLog(OTLogger::kLevelError, "拒绝加载本地文件地址：%@", *url);
        requests_.push_back("refused " + *url);
        return;
    }
    requests_.push_back("load " + url.value_or("(null)"));
    history_.push_back(url);
}

void OTHeadlessWebView::reload() { requests_.emplace_back("reload"); }

void OTHeadlessWebView::goBack() {
    if (history_.size() < 2) return;
    history_.pop_back();
    requests_.emplace_back("back");
}

std::optional<std::string> OTHeadlessWebView::URL() const { return history_.empty() ? std::nullopt : history_.back(); }

void OTHeadlessWebView::evaluateJavaScript(const std::string& script,
                                           std::function<void(const nlohmann::json&)> completion) {
    requests_.push_back("script " + script);
    if (!completion) return;
    completion(script == "document.title" ? nlohmann::json(title_) : nlohmann::json());
}

void OTHeadlessWebView::start() {
    if (auto d = delegate()) d->didStartProvisionalNavigation();
}

void OTHeadlessWebView::setProgress(double progress) {
    if (auto d = delegate()) d->estimatedProgressDidChange(progress);
}

void OTHeadlessWebView::finish() {
    if (auto d = delegate()) d->didFinishNavigation();
}

void OTHeadlessWebView::fail(const std::string& error) {
    if (auto d = delegate()) d->didFailProvisionalNavigation(error);
}

void OTHeadlessWebView::postMessage(const std::string& name, const nlohmann::json& body) {
    if (auto d = delegate()) d->didReceiveScriptMessage(name, body);
}

void OTHeadlessWebView::showPanel(const std::string& kind, const std::string& message) {
    auto d = delegate();
    if (!d) return;
    ++*unansweredPanels_;
    auto answered = std::make_shared<bool>(false);
    d->runJavaScriptPanel(kind, message, [count = unansweredPanels_, answered](const nlohmann::json&) {
        if (!*answered) --*count;
        *answered = true;
    });
}

}  // namespace corvane
