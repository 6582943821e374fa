#include "ui/OTBannerView.h"

#include <algorithm>

#include "core/OTPushManager.h"
#include "model/OTBanner.h"
#include "platform/OTEnvironment.h"
#include "platform/OTTextMeasurer.h"
#include "services/OTLogger.h"

namespace corvane {

namespace {
const OTColor kBannerTextColor(68.0 / 255, 68.0 / 255, 68.0 / 255, 1);

double iconSide(double W) { return (W - 20) / 3; }
double smallImageSide(double W) { return (W - 30) / 3; }
// Where the media start: below the text and its gap, or at the top margin without text.
double mediaTop(double textHeight) {
    return textHeight > 0 ? textHeight + OTBannerView::kTextMediaGap : OTBannerView::kMargin;
}
}  // namespace

// ---- Arithmetic ----

double OTBannerView::textWidthFor(std::int64_t style, double W) {
    switch (style) {
        case 1: return (W - 30) - iconSide(W);
        case 2:
        case 3:
        case 4: return W - 20;
        default: return 0;
    }
}

OTSize OTBannerView::fetchSize(std::int64_t style, double W, double T) {
    double media = 0;
    switch (style) {
        case 1: return {W, iconSide(W) * kImageAspect + 20};
        case 2: media = (W - 20) * kImageAspect; break;
        case 3: media = smallImageSide(W) * kImageAspect; break;
        case 4: media = (W - 20) * kVideoAspect; break;
        case 5: return {W, (W - 20) * kImageAspect + 20};
        default: return {};
    }
    return {W, T > 0 ? T + media + 30 : media + 20};
}

OTBannerView::Layout OTBannerView::layoutFor(std::int64_t style, double W, double T) {
    Layout layout;
    layout.textWidth = textWidthFor(style, W);
    const double y0 = mediaTop(T);
    switch (style) {
        case 1: {
            const double side = iconSide(W);
            layout.media = {{(W - 10) - side, 10}, {side, side * kImageAspect}};
            layout.contentHeight = layout.media.size.height + 20;
            break;
        }
        case 2:
            layout.media = {{10, y0}, {W - 20, (W - 20) * kImageAspect}};
            layout.contentHeight = layout.media.size.height + 10 + y0;
            break;
        case 3: {
            const double side = smallImageSide(W);
            layout.media = {{10, y0}, {side, side * kImageAspect}};
            layout.contentHeight = layout.media.size.height + 10 + y0;
            break;
        }
        case 4:
            layout.media = {{10, y0}, {W - 20, (W - 20) * kVideoAspect}};
            layout.contentHeight = layout.media.size.height + 10 + y0;
            break;
        case 5:
            layout.media = {{10, 10}, {W - 20, (W - 20) * kImageAspect}};
            layout.contentHeight = layout.media.size.height + 20;
            break;
        default: break;
    }
    return layout;
}

double OTBannerView::maxTextHeight(std::int64_t style, double W) {
    const double lines =
        kMaxTextLines * OTTextMeasurer::lineHeight(fontSizeFor(W)) + (kMaxTextLines - 1) * kLineSpacing;
    return style == 1 ? std::min(lines, iconSide(W) * kImageAspect + 10) : lines;
}

// ---- View ----

OTBannerView::OTBannerView(std::shared_ptr<const OTBanner> banner)
    : OTSceneNode(Role::View, kViewName),
      screenWidth_(OTEnvironment::current()->device().screenWidth),
      banner_(std::move(banner)) {}

std::shared_ptr<OTBannerView> OTBannerView::initWithBanner(std::shared_ptr<const OTBanner> banner) {
    return std::make_shared<OTBannerView>(std::move(banner));
}

double OTBannerView::calculateTextHeightWithAtrribute(const std::shared_ptr<OTTextAttribute>& attribute,
                                                      double textWidth) const {
    if (!attribute || !attribute->text()) return 0;
    const double height = OTEnvironment::current()->uiHost().textMeasurer().boundingHeight(
        *attribute->text(), kCampaignFontName, fontSizeFor(screenWidth_), kLineSpacing, textWidth);
    const std::int64_t style = banner_ ? banner_->style() : 0;
    return std::min(height, maxTextHeight(style, screenWidth_));
}

double OTBannerView::textHeight() const {
    if (!banner_) return 0;
    return calculateTextHeightWithAtrribute(banner_->content(), textWidthFor(banner_->style(), screenWidth_));
}

OTSize OTBannerView::fetchSize() const {
    if (!banner_) return {};
    return fetchSize(banner_->style(), screenWidth_, banner_->style() == 5 ? 0 : textHeight());
}

void OTBannerView::layoutBannerViewWithBanner(const std::shared_ptr<const OTBanner>& banner) {
    if (!banner) return;
    switch (banner->style()) {
        case 1: layoutTitle_Icon(); break;
        case 2: layoutTitle_Image(); break;
        case 3: layoutTitle_Images(); break;
        case 4: layoutTitle_Video(); break;
        case 5: layoutScroll_Images(); break;
        default: break;
    }
}

void OTBannerView::bannerClicked() {
    OTPushManager::sharedManager()->handlePush(banner_ ? banner_->eventLink() : std::nullopt);
}

void OTBannerView::otCycleScrollViewDidSelectItemAtIndex(OTCycleScrollView&, std::int64_t index) {
    if (!banner_) return;
    const auto links = banner_->pictureClickEventURLs();
    if (index < 0 || static_cast<std::size_t>(index) >= links.size()) return;
    OTPushManager::sharedManager()->handlePush(links[static_cast<std::size_t>(index)]);
}

void OTBannerView::otCycleScrollViewDidScrollToIndex(OTCycleScrollView&, std::int64_t) {}

// ---- Parts ----

std::shared_ptr<OTSceneNode> OTBannerView::contentView() {
    if (!contentView_) {
        contentView_ = std::make_shared<OTSceneNode>(Role::View, kContentViewName);
        contentView_->setBackgroundColor(OTColor(1, 1, 1, 1));
        std::weak_ptr<OTSceneNode> weak = weak_from_this();
        contentView_->addAction(kTap, [weak] {
            if (auto self = std::static_pointer_cast<OTBannerView>(weak.lock())) self->bannerClicked();
        });
    }
    return contentView_;
}

std::shared_ptr<OTLabel> OTBannerView::textLbl() {
    if (!textLbl_) {
        textLbl_ = std::make_shared<OTLabel>("textLbl");
        textLbl_->setNumberOfLines(0);
        textLbl_->setTextColor(kBannerTextColor);
        textLbl_->setBackgroundColor(OTColor(0, 0, 0, 0));
        textLbl_->setFont(kCampaignFontName, fontSizeFor(screenWidth_));
        textLbl_->setLineSpacing(kLineSpacing);
        textLbl_->setAttribute(banner_ ? banner_->content() : nullptr);
        // The content's alignment is always "left".
        textLbl_->setTextAlignment(TextAlignment::Left);
    }
    return textLbl_;
}

std::shared_ptr<OTSceneNode> OTBannerView::imageNode(std::shared_ptr<OTSceneNode>& slot, const char* name) {
    if (!slot) {
        slot = std::make_shared<OTSceneNode>(Role::Image, name);
        slot->setContentMode(ContentMode::AspectFill);
        slot->setMasksToBounds(true);
    }
    return slot;
}

std::shared_ptr<OTSceneNode> OTBannerView::icon() { return imageNode(icon_, "icon"); }
std::shared_ptr<OTSceneNode> OTBannerView::imgView() { return imageNode(imgView_, "imgView"); }
std::shared_ptr<OTSceneNode> OTBannerView::imgView1() { return imageNode(imgView1_, "imgView1"); }
std::shared_ptr<OTSceneNode> OTBannerView::imgView2() { return imageNode(imgView2_, "imgView2"); }
std::shared_ptr<OTSceneNode> OTBannerView::imgView3() { return imageNode(imgView3_, "imgView3"); }

std::shared_ptr<OTSceneNode> OTBannerView::playerController() {
    if (!playerController_) {
        playerController_ = std::make_shared<OTSceneNode>(Role::Video, "playerController");
        playerController_->setBackgroundColor(OTColor(0, 0, 0, 1));
    }
    return playerController_;
}

std::shared_ptr<OTCycleScrollView> OTBannerView::cycleScrollView() {
    if (!cycleScrollView_) {
        cycleScrollView_ = OTCycleScrollView::make({});
        cycleScrollView_->setName("cycleScrollView");
        cycleScrollView_->setDelegate(std::static_pointer_cast<OTBannerView>(shared_from_this()));
    }
    return cycleScrollView_;
}

// ---- Layouts ----

double OTBannerView::_layoutTextWithTextWidth(double textWidth) {
    const double height = textHeight();
    if (height <= 0) return 0;
    auto label = textLbl();
    label->setFrame({{kMargin, kMargin}, {textWidth, height}});
    contentView()->addSubview(label);
    return height;
}

void OTBannerView::finishLayout(double contentHeight) {
    auto content = contentView();
    content->setFrame({{0, 0}, {screenWidth_, contentHeight}});
    addSubview(content);
    setFrame({frame().origin, content->frame().size});
}

bool OTBannerView::placeFirstPicture(const std::shared_ptr<OTSceneNode>& image, const OTRect& frame) {
    const auto& pictures = banner_->pictures();
    if (pictures.empty()) return false;
    image->setFrame(frame);
    image->ot_setImageWithURL(pictures.front()->url());
    contentView()->addSubview(image);
    return true;
}

void OTBannerView::layoutTitle_Icon() {
    const auto layout = layoutFor(1, screenWidth_, 0);
    _layoutTextWithTextWidth(layout.textWidth);
    if (!placeFirstPicture(icon(), layout.media)) OTLog(OTLogger::kLevelError, "小图标缺失");
    finishLayout(layout.contentHeight);
}

void OTBannerView::layoutTitle_Image() {
    const double T = _layoutTextWithTextWidth(textWidthFor(2, screenWidth_));
    const auto layout = layoutFor(2, screenWidth_, T);
    if (!placeFirstPicture(imgView(), layout.media)) OTLog(OTLogger::kLevelError, "大图缺失");
    finishLayout(layout.contentHeight);
}

void OTBannerView::layoutTitle_Images() {
    const double T = _layoutTextWithTextWidth(textWidthFor(3, screenWidth_));
    const auto layout = layoutFor(3, screenWidth_, T);
    const auto urls = banner_->pictureURLs();
    if (urls.empty()) {
        OTLog(OTLogger::kLevelError, "多图缺失");
    } else {
        const double step = layout.media.size.width + 5;
        std::shared_ptr<OTSceneNode> views[] = {imgView1(), imgView2(), imgView3()};
        for (std::size_t i = 0; i < 3 && i < urls.size(); ++i) {
            auto frame = layout.media;
            frame.origin.x += step * static_cast<double>(i);
            views[i]->setFrame(frame);
            views[i]->ot_setImageWithURL(urls[i]);
            contentView()->addSubview(views[i]);
        }
    }
    finishLayout(layout.contentHeight);
}

void OTBannerView::layoutTitle_Video() {
    const double T = _layoutTextWithTextWidth(textWidthFor(4, screenWidth_));
    const auto layout = layoutFor(4, screenWidth_, T);
    const auto& videos = banner_->videos();
    if (videos.empty()) {
        OTLog(OTLogger::kLevelError, "视频缺失");
    } else {
        const auto& address = videos.front();
        const bool network = address.rfind("http://", 0) == 0 || address.rfind("https://", 0) == 0;
        auto player = playerController();
        // Made once: a second render keeps the player and its address.
        if (!player->url()) player->setUrl(network ? address : "file://" + address);
        player->setFrame(layout.media);
        contentView()->addSubview(player);
    }
    finishLayout(layout.contentHeight);
}

void OTBannerView::layoutScroll_Images() {
    const auto layout = layoutFor(5, screenWidth_, 0);
    const auto urls = banner_->pictureURLs();
    if (urls.empty()) {
        OTLog(OTLogger::kLevelError, "轮播图缺失");
    } else {
        auto carousel = cycleScrollView();
        carousel->setFrame(layout.media);
        carousel->setImageURLStringsGroup(urls);
        carousel->layoutSubviews();
        contentView()->addSubview(carousel);
    }
    // Taps go through the carousel's pages.
    contentView()->removeActions(kTap);
    finishLayout(layout.contentHeight);
}

}  // namespace corvane
