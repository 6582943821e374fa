#include "ui/OTWebController.h"

#include <algorithm>

#include "foundation/OTImage.h"
#include "foundation/OTJSONValue.h"
#include "platform/OTEnvironment.h"
#include "services/OTLogger.h"
#include "view/OTNavigationController.h"

namespace corvane {

namespace {}  // namespace

OTWebController::OTWebController() : OTViewController("OTWebController") {}

OTWebController::~OTWebController() {
    if (webView_) {
        webView_->stopLoading();
        webView_->setDelegate({});
    }
}

std::shared_ptr<OTWebController> OTWebController::initWithUrl(const std::optional<std::string>& url) {
    auto controller = std::make_shared<OTWebController>();
    controller->urlString_ = url;
    return controller;
}

std::shared_ptr<OTWebController> OTWebController::initWithFrame(const OTRect& frame) {
    auto controller = std::make_shared<OTWebController>();
    controller->frame_ = frame;
    return controller;
}

std::weak_ptr<OTWebController> OTWebController::weakSelf() {
    return std::static_pointer_cast<OTWebController>(shared_from_this());
}

std::shared_ptr<OTSceneNode> OTWebController::view() {
    if (!view_) {
        view_ = std::make_shared<OTSceneNode>(OTSceneNode::Role::View, "OTWebController");
        view_->setFrame({{0, 0}, OTEnvironment::current()->device().screenSize()});
    }
    return view_;
}

void OTWebController::viewDidLoad() {
    setupUI();
    loadRequest();
}

void OTWebController::setupUI() {
    view()->setBackgroundColor(OTColor(1, 1, 1, 1));
    showLeftBarButtonItem();
    view()->addSubview(webNode());
    view()->addSubview(progress());
    view()->addSubview(reloadBtn());
}

void OTWebController::loadRequest() { wkWebView()->loadRequest(urlString_); }

std::shared_ptr<OTWebView> OTWebController::wkWebView() {
    if (webView_) return webView_;
    webView_ = OTEnvironment::current()->uiHost().makeWebView();
    webView_->setAllowsInlineMediaPlayback(true);
    webView_->addScriptMessageHandler(kScriptChannel);
    if (jsString_) webView_->addUserScript({*jsString_, true, false});
    const bool sized = frame_.size.width != 0 && frame_.size.height != 0;
    webView_->setFrame(sized ? frame_ : OTRect{{0, 0}, OTEnvironment::current()->device().screenSize()});
    webView_->setDelegate(std::static_pointer_cast<OTWebView::Delegate>(weakSelf().lock()));
    webView_->setAllowsBackForwardNavigationGestures(true);
    if (canDownRefresh_) {
        webView_->setHasRefreshControl(true);
        refreshControlAttached_ = true;
    }
    return webView_;
}

std::shared_ptr<OTSceneNode> OTWebController::webNode() {
    if (!webNode_) {
        webNode_ = std::make_shared<OTSceneNode>(OTSceneNode::Role::Web, "wkWebView");
        webNode_->setFrame(wkWebView()->frame());
        webNode_->setUrl(urlString_);
    }
    return webNode_;
}

std::shared_ptr<OTSceneNode> OTWebController::progress() {
    if (!progress_) {
        // The bar's track, and the tinted part that shows how far the page has loaded.
        progress_ = std::make_shared<OTSceneNode>(OTSceneNode::Role::View, "progress");
        progress_->setFrame({{0, 0}, {view()->ot_width(), 2}});
        auto tint = std::make_shared<OTSceneNode>(OTSceneNode::Role::View, "progressTint");
        tint->setBackgroundColor(loadingProgressColor_.value_or(OTColor(0, 1, 0, 1)));
        progress_->addSubview(tint);
        layoutProgress();
    }
    return progress_;
}

std::shared_ptr<OTSceneNode> OTWebController::reloadBtn() {
    if (!reloadBtn_) {
        reloadBtn_ = std::make_shared<OTSceneNode>(OTSceneNode::Role::Button, "reloadBtn");
        reloadBtn_->setFrame({{0, 0}, {200, 140}});
        reloadBtn_->setCenter(view()->bounds().size.width > 0 ? view()->center() : OTPoint{});
        reloadBtn_->setOt_y(reloadBtn_->ot_y() - 100);
        reloadBtn_->setText(kReloadTitle);
        reloadBtn_->setTextColor(OTColor(2.0 / 3, 2.0 / 3, 2.0 / 3, 1));  // light grey
        reloadBtn_->setFont("system", 15);
        reloadBtn_->setNumberOfLines(0);
        reloadBtn_->setTextAlignment(OTSceneNode::TextAlignment::Center);
        reloadBtn_->addAction(OTSceneNode::kTouchUpInside, [weak = weakSelf()] {
            if (auto self = weak.lock()) self->wkWebViewReload();
        });
        reloadBtn_->setHidden(true);
    }
    return reloadBtn_;
}

std::shared_ptr<OTSceneNode> OTWebController::backBarButtonItem() {
    if (backBarButtonItem_) return backBarButtonItem_;
    backBarButtonItem_ = std::make_shared<OTSceneNode>(OTSceneNode::Role::View, "backBarButtonItem");
    backBarButtonItem_->setFrame({{0, 0}, {72, 36}});
    const auto barButton = [&](const char* name, double x, const std::function<void(OTWebController&)>& action) {
        auto button = std::make_shared<OTSceneNode>(OTSceneNode::Role::Button, name);
        button->setFrame({{x, 0}, {36, 36}});
        button->setImageNamed(name);
        button->addAction(OTSceneNode::kTouchUpInside, [weak = weakSelf(), action] {
            if (auto self = weak.lock()) action(*self);
        });
        backBarButtonItem_->addSubview(button);
    };
    barButton("ot_webview_back", 0, [](OTWebController& self) { self.back(); });
    barButton("ot_webview_close", 36, [](OTWebController& self) { self.close(); });
    return backBarButtonItem_;
}

void OTWebController::setBounds(const OTRect& bounds, const OTPoint& center) {
    view()->setBounds(bounds);
    view()->setCenter(center);
    resizeFrame(bounds.size);
}

void OTWebController::resizeFrame(const OTSize& size) {
    wkWebView()->setFrame({{0, 0}, size});
    webNode()->setFrame({{0, 0}, size});
    progress()->setFrame({{0, 0}, {size.width, 2}});
    layoutProgress();
}

void OTWebController::layoutProgress() {
    const auto& tint = progress()->subviews().front();
    tint->setFrame({{0, 0}, {progress()->ot_width() * std::clamp(progressValue_, 0.0, 1.0), 2}});
}

void OTWebController::wkWebViewReload() { wkWebView()->reload(); }

void OTWebController::showLeftBarButtonItem() {
    // Whether the page can go back is asked, as the platform does, but both answers show the pair.
    (void)wkWebView()->canGoBack();
    leftBarButtonItem_ = backBarButtonItem();
}

void OTWebController::back() {
    if (wkWebView()->canGoBack()) {
        wkWebView()->goBack();
        return;
    }
    close();
}

void OTWebController::close() {
    if (auto navigation = navigationController()) navigation->popViewController(true);
    dismissViewController(true);
}

void OTWebController::didStartProvisionalNavigation() {
    progress()->setHidden(false);
    wkWebView()->setHidden(false);
    webNode()->setHidden(false);
    reloadBtn()->setHidden(true);
    const auto url = wkWebView()->URL();
    if (url && url->rfind("about:", 0) == 0) {
        wkWebView()->setHidden(true);
        webNode()->setHidden(true);
    }
}

void OTWebController::didFinishNavigation() {
    wkWebView()->evaluateJavaScript("document.title", [weak = weakSelf()](const nlohmann::json& result) {
        auto self = weak.lock();
        if (!self) return;
        self->title_ = result.is_string() ? std::optional<std::string>(result.get<std::string>()) : std::nullopt;
    });
    showLeftBarButtonItem();
}

void OTWebController::didFailProvisionalNavigation(const std::string& error) {
    wkWebView()->setHidden(true);
    webNode()->setHidden(true);
    reloadBtn()->setHidden(false);
    OTLog(OTLogger::kLevelError, "页面加载失败：%@，url：%@", error, urlString_);
}

void OTWebController::estimatedProgressDidChange(double value) {
    progressValue_ = OTJSONValue::floatValue(std::clamp(value, 0.0, 1.0)).value_or(0);
    layoutProgress();
    if (progressValue_ != 1.0) return;
    OTEnvironment::current()->mainQueue()->after(std::chrono::milliseconds(200), [weak = weakSelf()] {
        if (auto self = weak.lock()) self->progress()->setHidden(true);
    });
}

void OTWebController::didReceiveScriptMessage(const std::string& name, const nlohmann::json& body) {
    // Only logged: no call is dispatched, whatever a page posts on "jsCallOC".
    OTLog(OTLogger::kLevelLog, "js 拦截，调用 OC 方法，方法名：%@,参数：%@", name, body);
}

void OTWebController::runJavaScriptPanel(const std::string&, const std::string&,
                                         std::function<void(const nlohmann::json&)>) {}

}  // namespace corvane
