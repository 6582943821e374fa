#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "core/OTPopWindowManager.h"
#include "ui/OTButton.h"
#include "ui/OTLabel.h"
#include "view/OTSceneNode.h"

namespace corvane {

class OTWebController;
class OTWindowData;

// The full-screen overlay that shows one dialog campaign in one of four styles (1 picture,
// 2 picture and text, 3 text, 4 web page) and reports what the user did through one callback:
// 1 shown (−1 for a tool window), 2 picture tapped, 3 closed, 4/5/6 left/right/middle button.
// Every size is proportional to the screen, on a design canvas 590.5 × 1274.5 points.
class OTPopWindow final : public OTDialogView, public std::enable_shared_from_this<OTPopWindow> {
public:
    using EventAction = OTDialogPresenter::EventAction;
    using Completion = std::function<void(std::int64_t type, const std::optional<std::string>& link)>;

    static constexpr double kCanvasWidth = 590.5;
    static constexpr double kCanvasHeight = 1274.5;
    static constexpr double kWebViewAspect = 1.4953271028037385;
    static constexpr double kLineSpacing = 5;
    static constexpr const char* kMinTextSample = "用来计算文本的最小高度";
    static constexpr const char* kNoUserIdMessage = "未取到userId，请重启APP";
    static constexpr std::chrono::milliseconds kShowDuration{200};
    static constexpr std::chrono::milliseconds kCloseDuration{50};

    // The proportions of one screen: content width, gap, text width, button height, close button
    // side, maximum content height and the two default font sizes.
    // At a text scale other than 1 the fonts follow it, and so do the buttons once texts grow.
    struct Metrics {
        double W = 0, H = 0, Wc = 0, g = 0, Tw = 0, Bh = 0, c = 0, M = 0, titleFontSize = 0, textFontSize = 0;
        double textScale = 1;
        static Metrics forScreen(double width, double height, double textScale = 1);
        // A button's width: half the row, less the gaps, beside another; else the text width.
        double buttonWidth(bool paired) const { return paired ? (Wc - 2.5 * g) * 0.5 : Tw; }
    };
    // The colour of a title and text that give none.
    static OTColor defaultTextColor();

    // The screen's bounds; counts as showing until closed.
    OTPopWindow();

    void popWithData(const std::shared_ptr<const OTWindowData>& data, EventAction eventAction);
    // A text dialog with "取消" and "确定", shown without measuring, laying out or registering.
    void popWithTitle(const std::string& title, const std::optional<std::string>& message, EventAction eventAction);
    bool isShowing() const override { return isShowing_; }
    std::optional<std::string> campaignId() const override;
    void setIsShowing(bool value);
    void closeWithCompletion(std::function<void()> completion);
    void _close();

    double minTextHeight() const;
    void calculateWindowHeight();
    void startLayout();
    void layoutButtonWithData(const std::shared_ptr<const OTWindowData>& data);
    void reframeContentView(const std::shared_ptr<OTButton>& button);
    void imageClicked();
    void jumpOut(const std::shared_ptr<OTButton>& button);

    void _popWithImageWithCompletion(const Completion& completion);
    void _popWithTextAndImageWithCompletion(const Completion& completion);
    void _popWithTextWithCompletion(const Completion& completion);
    void _popWithHTMLWithCompletion(const Completion& completion);
    void _popWithImage() { _popWithImageWithCompletion(nullptr); }
    void _popWithTextAndImage() { _popWithTextAndImageWithCompletion(nullptr); }
    void _popWithText() { _popWithTextWithCompletion(nullptr); }
    void _popWithHTML() { _popWithHTMLWithCompletion(nullptr); }

    const std::shared_ptr<const OTWindowData>& data() const { return data_; }
    bool isToolWindow() const { return isToolWindow_; }
    const Metrics& metrics() const { return metrics_; }
    // A measured size ("image_width", "image_height", "title_height", "text_height",
    // "button_height", "webview_height"); 0 when missing.
    double widgetAttribute(const std::string& key) const;
    void setWidgetAttribute(const std::string& key, double value) { widgetAttributes_[key] = value; }
    double textHeight() const { return textHeight_; }
    double imageAndTextWindowHeight() const { return imageAndTextWindowHeight_; }
    double textWindowHeight() const { return textWindowHeight_; }

    // The window and its parts, made on first use.
    const std::shared_ptr<OTSceneNode>& node() const { return node_; }
    std::shared_ptr<OTSceneNode> backgroundView();
    std::shared_ptr<OTSceneNode> contentView();
    std::shared_ptr<OTSceneNode> closeBtn();
    std::shared_ptr<OTSceneNode> imgView();
    std::shared_ptr<OTWebController> webController();
    std::shared_ptr<OTLabel> titleLbl();
    std::shared_ptr<OTSceneNode> textScrollView();
    std::shared_ptr<OTLabel> textLbl();
    std::shared_ptr<OTButton> leftBtn();
    std::shared_ptr<OTButton> middleBtn();
    std::shared_ptr<OTButton> rightBtn();

private:
    // Runs `work` on the main queue: at once when already there.
    static void onMainQueue(std::function<void()> work);
    std::shared_ptr<OTButton> makeButton(const char* name, std::int64_t eventType);
    // Puts the measured attributed text on a label; its bounding height at the text width.
    double measure(const std::shared_ptr<OTLabel>& label, const std::optional<std::string>& alignmentType) const;
    void fitTextAndImage();
    // The buttons' height: the design's, or at a larger text size what their wrapped titles need.
    double buttonRowHeight() const;
    // The show animation: the background comes up, `changes` runs, then `finished`.
    void animateIn(const std::function<void()>& changes, std::function<void()> finished);
    // What a reader says of the dialog, its picture or its page: the campaign's title or text,
    // whichever it gives first, else `chinese` or `english` after the device language.
    std::string campaignWordsOr(const char* chinese, const char* english) const;
    void addCloseButtonBelow(const OTRect& frame);
    // The user's reaction: the window fades out, then the callback hears of it.
    void closeThenReport(std::int64_t type, const std::optional<std::string>& link);

    Metrics metrics_;
    std::shared_ptr<OTSceneNode> node_;
    std::shared_ptr<const OTWindowData> data_;
    EventAction eventAction_;
    bool isShowing_ = true;
    bool isToolWindow_ = false;
    std::map<std::string, double> widgetAttributes_;
    double textHeight_ = 0;
    double imageAndTextWindowHeight_ = 0;
    double textWindowHeight_ = 0;
    std::shared_ptr<OTSceneNode> backgroundView_;
    std::shared_ptr<OTSceneNode> contentView_;
    std::shared_ptr<OTSceneNode> closeBtn_;
    std::shared_ptr<OTSceneNode> imgView_;
    std::shared_ptr<OTWebController> webController_;
    std::shared_ptr<OTLabel> titleLbl_;
    std::shared_ptr<OTSceneNode> textScrollView_;
    std::shared_ptr<OTLabel> textLbl_;
    std::shared_ptr<OTButton> leftBtn_;
    std::shared_ptr<OTButton> middleBtn_;
    std::shared_ptr<OTButton> rightBtn_;
};

}  // namespace corvane
