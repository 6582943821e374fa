#include "ui/OTPopWindow.h"

#include <nlohmann/json.hpp>

#include "core/OTNavigation.h"
#include "model/OTWindowData.h"
#include "platform/OTEnvironment.h"
#include "platform/OTTextMeasurer.h"
#include "services/OTLogger.h"
#include "ui/OTWebController.h"
#include "view/OTWindow.h"

namespace corvane {

namespace {
const OTColor kDialogTextColor(68.0 / 255, 68.0 / 255, 68.0 / 255, 1);
constexpr const char* kImageWidth = "image_width";
constexpr const char* kImageHeight = "image_height";
constexpr const char* kTitleHeight = "title_height";
constexpr const char* kTextHeight = "text_height";
constexpr const char* kButtonHeight = "button_height";
constexpr const char* kWebViewHeight = "webview_height";

OTSceneNode::TextAlignment alignmentFor(const std::optional<std::string>& type) {
    if (type == "left") return OTSceneNode::TextAlignment::Left;
    if (type == "right") return OTSceneNode::TextAlignment::Right;
    return OTSceneNode::TextAlignment::Center;
}
}  // namespace

OTColor OTPopWindow::defaultTextColor() { return kDialogTextColor; }

OTPopWindow::Metrics OTPopWindow::Metrics::forScreen(double width, double height, double textScale) {
    Metrics m;
    m.textScale = textScale;
    m.W = width;
    m.H = height;
    m.Wc = width / kCanvasWidth * 520;
    // The horizontal text margin follows the screen height, as the design always has.
    m.g = height / kCanvasHeight * 22.5;
    m.Tw = m.Wc - 2 * m.g;
    m.Bh = height / kCanvasHeight * 80;
    m.c = width / kCanvasWidth * 40;
    m.M = 0.8 * height;
    m.titleFontSize = width / kCanvasWidth * 30 * textScale;
    m.textFontSize = width / kCanvasWidth * 24 * textScale;
    // Buttons grow with their titles; smaller texts keep the designed height.
    m.Bh *= std::max(1.0, textScale);
    return m;
}

OTPopWindow::OTPopWindow() {
    const auto& environment = *OTEnvironment::current();
    const auto& device = environment.device();
    metrics_ = Metrics::forScreen(device.screenWidth, device.screenHeight, environment.accessibility().textScale());
    node_ = std::make_shared<OTSceneNode>(OTSceneNode::Role::View, "OTPopWindow");
    node_->setFrame({{0, 0}, {metrics_.W, metrics_.H}});
    // A screen reader stays on the dialog: what lies under it cannot be reached until it closes.
    node_->setModal(true);
}

void OTPopWindow::onMainQueue(std::function<void()> work) {
    auto main = OTEnvironment::current()->mainQueue();
    if (main->isCurrent()) work();
    else main->async(std::move(work));
}

double OTPopWindow::widgetAttribute(const std::string& key) const {
    const auto it = widgetAttributes_.find(key);
    return it == widgetAttributes_.end() ? 0 : it->second;
}

// ---- Parts ----

std::shared_ptr<OTSceneNode> OTPopWindow::backgroundView() {
    if (!backgroundView_) {
        backgroundView_ = std::make_shared<OTSceneNode>(OTSceneNode::Role::View, "backgroundView");
        backgroundView_->setFrame({{0, 0}, {metrics_.W, metrics_.H}});
        backgroundView_->setBackgroundColor(OTColor(0, 0, 0, 0.3));
        backgroundView_->setAccessibility(OTSceneNode::Accessibility::skipped());
    }
    return backgroundView_;
}

std::shared_ptr<OTSceneNode> OTPopWindow::contentView() {
    if (!contentView_) {
        contentView_ = std::make_shared<OTSceneNode>(OTSceneNode::Role::View, "contentView");
        contentView_->setBackgroundColor(OTColor(1, 1, 1, 1));
        contentView_->setCornerRadius(3.0);
        contentView_->setMasksToBounds(true);
    }
    return contentView_;
}

std::shared_ptr<OTSceneNode> OTPopWindow::closeBtn() {
    if (!closeBtn_) {
        closeBtn_ = std::make_shared<OTSceneNode>(OTSceneNode::Role::Button, "closeBtn");
        closeBtn_->setImageResource("ot_close_white@2x.png");
        closeBtn_->setShadow(OTSceneNode::Shadow{OTColor(0, 0, 0, 0.7), {-1, 1}, 0.7});
        // Drawn as a small "×": named for a screen reader and easy to hit whatever its size.
        closeBtn_->setAccessibility(
            OTSceneNode::Accessibility::said(OTEnvironment::current()->accessibility().closeLabel(), {"button"}));
        closeBtn_->setMinimumTouchSide(OTSceneNode::kMinimumTouchSize);
        closeBtn_->addAction(OTSceneNode::kTouchUpInside, [weak = weak_from_this()] {
            if (auto self = weak.lock()) self->_close();
        });
    }
    return closeBtn_;
}

std::shared_ptr<OTSceneNode> OTPopWindow::imgView() {
    if (!imgView_) {
        imgView_ = std::make_shared<OTSceneNode>(OTSceneNode::Role::Image, "imgView");
        imgView_->setBackgroundColor(OTColor(0, 0, 0, 0));
        imgView_->setContentMode(OTSceneNode::ContentMode::AspectFit);
    }
    return imgView_;
}

std::shared_ptr<OTWebController> OTPopWindow::webController() {
    if (!webController_) webController_ = OTWebController::initWithUrl(data_ ? data_->h5Url() : std::nullopt);
    return webController_;
}

std::shared_ptr<OTLabel> OTPopWindow::titleLbl() {
    if (!titleLbl_) {
        titleLbl_ = std::make_shared<OTLabel>("titleLbl");
        titleLbl_->setNumberOfLines(0);
        titleLbl_->setTextAlignment(OTSceneNode::TextAlignment::Center);
        titleLbl_->setTextColor(kDialogTextColor);
        titleLbl_->setBackgroundColor(OTColor(0, 0, 0, 0));
        titleLbl_->setFont(OTSceneNode::kCampaignFontName, metrics_.titleFontSize);
        titleLbl_->setAttribute(data_ ? data_->title() : nullptr);
        titleLbl_->setAccessibility(OTSceneNode::Accessibility::said("", {"header"}));
    }
    return titleLbl_;
}

std::shared_ptr<OTSceneNode> OTPopWindow::textScrollView() {
    if (!textScrollView_) textScrollView_ = std::make_shared<OTSceneNode>(OTSceneNode::Role::Scroll, "textScrollView");
    return textScrollView_;
}

std::shared_ptr<OTLabel> OTPopWindow::textLbl() {
    if (!textLbl_) {
        textLbl_ = std::make_shared<OTLabel>("textLbl");
        textLbl_->setNumberOfLines(0);
        textLbl_->setTextColor(kDialogTextColor);
        textLbl_->setBackgroundColor(OTColor(0, 0, 0, 0));
        textLbl_->setFont(OTSceneNode::kCampaignFontName, metrics_.textFontSize);
        textLbl_->setAttribute(data_ ? data_->content() : nullptr);
    }
    return textLbl_;
}

std::shared_ptr<OTButton> OTPopWindow::makeButton(const char* name, std::int64_t eventType) {
    auto button = std::make_shared<OTButton>(name);
    button->setEventType(eventType);
    button->setCornerRadius(6.0);
    button->setMasksToBounds(true);
    // Easy to hit whatever the screen; at a larger text size a long title wraps instead of being cut.
    button->setMinimumTouchSide(OTSceneNode::kMinimumTouchSize);
    if (metrics_.textScale > 1) button->setNumberOfLines(0);
    return button;
}

std::shared_ptr<OTButton> OTPopWindow::leftBtn() {
    if (!leftBtn_) leftBtn_ = makeButton("leftBtn", 4);
    return leftBtn_;
}

std::shared_ptr<OTButton> OTPopWindow::rightBtn() {
    if (!rightBtn_) rightBtn_ = makeButton("rightBtn", 5);
    return rightBtn_;
}

std::shared_ptr<OTButton> OTPopWindow::middleBtn() {
    if (!middleBtn_) middleBtn_ = makeButton("middleBtn", 6);
    return middleBtn_;
}

// ---- Showing ----

// Read off the main queue: the data is set before the view reports itself showing, and the dialog
// manager's lock orders the two.
std::optional<std::string> OTPopWindow::campaignId() const { return data_ ? data_->windowId() : std::nullopt; }

void OTPopWindow::popWithData(const std::shared_ptr<const OTWindowData>& data, EventAction eventAction) {
    OTLog(OTLogger::kLevelData, "pop window with data:%@\n", data);
    onMainQueue([self = shared_from_this(), data, eventAction = std::move(eventAction)] {
        self->data_ = data;
        self->eventAction_ = eventAction;
        self->calculateWindowHeight();
        self->startLayout();
        const auto style = data ? data->style() : 0;
        if (style < 1 || style > 4) return;
        self->setIsShowing(true);
        switch (style) {
            case 1: self->_popWithImageWithCompletion(eventAction); break;
            case 2: self->_popWithTextAndImageWithCompletion(eventAction); break;
            case 3: self->_popWithTextWithCompletion(eventAction); break;
            default: self->_popWithHTMLWithCompletion(eventAction); break;
        }
    });
}

void OTPopWindow::popWithTitle(const std::string& title, const std::optional<std::string>& message,
                               EventAction eventAction) {
    onMainQueue([self = shared_from_this(), title, message, eventAction = std::move(eventAction)] {
        auto data = std::make_shared<OTWindowData>();
        data->setModelWithDic(nlohmann::json{{"style", 3},
                                             {"title", {{"text", title}}},
                                             {"content", {{"text", message.value_or(kNoUserIdMessage)}}},
                                             {"buttonLeft", {{"text", "取消"}}},
                                             {"buttonRight", {{"text", "确定"}}}});
        self->data_ = data;
        self->eventAction_ = eventAction;
        self->isToolWindow_ = true;
        self->_popWithTextWithCompletion(eventAction);
    });
}

void OTPopWindow::setIsShowing(bool value) {
    isShowing_ = value;
    OTPopWindowManager::sharedManager()->handlePopWindow(shared_from_this());
}

// ---- Measuring ----

double OTPopWindow::minTextHeight() const {
    return OTEnvironment::current()->uiHost().textMeasurer().boundingHeight(
        kMinTextSample, OTSceneNode::kCampaignFontName, metrics_.textFontSize, kLineSpacing, metrics_.Tw);
}

double OTPopWindow::measure(const std::shared_ptr<OTLabel>& label,
                            const std::optional<std::string>& alignmentType) const {
    label->setLineSpacing(kLineSpacing);
    label->setTextAlignment(alignmentFor(alignmentType));
    return OTEnvironment::current()->uiHost().textMeasurer().boundingHeight(
        label->text().value_or(""), label->fontName(), label->fontSize(), kLineSpacing, metrics_.Tw);
}

void OTPopWindow::calculateWindowHeight() {
    const auto style = data_ ? data_->style() : 0;
    const double Wc = metrics_.Wc;
    if (style == 1) {
        imgView()->ot_setImageWithURL(data_->picture(), [weak = weak_from_this()] {
            auto self = weak.lock();
            if (!self) return;
            const auto size = self->imgView()->imageSize().value_or(OTSize{});
            self->setWidgetAttribute(kImageWidth, size.width);
            self->setWidgetAttribute(kImageHeight, size.height);
            // Read back at single precision: no picture gives 0 / 0, not a number, and the
            // comparison below fails, so the width is the content width.
            const auto w = static_cast<float>(self->widgetAttribute(kImageWidth));
            const auto h = static_cast<float>(self->widgetAttribute(kImageHeight));
            const double d = static_cast<double>(h / w) * self->metrics_.Wc;
            if (d >= self->metrics_.M) {
                self->setWidgetAttribute(kImageHeight, self->metrics_.M);
                self->setWidgetAttribute(kImageWidth, static_cast<double>(w / h) * self->metrics_.H * 0.8);
            } else {
                self->setWidgetAttribute(kImageHeight, d);
                self->setWidgetAttribute(kImageWidth, self->metrics_.Wc);
            }
        });
        return;
    }
    if (style == 4) {
        setWidgetAttribute(kWebViewHeight, Wc * kWebViewAspect);
        return;
    }
    if (style == 2) {
        imgView()->ot_setImageWithURL(data_->picture(), [weak = weak_from_this()] {
            auto self = weak.lock();
            if (!self) return;
            const auto size = self->imgView()->imageSize();
            self->setWidgetAttribute(kImageHeight,
                                     size && size->width > 0 ? size->height / size->width * self->metrics_.Wc : 0);
        });
    }
    if (style == 2 || style == 3) fitTextAndImage();
}

double OTPopWindow::buttonRowHeight() const {
    const auto& m = metrics_;
    if (m.textScale <= 1 || !data_) return m.Bh;
    // At a larger text size a button grows to hold its wrapped title.
    const bool two = data_->style() == 3 && data_->leftBtnAttribute() && data_->rightBtnAttribute();
    const double width = m.buttonWidth(two);
    const auto& measurer = OTEnvironment::current()->uiHost().textMeasurer();
    double height = m.Bh;
    const auto shown = two ? std::vector{data_->leftBtnAttribute(), data_->rightBtnAttribute()}
                           : std::vector{data_->middleBtnAttribute()};
    for (const auto& attribute : shown) {
        if (!attribute) continue;
        const double font = attribute->size() * m.textScale;
        height = std::max(height, measurer.boundingHeight(attribute->text().value_or(""),
                                                          OTSceneNode::kCampaignFontName, font, 0, width) +
                                      m.g);
    }
    return height;
}

void OTPopWindow::fitTextAndImage() {
    const auto& m = metrics_;
    setWidgetAttribute(kTitleHeight,
                       measure(titleLbl(), data_->title() ? data_->title()->alignmentType() : std::nullopt) + 1);
    const double text = measure(textLbl(), data_->content() ? data_->content()->alignmentType() : std::nullopt);
    setWidgetAttribute(kTextHeight, text);
    textHeight_ = text;
    const double buttons = buttonRowHeight();
    setWidgetAttribute(kButtonHeight, buttons);

    const double image = widgetAttribute(kImageHeight);
    const double title = widgetAttribute(kTitleHeight);
    const double minimum = minTextHeight();
    const double h1 = image + m.g + title + m.g + minimum + m.g + buttons + m.g;
    if (h1 >= m.M) {
        // Not even the shortest body fits: the picture gives way first.
        setWidgetAttribute(kImageHeight, image - (h1 - m.M));
        setWidgetAttribute(kTextHeight, minimum);
        imageAndTextWindowHeight_ = m.M;
        return;
    }
    const double h2 = image + m.g + title + m.g + text + m.g + buttons + m.g;
    if (h2 >= m.M) {
        setWidgetAttribute(kTextHeight, minimum + (m.M - h1));
        imageAndTextWindowHeight_ = m.M;
    } else {
        imageAndTextWindowHeight_ = h2;
    }
}

// ---- Layout ----

void OTPopWindow::startLayout() {
    const auto style = data_ ? data_->style() : 0;
    // An unknown style shows nothing at all: no overlay is left over the app.
    if (style < 1 || style > 4) return;
    // The dialog is named by the campaign's own words, as its title is, or at least says what it is.
    node_->setAccessibility(OTSceneNode::Accessibility::said(campaignWordsOr("活动", "Campaign")));
    if (auto window = OTNavigation(OTEnvironment::current()->uiHost()).keyWindow()) window->addSubview(node_);
    node_->addSubview(backgroundView());
    backgroundView()->setAlpha(0.2);
    node_->setAlpha(1.0);
    const auto& m = metrics_;
    const OTPoint center{m.W / 2, m.H / 2};
    switch (style) {
        case 1: {
            node_->addSubview(imgView());
            imgView()->setBounds({{0, 0}, {m.Wc, 0}});
            imgView()->setCenter(center);
            imgView()->setUserInteractionEnabled(true);
            imgView()->addAction(OTSceneNode::kTap, [weak = weak_from_this()] {
                if (auto self = weak.lock()) self->imageClicked();
            });
            // The picture is the whole message and a tap opens it.
            imgView()->setAccessibility(
                OTSceneNode::Accessibility::said(campaignWordsOr("活动图片", "Campaign picture"), {"image", "button"}));
            return;
        }
        case 2:
        case 3: {
            node_->addSubview(contentView());
            contentView()->setBounds({{0, 0}, {m.Wc, 0}});
            contentView()->setCenter(center);
            double y = m.g;
            if (style == 2) {
                contentView()->addSubview(imgView());
                imgView()->setFrame({{0, 0}, {m.Wc, widgetAttribute(kImageHeight)}});
                imgView()->setContentMode(OTSceneNode::ContentMode::ScaleToFill);
                y = m.g + imgView()->ot_height();
            }
            contentView()->addSubview(titleLbl());
            titleLbl()->setFrame({{m.g, y}, {m.Tw, widgetAttribute(kTitleHeight)}});
            y += m.g + titleLbl()->ot_height();
            contentView()->addSubview(textScrollView());
            textScrollView()->setFrame({{m.g, y}, {m.Tw, widgetAttribute(kTextHeight)}});
            textScrollView()->addSubview(textLbl());
            textLbl()->setFrame({{0, 0}, {m.Tw, textHeight_}});
            textScrollView()->setContentSize({m.Tw, textHeight_});
            layoutButtonWithData(data_);
            return;
        }
        case 4: {
            auto controller = webController();
            controller->viewDidLoad();
            node_->addSubview(controller->view());
            controller->setBounds({{0, 0}, {m.Wc, 0}}, center);
            controller->webNode()->setAccessibility(
                OTSceneNode::Accessibility::said(campaignWordsOr("活动页面", "Campaign page")));
            return;
        }
        default: return;
    }
}

std::string OTPopWindow::campaignWordsOr(const char* chinese, const char* english) const {
    if (data_) {
        for (const auto& attribute : {data_->title(), data_->content()}) {
            if (attribute && attribute->text() && !attribute->text()->empty()) return *attribute->text();
        }
    }
    return OTEnvironment::current()->accessibility().text(chinese, english);
}

void OTPopWindow::layoutButtonWithData(const std::shared_ptr<const OTWindowData>& data) {
    if (!data) return;
    const auto& m = metrics_;
    const double y0 = textScrollView()->bottom() + m.g;
    std::shared_ptr<OTButton> last;
    const auto place = [&](const std::shared_ptr<OTButton>& button, const std::shared_ptr<OTButtonAttribute>& attribute,
                           const OTRect& frame) {
        contentView()->addSubview(button);
        button->setFrame(frame);
        button->setAttribute(attribute);
        button->addAction(OTSceneNode::kTouchUpInside,
                          [weak = weak_from_this(), target = std::weak_ptr<OTButton>(button)] {
                              auto self = weak.lock();
                              auto tapped = target.lock();
                              if (self && tapped) self->jumpOut(tapped);
                          });
        last = button;
    };
    const double bh = widgetAttribute(kButtonHeight) > 0 ? widgetAttribute(kButtonHeight) : m.Bh;
    const OTRect fullWidth{{m.g, y0}, {m.Tw, bh}};
    if (data->style() == 2) {
        place(middleBtn(), data->middleBtnAttribute(), fullWidth);
    } else if (data->style() == 3) {
        if (data->leftBtnAttribute() && data->rightBtnAttribute()) {
            const double bw = m.buttonWidth(true);
            place(leftBtn(), data->leftBtnAttribute(), {{m.g, y0}, {bw, bh}});
            place(rightBtn(), data->rightBtnAttribute(), {{bw + 1.5 * m.g, y0}, {bw, bh}});
        } else if (data->middleBtnAttribute()) {
            place(middleBtn(), data->middleBtnAttribute(), fullWidth);
        }
    }
    reframeContentView(last);
}

void OTPopWindow::reframeContentView(const std::shared_ptr<OTButton>& button) {
    const double height = (button ? button->bottom() : 0) + metrics_.g;
    contentView()->setBounds({{0, 0}, {metrics_.Wc, height}});
    contentView()->setCenter({metrics_.W / 2, metrics_.H / 2});
    if (data_ && data_->style() == 3) textWindowHeight_ = height;
}

// ---- Animations ----

void OTPopWindow::animateIn(const std::function<void()>& changes, std::function<void()> finished) {
    OTSceneNode::animate(
        kShowDuration,
        [&] {
            backgroundView()->setAlpha(1.0);
            changes();
        },
        std::move(finished));
}

void OTPopWindow::addCloseButtonBelow(const OTRect& frame) {
    const double c = metrics_.c;
    node_->addSubview(closeBtn());
    closeBtn()->setImageResource("ot_close@2x.png");
    closeBtn()->setFrame({{0, 0}, {c, c}});
    closeBtn()->setCenter({frame.origin.x + frame.size.width / 2, frame.origin.y + frame.size.height + c * 1.5});
}

void OTPopWindow::_popWithImageWithCompletion(const Completion& completion) {
    const OTPoint center{metrics_.W / 2, metrics_.H / 2};
    animateIn(
        [&] {
            imgView()->setBounds({{0, 0}, {widgetAttribute(kImageWidth), widgetAttribute(kImageHeight)}});
            imgView()->setCenter(center);
        },
        [weak = weak_from_this(), completion] {
            auto self = weak.lock();
            if (!self) return;
            self->addCloseButtonBelow(self->imgView()->frame());
            if (completion) completion(1, std::nullopt);
        });
}

void OTPopWindow::_popWithTextAndImageWithCompletion(const Completion& completion) {
    animateIn(
        [&] {
            contentView()->setBounds({{0, 0}, {metrics_.Wc, imageAndTextWindowHeight_}});
            contentView()->setCenter({metrics_.W / 2, metrics_.H / 2});
        },
        [weak = weak_from_this(), completion] {
            auto self = weak.lock();
            if (!self) return;
            const double c = self->metrics_.c;
            const auto box = self->contentView()->frame();
            self->node_->addSubview(self->closeBtn());
            self->closeBtn()->setFrame({{box.origin.x + box.size.width - c / 2, box.origin.y - c / 2}, {c, c}});
            if (completion) completion(1, std::nullopt);
        });
}

void OTPopWindow::_popWithTextWithCompletion(const Completion& completion) {
    animateIn(
        [&] {
            contentView()->setBounds({{0, 0}, {metrics_.Wc, textWindowHeight_}});
            contentView()->setCenter({metrics_.W / 2, metrics_.H / 2});
        },
        [weak = weak_from_this(), completion] {
            auto self = weak.lock();
            if (!self || !completion) return;
            completion(self->isToolWindow_ ? -1 : 1, std::nullopt);
        });
}

void OTPopWindow::_popWithHTMLWithCompletion(const Completion& completion) {
    animateIn(
        [&] {
            webController()->setBounds({{0, 0}, {metrics_.Wc, metrics_.Wc * kWebViewAspect}},
                                       {metrics_.W / 2, metrics_.H / 2});
        },
        [weak = weak_from_this(), completion] {
            auto self = weak.lock();
            if (!self) return;
            self->addCloseButtonBelow(self->webController()->view()->frame());
            if (completion) completion(1, std::nullopt);
        });
}

// ---- Reactions ----

void OTPopWindow::imageClicked() {
    const auto link = data_ ? data_->eventLink() : std::nullopt;
    if (!link || link->empty()) return;
    closeThenReport(2, link);
}

void OTPopWindow::jumpOut(const std::shared_ptr<OTButton>& button) {
    if (!button) return;
    closeThenReport(button->eventType(), button->attribute() ? button->attribute()->eventLink() : std::nullopt);
}

void OTPopWindow::closeWithCompletion(std::function<void()> completion) {
    OTSceneNode::animate(
        kCloseDuration, [&] { node_->setAlpha(0); },
        [self = shared_from_this(), completion = std::move(completion)] {
            if (auto window = OTNavigation(OTEnvironment::current()->uiHost()).keyWindow())
                window->removeSubview(self->node_);
            self->node_->removeFromSuperview();
            self->setIsShowing(false);
            if (completion) completion();
        });
}

void OTPopWindow::_close() { closeThenReport(3, std::nullopt); }

void OTPopWindow::closeThenReport(std::int64_t type, const std::optional<std::string>& link) {
    closeWithCompletion([weak = weak_from_this(), type, link] {
        auto self = weak.lock();
        if (self && self->eventAction_) self->eventAction_(type, link);
    });
}

}  // namespace corvane
