#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "foundation/OTGeometry.h"
#include "view/OTColor.h"
#include "view/OTSceneNode.h"

namespace corvane {

class OTCycleScrollView;
class OTPageControl;
class OTTimer;

// Hears which page of a carousel was tapped and where scrolling came to rest.
class OTCycleScrollViewDelegate {
public:
    virtual ~OTCycleScrollViewDelegate() = default;
    virtual void otCycleScrollViewDidSelectItemAtIndex(OTCycleScrollView& view, std::int64_t index) = 0;
    virtual void otCycleScrollViewDidScrollToIndex(OTCycleScrollView& view, std::int64_t index) = 0;
};

// An endlessly looping, auto-scrolling picture carousel over a horizontally paged collection view,
// with a page control of dots. When looping, the collection holds each picture 100 times and starts
// in the middle, so the user can scroll both ways; the timer scrolls one page per interval on the
// main queue. The arithmetic is static and pure; the view only applies it. Main thread only.
class OTCycleScrollView final : public OTSceneNode {
public:
    enum class PageControlStyle : std::int64_t { Animated = 0, Classic = 1, None = 2 };
    static constexpr std::int64_t kLoopCopies = 100;
    static constexpr std::chrono::milliseconds kScrollAnimationDuration{300};
    static constexpr double kPageControlBottomMargin = 10;
    static constexpr double kPageControlRightMargin = 10;
    // A classic page control gives each dot a slot 1.5 dots wide.
    static constexpr double kClassicDotSlot = 1.5;

    // Where one tick or request scrolls to: an item, with or without animation.
    struct ScrollStep {
        std::int64_t index = 0;
        bool animated = false;
        bool operator==(const ScrollStep&) const = default;
    };

    static std::int64_t totalItemsCountFor(std::int64_t count, bool infiniteLoop);
    // The item under the middle of the view: truncate((offset + item / 2) / item), at least 0;
    // 0 when the view has no area.
    static std::int64_t currentIndexFor(double offset, double itemWidth, const OTSize& viewSize);
    static std::int64_t pageControlIndexWithCurrentCellIndex(std::int64_t index, std::int64_t count);
    // Past the end: back to the middle without animation when looping, else nowhere.
    static std::optional<ScrollStep> scrollStepTo(std::int64_t target, std::int64_t totalItemsCount, bool infiniteLoop);
    // Where the first layout starts: the middle when looping, else the first item.
    static std::int64_t startItemIndex(std::int64_t totalItemsCount, bool infiniteLoop);
    // The page control's frame in a view of `viewSize`.
    static OTRect pageControlFrame(std::int64_t pages, const OTSize& dotSize, PageControlStyle style,
                                   const OTSize& viewSize, bool centred, double rightOffset, double bottomOffset);

    // Made through `make` (or the class constructors), which connect the scrolling callbacks.
    explicit OTCycleScrollView(const OTRect& frame);
    ~OTCycleScrollView() override;
    static std::shared_ptr<OTCycleScrollView> make(const OTRect& frame);

    static std::shared_ptr<OTCycleScrollView> cycleScrollViewWithFrame(const OTRect& frame,
                                                                       const std::vector<std::string>& imageURLStrings);
    static std::shared_ptr<OTCycleScrollView> cycleScrollViewWithFrame(const OTRect& frame, bool shouldInfiniteLoop,
                                                                       const std::vector<std::string>& imageNames);
    static std::shared_ptr<OTCycleScrollView> cycleScrollViewWithFrame(
        const OTRect& frame, const std::weak_ptr<OTCycleScrollViewDelegate>& delegate,
        const std::optional<std::string>& placeholderImage);

    // Content.
    const std::vector<std::string>& imagePathsGroup() const { return imagePathsGroup_; }
    void setImagePathsGroup(std::vector<std::string> paths);
    void setImageURLStringsGroup(const std::vector<std::string>& urls) { setImagePathsGroup(urls); }
    void setLocalizationImageNamesGroup(const std::vector<std::string>& names) { setImagePathsGroup(names); }
    const std::vector<std::string>& titlesGroup() const { return titlesGroup_; }
    std::int64_t totalItemsCount() const { return totalItemsCount_; }
    const std::optional<std::string>& placeholderImage() const { return placeholderImage_; }
    void setPlaceholderImage(std::optional<std::string> value) { placeholderImage_ = std::move(value); }
    bool onlyDisplayText() const { return onlyDisplayText_; }
    void setOnlyDisplayText(bool value);

