#pragma once

#include <memory>
#include <string>
#include <vector>

#include "platform/OTWebView.h"

namespace corvane {

// A web view without a page: it records what it is asked to load and lets a test or the simulator
// play the page (progress, finish, failure, script messages and panels).
class OTHeadlessWebView final : public OTWebView {
public:
    void loadRequest(const std::optional<std::string>& url) override;
    void reload() override;
    bool canGoBack() const override { return history_.size() > 1; }
    void goBack() override;
    void stopLoading() override { ++stopCount_; }
    std::optional<std::string> URL() const override;
    void evaluateJavaScript(const std::string& script, std::function<void(const nlohmann::json&)> completion) override;

    // The page.
    void setTitle(std::string title) { title_ = std::move(title); }
    void start();
    void setProgress(double progress);
    void finish();
    void fail(const std::string& error);
    void postMessage(const std::string& name, const nlohmann::json& body);
    void showPanel(const std::string& kind, const std::string& message);

    // Local files are never loaded or opened from a campaign: the address is refused and logged.
    static bool isLocalFileURL(const std::string& url);

    // What was asked: each load ("load <url>", "refused <url>", "reload", "back",
    // "script <source>") in order.
    const std::vector<std::string>& requests() const { return requests_; }
    int stopCount() const { return stopCount_; }
    // Panels shown whose answer never came.
    int unansweredPanels() const { return *unansweredPanels_; }

private:
    std::vector<std::string> requests_;
    std::vector<std::optional<std::string>> history_;
    std::string title_;
    int stopCount_ = 0;
    // Shared with the answers, which may outlive the view.
    std::shared_ptr<int> unansweredPanels_ = std::make_shared<int>(0);
};

}  // namespace corvane
