#include "ui/OTCycleScrollView.h"

#include <cmath>

#include "core/OTTimer.h"
#include "platform/OTEnvironment.h"
#include "ui/OTCollectionViewCell.h"
#include "ui/OTPageControl.h"

namespace corvane {

// ---- Arithmetic ----

std::int64_t OTCycleScrollView::totalItemsCountFor(std::int64_t count, bool infiniteLoop) {
    return infiniteLoop ? count * kLoopCopies : count;
}

std::int64_t OTCycleScrollView::currentIndexFor(double offset, double itemWidth, const OTSize& viewSize) {
    if (viewSize.width <= 0 || viewSize.height <= 0 || itemWidth <= 0) return 0;
    const double index = std::trunc((offset + itemWidth / 2) / itemWidth);
    if (!std::isfinite(index) || index < 0) return 0;
    return static_cast<std::int64_t>(index);
}

std::int64_t OTCycleScrollView::pageControlIndexWithCurrentCellIndex(std::int64_t index, std::int64_t count) {
    return count <= 0 ? 0 : index % count;
}

std::optional<OTCycleScrollView::ScrollStep> OTCycleScrollView::scrollStepTo(std::int64_t target,
                                                                             std::int64_t totalItemsCount,
                                                                             bool infiniteLoop) {
    if (target < totalItemsCount) return ScrollStep{target, true};
    if (!infiniteLoop) return std::nullopt;
    return ScrollStep{startItemIndex(totalItemsCount, true), false};
}

std::int64_t OTCycleScrollView::startItemIndex(std::int64_t totalItemsCount, bool infiniteLoop) {
    return infiniteLoop ? static_cast<std::int64_t>(static_cast<double>(totalItemsCount) * 0.5) : 0;
}

OTRect OTCycleScrollView::pageControlFrame(std::int64_t pages, const OTSize& dotSize, PageControlStyle style,
                                           const OTSize& viewSize, bool centred, double rightOffset,
                                           double bottomOffset) {
    OTSize size = OTPageControl::sizeForNumberOfPages(pages, dotSize, OTPageControl::kDefaultSpacing);
    if (style == PageControlStyle::Classic)
        size = {static_cast<double>(pages) * dotSize.width * kClassicDotSlot, dotSize.height};
    double x = centred ? (viewSize.width - size.width) / 2 : viewSize.width - size.width - kPageControlRightMargin;
    double y = viewSize.height - size.height - kPageControlBottomMargin;
    x -= rightOffset;
    y -= bottomOffset;
    return {{x, y}, size};
}

// ---- Making ----

OTCycleScrollView::OTCycleScrollView(const OTRect& frame) : OTSceneNode(Role::View, "OTCycleScrollView") {
    setFrame(frame);
    initialization();
    mainView_ = std::make_shared<OTSceneNode>(Role::Collection, "mainView");
    mainView_->setFrame({{0, 0}, frame.size});
    mainView_->setBackgroundColor(OTColor(0, 0, 0, 0));
    addSubview(mainView_);
}

OTCycleScrollView::~OTCycleScrollView() { invalidateTimer(); }

std::shared_ptr<OTCycleScrollView> OTCycleScrollView::make(const OTRect& frame) {
    auto view = std::make_shared<OTCycleScrollView>(frame);
    view->connectScrolling();
    return view;
}

std::shared_ptr<OTCycleScrollView> OTCycleScrollView::cycleScrollViewWithFrame(
    const OTRect& frame, const std::vector<std::string>& imageURLStrings) {
    auto view = make(frame);
    view->setImageURLStringsGroup(imageURLStrings);
    return view;
}

std::shared_ptr<OTCycleScrollView> OTCycleScrollView::cycleScrollViewWithFrame(
    const OTRect& frame, bool shouldInfiniteLoop, const std::vector<std::string>& imageNames) {
    auto view = make(frame);
    view->infiniteLoop_ = shouldInfiniteLoop;
    view->setLocalizationImageNamesGroup(imageNames);
    return view;
}

std::shared_ptr<OTCycleScrollView> OTCycleScrollView::cycleScrollViewWithFrame(
    const OTRect& frame, const std::weak_ptr<OTCycleScrollViewDelegate>& delegate,
    const std::optional<std::string>& placeholderImage) {
    auto view = make(frame);
    view->setDelegate(delegate);
    view->setPlaceholderImage(placeholderImage);
    return view;
}

void OTCycleScrollView::initialization() { setBackgroundColor(OTColor(2.0 / 3, 2.0 / 3, 2.0 / 3, 1)); }

void OTCycleScrollView::connectScrolling() {
    std::weak_ptr<OTSceneNode> weak = weak_from_this();
    auto self = [weak] { return std::static_pointer_cast<OTCycleScrollView>(weak.lock()); };
    mainView_->addAction(kWillBeginDragging, [self] {
        if (auto view = self(); view && view->autoScroll_) view->invalidateTimer();
    });
    mainView_->addAction(kDidScroll, [self] {
        if (auto view = self()) view->setContentOffsetX(view->mainView_->contentOffset().x);
    });
    mainView_->addAction(kDidEndDragging, [self] {
        if (auto view = self(); view && view->autoScroll_) view->setupTimer();
    });
    mainView_->addAction(kDidEndDecelerating, [self] {
        if (auto view = self()) view->didEndScrolling();
    });
}

// ---- Content and settings ----

void OTCycleScrollView::setImagePathsGroup(std::vector<std::string> paths) {
    invalidateTimer();
    imagePathsGroup_ = std::move(paths);
    const auto count = static_cast<std::int64_t>(imagePathsGroup_.size());
    totalItemsCount_ = totalItemsCountFor(count, infiniteLoop_);
    if (count > 1) {
        mainView_->setScrollEnabled(true);
        setAutoScroll(autoScroll_);
    } else {
        mainView_->setScrollEnabled(false);
    }
    mainView_->setContentSize({static_cast<double>(totalItemsCount_) * ot_width(), ot_height()});
    setupPageControl();
    reloadVisibleCells();
}

void OTCycleScrollView::setOnlyDisplayText(bool value) {
    onlyDisplayText_ = value;
    setupPageControl();
    reloadVisibleCells();
}

void OTCycleScrollView::setAutoScroll(bool value) {
    autoScroll_ = value;
    invalidateTimer();
    if (autoScroll_ && imagePathsGroup_.size() > 1) setupTimer();
}

void OTCycleScrollView::setHidesForSinglePage(bool value) {
    hidesForSinglePage_ = value;
    setupPageControl();
}

void OTCycleScrollView::setTitleLabelStyle(const OTColor& textColor, double fontSize, const OTColor& backgroundColor,
                                           double height, TextAlignment alignment) {
    titleLabelTextColor_ = textColor;
    titleLabelFontSize_ = fontSize;
    titleLabelBackgroundColor_ = backgroundColor;
    titleLabelHeight_ = height;
    titleLabelTextAlignment_ = alignment;
    reloadVisibleCells();
}

void OTCycleScrollView::setupPageControl() {
    if (pageControl_) pageControl_->removeFromSuperview();
    pageControl_.reset();
    const auto count = static_cast<std::int64_t>(imagePathsGroup_.size());
    if (count == 0 || onlyDisplayText_ || pageControlStyle_ == PageControlStyle::None) return;
    if (count == 1 && hidesForSinglePage_) return;
    pageControl_ = std::make_shared<OTPageControl>();
    pageControl_->setDotViewClass(pageControlStyle_ == PageControlStyle::Animated
                                      ? OTPageControl::DotViewClass::Animated
                                      : OTPageControl::DotViewClass::Plain);
    pageControl_->setDotSize(pageControlDotSize_);
    pageControl_->setDotColor(currentPageDotColor_);
    pageControl_->setDotImage(pageDotImage_);
    pageControl_->setCurrentDotImage(currentPageDotImage_);
    pageControl_->setHidesForSinglePage(hidesForSinglePage_);
    pageControl_->setUserInteractionEnabled(false);
    pageControl_->setNumberOfPages(count);
    pageControl_->setCurrentPage(currentPage());
    pageControl_->setHidden(!showPageControl_ || pageControl_->hidden());
    addSubview(pageControl_);
    layoutSubviews();
}

// ---- Layout and scrolling ----

void OTCycleScrollView::layoutSubviews() {
    const OTSize size = frame().size;
    mainView_->setFrame({{0, 0}, size});
    mainView_->setContentSize({static_cast<double>(totalItemsCount_) * size.width, size.height});
    if (mainView_->contentOffset().x == 0 && totalItemsCount_ > 0) {
        setContentOffsetX(static_cast<double>(startItemIndex(totalItemsCount_, infiniteLoop_)) * size.width);
    }
    if (pageControl_) {
        pageControl_->setFrame(pageControlFrame(static_cast<std::int64_t>(imagePathsGroup_.size()), pageControlDotSize_,
                                                pageControlStyle_, size, pageControlAliment_ != 0,
                                                pageControlRightOffset_, pageControlBottomOffset_));
        pageControl_->layoutDots();
    }
    reloadVisibleCells();
}

std::int64_t OTCycleScrollView::currentIndex() const {
    return currentIndexFor(mainView_->contentOffset().x, frame().size.width, frame().size);
}

std::int64_t OTCycleScrollView::currentPage() const {
    return pageControlIndexWithCurrentCellIndex(currentIndex(), static_cast<std::int64_t>(imagePathsGroup_.size()));
}

void OTCycleScrollView::setContentOffsetX(double x) {
    mainView_->setContentOffset({x, 0});
    if (pageControl_) pageControl_->setCurrentPage(currentPage());
    reloadVisibleCells();
}

void OTCycleScrollView::scrollToIndex(std::int64_t target) {
    const auto step = scrollStepTo(target, totalItemsCount_, infiniteLoop_);
    if (!step) return;
    const double x = static_cast<double>(step->index) * ot_width();
    if (!step->animated) {
        setContentOffsetX(x);
        return;
    }
    std::weak_ptr<OTSceneNode> weak = weak_from_this();
    OTSceneNode::animate(
        kScrollAnimationDuration, [this, x] { setContentOffsetX(x); },
        [weak] {
            if (auto view = std::static_pointer_cast<OTCycleScrollView>(weak.lock())) view->didEndScrolling();
        });
}

void OTCycleScrollView::makeScrollViewScrollToIndex(std::int64_t page) {
    if (autoScroll_) invalidateTimer();
    if (totalItemsCount_ == 0) return;
    setContentOffsetX(std::trunc(static_cast<double>(totalItemsCount_) * 0.5 + static_cast<double>(page)) * ot_width());
    if (autoScroll_) setupTimer();
}

void OTCycleScrollView::automaticScroll() {
    if (totalItemsCount_ == 0) return;
    scrollToIndex(currentIndex() + 1);
}

void OTCycleScrollView::setupTimer() {
    invalidateTimer();
    std::weak_ptr<OTSceneNode> weak = weak_from_this();
    timer_ = OTTimer::timerWithTimeInterval(
        OTEnvironment::current()->mainQueue(), autoScrollTimeInterval_, weak,
        [](const std::shared_ptr<void>& target, OTTimer&) {
            static_cast<OTCycleScrollView*>(static_cast<OTSceneNode*>(target.get()))->automaticScroll();
        },
        true);
}

void OTCycleScrollView::invalidateTimer() {
    if (timer_) timer_->invalidate();
    timer_.reset();
}

bool OTCycleScrollView::isTimerRunning() const { return timer_ && timer_->isValid(); }

void OTCycleScrollView::describeForReaders() {
    // One element for a screen reader: the pictures decorate, the dots are drawn for the eye, and
    // the carousel says which page of how many it shows.
    const auto& preferences = OTEnvironment::current()->accessibility();
    const auto count = static_cast<std::int64_t>(imagePathsGroup_.size());
    auto carousel = Accessibility::said(preferences.text("轮播广告", "Banner carousel"), {"adjustable"});
    if (count > 0) {
        const auto page = std::to_string(currentPage() + 1);
        const auto pages = std::to_string(count);
        carousel.value =
            preferences.speaksChinese() ? "第 " + page + " 页，共 " + pages + " 页" : "Page " + page + " of " + pages;
    }
    setAccessibility(std::move(carousel));
    if (pageControl_) pageControl_->setAccessibility(Accessibility::skipped());
}

void OTCycleScrollView::reloadVisibleCells() {
    describeForReaders();
    while (!mainView_->subviews().empty()) mainView_->subviews().back()->removeFromSuperview();
    const double width = ot_width();
    const auto count = static_cast<std::int64_t>(imagePathsGroup_.size());
    if (width <= 0 || totalItemsCount_ == 0 || count == 0) return;
    const double offset = mainView_->contentOffset().x;
    const auto first = std::max<std::int64_t>(0, static_cast<std::int64_t>(std::floor(offset / width)));
    const auto last = std::min<std::int64_t>(totalItemsCount_ - 1,
                                             static_cast<std::int64_t>(std::ceil((offset + width) / width)) - 1);
    std::weak_ptr<OTSceneNode> weak = weak_from_this();
    for (auto item = first; item <= last; ++item) {
        const auto page = pageControlIndexWithCurrentCellIndex(item, count);
        auto cell = std::make_shared<OTCollectionViewCell>(
            OTRect{{static_cast<double>(item) * width - offset, 0}, {width, ot_height()}});
        cell->setTitleLabelStyle(titleLabelTextColor_, titleLabelFontSize_, titleLabelBackgroundColor_,
                                 titleLabelHeight_, titleLabelTextAlignment_);
        cell->setOnlyDisplayText(onlyDisplayText_);
        const auto& path = imagePathsGroup_[static_cast<std::size_t>(page)];
        if (!onlyDisplayText_)
            cell->setImagePath(path.empty() ? placeholderImage_.value_or("") : path, bannerImageViewContentMode_);
        if (static_cast<std::size_t>(page) < titlesGroup_.size()) {
            cell->setTitle(titlesGroup_[static_cast<std::size_t>(page)]);
        }
        cell->addAction(kTap, [weak, page] {
            if (auto view = std::static_pointer_cast<OTCycleScrollView>(weak.lock())) view->didSelectItem(page);
        });
        mainView_->addSubview(cell);
    }
}

void OTCycleScrollView::didSelectItem(std::int64_t index) {
    if (auto delegate = delegate_.lock()) delegate->otCycleScrollViewDidSelectItemAtIndex(*this, index);
    if (clickItem_) clickItem_(index);
}

void OTCycleScrollView::didEndScrolling() {
    if (imagePathsGroup_.empty()) return;
    const auto page = currentPage();
    if (auto delegate = delegate_.lock()) delegate->otCycleScrollViewDidScrollToIndex(*this, page);
    if (itemDidScroll_) itemDidScroll_(page);
}

}  // namespace corvane
