#pragma once

#include <memory>
#include <optional>
#include <string>

#include "foundation/OTGeometry.h"
#include "platform/OTWebView.h"
#include "view/OTColor.h"
#include "view/OTSceneNode.h"
#include "view/OTViewController.h"

namespace corvane {

// Shows one web page (the page of an H5 dialog): a thin progress bar that hides 0.2 s after the
// page is complete, a reload button for a page that failed to start, back and close bar buttons,
// optional pull-to-refresh and the script channel "jsCallOC", which only logs what pages post.
class OTWebController final : public OTViewController, public OTWebView::Delegate {
public:
    static constexpr const char* kScriptChannel = "jsCallOC";
    static constexpr const char* kReloadTitle = "网络异常，点击重新加载";

    OTWebController();
    ~OTWebController() override;
    static std::shared_ptr<OTWebController> initWithUrl(const std::optional<std::string>& url);
    static std::shared_ptr<OTWebController> initWithFrame(const OTRect& frame);

    void viewDidLoad();
    void setupUI();
    void loadRequest();
    void setBounds(const OTRect& bounds, const OTPoint& center);
    void resizeFrame(const OTSize& size);
    void wkWebViewReload();
    void showLeftBarButtonItem();
    void back();
    void close();

    // The controller's view and its parts, made on first use.
    std::shared_ptr<OTSceneNode> view();
    std::shared_ptr<OTWebView> wkWebView();
    std::shared_ptr<OTSceneNode> webNode();
    std::shared_ptr<OTSceneNode> progress();
    std::shared_ptr<OTSceneNode> reloadBtn();
    std::shared_ptr<OTSceneNode> backBarButtonItem();
    bool refreshControlAttached() const { return refreshControlAttached_; }

    const std::optional<std::string>& urlString() const { return urlString_; }
    void setUrlString(std::optional<std::string> value) { urlString_ = std::move(value); }
    const std::optional<std::string>& jsString() const { return jsString_; }
    void setJsString(std::optional<std::string> value) { jsString_ = std::move(value); }
    const std::optional<OTColor>& loadingProgressColor() const { return loadingProgressColor_; }
    void setLoadingProgressColor(std::optional<OTColor> value) { loadingProgressColor_ = std::move(value); }
    bool canDownRefresh() const { return canDownRefresh_; }
    void setCanDownRefresh(bool value) { canDownRefresh_ = value; }
    double progressValue() const { return progressValue_; }
    // The navigation item: title and left item.
    const std::optional<std::string>& title() const { return title_; }
    std::shared_ptr<OTSceneNode> leftBarButtonItem() const { return leftBarButtonItem_; }

    // Page events.
    void didStartProvisionalNavigation() override;
    void didFinishNavigation() override;
    void didFailProvisionalNavigation(const std::string& error) override;
    void estimatedProgressDidChange(double progress) override;
    void didReceiveScriptMessage(const std::string& name, const nlohmann::json& body) override;
    // Accepted and never answered: a page that waits on a panel waits for ever.
    void runJavaScriptPanel(const std::string& kind, const std::string& message,
                            std::function<void(const nlohmann::json&)> completion) override;

private:
    std::weak_ptr<OTWebController> weakSelf();
    void layoutProgress();

    OTRect frame_;
    std::optional<std::string> urlString_;
    std::optional<std::string> jsString_;
    std::optional<OTColor> loadingProgressColor_;
    bool canDownRefresh_ = false;
    bool refreshControlAttached_ = false;
    double progressValue_ = 0;
    std::optional<std::string> title_;
    std::shared_ptr<OTSceneNode> view_;
    std::shared_ptr<OTWebView> webView_;
    std::shared_ptr<OTSceneNode> webNode_;
    std::shared_ptr<OTSceneNode> progress_;
    std::shared_ptr<OTSceneNode> reloadBtn_;
    std::shared_ptr<OTSceneNode> backBarButtonItem_;
    std::shared_ptr<OTSceneNode> leftBarButtonItem_;
};

}  // namespace corvane