    // Settings.
    double autoScrollTimeInterval() const { return autoScrollTimeInterval_; }
    bool autoScroll() const { return autoScroll_; }
    void setAutoScroll(bool value);
    bool infiniteLoop() const { return infiniteLoop_; }
    bool showPageControl() const { return showPageControl_; }
    bool hidesForSinglePage() const { return hidesForSinglePage_; }
    void setHidesForSinglePage(bool value);
    // Non-zero centres the dots; 0 puts them at the right.
    std::int64_t pageControlAliment() const { return pageControlAliment_; }
    PageControlStyle pageControlStyle() const { return pageControlStyle_; }
    const OTSize& pageControlDotSize() const { return pageControlDotSize_; }
    double pageControlBottomOffset() const { return pageControlBottomOffset_; }
    double pageControlRightOffset() const { return pageControlRightOffset_; }
    const OTColor& currentPageDotColor() const { return currentPageDotColor_; }
    const OTColor& pageDotColor() const { return pageDotColor_; }
    const std::optional<std::string>& currentPageDotImage() const { return currentPageDotImage_; }
    const std::optional<std::string>& pageDotImage() const { return pageDotImage_; }
    ContentMode bannerImageViewContentMode() const { return bannerImageViewContentMode_; }
    void setBannerImageViewContentMode(ContentMode value) { bannerImageViewContentMode_ = value; }
    void setTitleLabelStyle(const OTColor& textColor, double fontSize, const OTColor& backgroundColor, double height,
                            TextAlignment alignment);

    // Who hears of taps and scrolling.
    void setDelegate(std::weak_ptr<OTCycleScrollViewDelegate> delegate) { delegate_ = std::move(delegate); }
    void setClickItemOperationBlock(std::function<void(std::int64_t)> block) { clickItem_ = std::move(block); }
    void setItemDidScrollOperationBlock(std::function<void(std::int64_t)> block) { itemDidScroll_ = std::move(block); }

    // Layout: items the size of the view; on the first layout with items, the start item.
    void layoutSubviews();
    // The item under the middle of the view and its page.
    std::int64_t currentIndex() const;
    std::int64_t currentPage() const;
    void scrollToIndex(std::int64_t target);
    // Jumps to `page` in the middle of the loop, restarting the timer.
    void makeScrollViewScrollToIndex(std::int64_t page);
    void automaticScroll();
    bool isTimerRunning() const;

    const std::shared_ptr<OTSceneNode>& mainView() const { return mainView_; }
    const std::shared_ptr<OTPageControl>& pageControl() const { return pageControl_; }
    // The cells on screen, left to right.
    std::vector<std::shared_ptr<OTSceneNode>> visibleCells() const { return mainView_->subviews(); }

private:
    void initialization();
    void connectScrolling();
    void setupTimer();
    void invalidateTimer();
    void setupPageControl();
    void setContentOffsetX(double x);
    void reloadVisibleCells();
    // The carousel's label, trait and page for a screen reader.
    void describeForReaders();
    void didSelectItem(std::int64_t index);
    void didEndScrolling();

    std::vector<std::string> imagePathsGroup_;
    std::vector<std::string> titlesGroup_;
    std::int64_t totalItemsCount_ = 0;
    std::optional<std::string> placeholderImage_;
    bool onlyDisplayText_ = false;
    double autoScrollTimeInterval_ = 2.0;
    bool autoScroll_ = true;
    bool infiniteLoop_ = true;
    bool showPageControl_ = true;
    bool hidesForSinglePage_ = true;
    std::int64_t pageControlAliment_ = 1;
    PageControlStyle pageControlStyle_ = PageControlStyle::Animated;
    OTSize pageControlDotSize_{10, 10};
    double pageControlBottomOffset_ = 0;
    double pageControlRightOffset_ = 0;
    OTColor currentPageDotColor_ = OTColor(1, 1, 1, 1);
    OTColor pageDotColor_ = OTColor(2.0 / 3, 2.0 / 3, 2.0 / 3, 1);
    std::optional<std::string> currentPageDotImage_;
    std::optional<std::string> pageDotImage_;
    OTColor titleLabelTextColor_ = OTColor(1, 1, 1, 1);
    double titleLabelFontSize_ = 14;
    OTColor titleLabelBackgroundColor_ = OTColor(0, 0, 0, 0.5);
    double titleLabelHeight_ = 30;
    TextAlignment titleLabelTextAlignment_ = TextAlignment::Left;
    ContentMode bannerImageViewContentMode_ = ContentMode::ScaleToFill;

    std::weak_ptr<OTCycleScrollViewDelegate> delegate_;
    std::function<void(std::int64_t)> clickItem_;
    std::function<void(std::int64_t)> itemDidScroll_;
    std::shared_ptr<OTSceneNode> mainView_;
    std::shared_ptr<OTPageControl> pageControl_;
    std::shared_ptr<OTTimer> timer_;
};

}  // namespace corvane
