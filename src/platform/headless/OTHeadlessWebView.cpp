#include "platform/headless/OTHeadlessWebView.h"

#include <memory>

namespace corvane {

void OTHeadlessWebView::loadRequest(const std::optional<std::string>& url) {
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
