#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "foundation/OTGeometry.h"
#include "ui/OTCycleScrollView.h"
#include "ui/OTLabel.h"
#include "view/OTSceneNode.h"

namespace corvane {

class OTBanner;
class OTTextAttribute;

// Draws one banner campaign for the host to place in its own screens, in one of five styles:
// 1 text beside an icon, 2 text over a large picture, 3 text over three small pictures, 4 text
// over a video, 5 a picture carousel. Every size follows from the screen width W and the measured
// text height; the arithmetic is static and pure. A tap follows the banner's link (a carousel
// page's own link for style 5). Main thread only.
class OTBannerView final : public OTSceneNode, public OTCycleScrollViewDelegate {
public:
    static constexpr const char* kViewName = "OTBannerView";
    static constexpr double kMargin = 10;
    static constexpr double kTextMediaGap = 5 + 10;
    static constexpr double kImageAspect = 0.65625;
    static constexpr double kVideoAspect = 0.5625;
    static constexpr double kCanvasWidth = 590.5;
    static constexpr double kFontCanvasSize = 28;
    static constexpr double kLineSpacing = 2;
    // Banner texts are cut at this many lines.
    static constexpr double kMaxTextLines = 3;

    // The sizes of one layout: text width, media frame (the first of three for style 3) and the
    // height of the content, for a screen W wide and a text T high.
    struct Layout {
        double textWidth = 0;
        OTRect media;
        double contentHeight = 0;
    };

    static double fontSizeFor(double screenWidth) { return screenWidth / kCanvasWidth * kFontCanvasSize; }
    // The width the text is measured at; 0 for a style without text.
    static double textWidthFor(std::int64_t style, double screenWidth);
    // The preferred size: always W wide; zero for an unknown style.
    static OTSize fetchSize(std::int64_t style, double screenWidth, double textHeight);
    static Layout layoutFor(std::int64_t style, double screenWidth, double textHeight);
    // The largest text height a banner shows: `kMaxTextLines` lines, and no more than the icon
    // plus 10 for style 1.
    static double maxTextHeight(std::int64_t style, double screenWidth);

    explicit OTBannerView(std::shared_ptr<const OTBanner> banner);
    static std::shared_ptr<OTBannerView> initWithBanner(std::shared_ptr<const OTBanner> banner);

    const std::shared_ptr<const OTBanner>& banner() const { return banner_; }
    OTSize fetchSize() const;
    void render() { layoutBannerViewWithBanner(banner_); }
    void layoutBannerViewWithBanner(const std::shared_ptr<const OTBanner>& banner);
    double calculateTextHeightWithAtrribute(const std::shared_ptr<OTTextAttribute>& attribute, double textWidth) const;
    void bannerClicked();

    void otCycleScrollViewDidSelectItemAtIndex(OTCycleScrollView& view, std::int64_t index) override;
    void otCycleScrollViewDidScrollToIndex(OTCycleScrollView& view, std::int64_t index) override;

    void layoutTitle_Icon();
    void layoutTitle_Image();
    void layoutTitle_Images();
    void layoutTitle_Video();
    void layoutScroll_Images();

    // Parts, made on first use.
    std::shared_ptr<OTSceneNode> contentView();
    std::shared_ptr<OTLabel> textLbl();
    std::shared_ptr<OTSceneNode> icon();
    std::shared_ptr<OTSceneNode> imgView();
    std::shared_ptr<OTSceneNode> imgView1();
    std::shared_ptr<OTSceneNode> imgView2();
    std::shared_ptr<OTSceneNode> imgView3();
    std::shared_ptr<OTSceneNode> playerController();
    std::shared_ptr<OTCycleScrollView> cycleScrollView();

private:
    // Places the text label; its height, 0 without text.
    double _layoutTextWithTextWidth(double textWidth);
    double textHeight() const;
    std::shared_ptr<OTSceneNode> imageNode(std::shared_ptr<OTSceneNode>& slot, const char* name);
    // Shows the first picture in `image` at `frame`; false when the banner has no picture.
    bool placeFirstPicture(const std::shared_ptr<OTSceneNode>& image, const OTRect& frame);
    // The content view becomes the banner view's only content and sets its size.
    void finishLayout(double contentHeight);

    double screenWidth_ = 0;
    std::shared_ptr<const OTBanner> banner_;
    std::shared_ptr<OTSceneNode> contentView_;
    std::shared_ptr<OTLabel> textLbl_;
    std::shared_ptr<OTSceneNode> icon_;
    std::shared_ptr<OTSceneNode> imgView_;
    std::shared_ptr<OTSceneNode> imgView1_;
    std::shared_ptr<OTSceneNode> imgView2_;
    std::shared_ptr<OTSceneNode> imgView3_;
    std::shared_ptr<OTSceneNode> playerController_;
    std::shared_ptr<OTCycleScrollView> cycleScrollView_;
};

}  // namespace corvane
