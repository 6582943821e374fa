#include <gtest/gtest.h>

#include "render/OTHeadlessRenderer.h"
#include "support/OTTestEnvironment.h"
#include "ui/OTAnimatedDotView.h"
#include "ui/OTCycleScrollView.h"
#include "ui/OTDotView.h"
#include "ui/OTPageControl.h"

namespace corvane {

using namespace std::chrono_literals;

// The edges the scenes below do not reach.
TEST(OTCycleScrollView, IndexAndDotArithmeticAtItsEdges) {
    const OTSize view{355, 233};
    EXPECT_EQ(OTCycleScrollView::currentIndexFor(177, 355, view), 0);    // just short of half an item
    EXPECT_EQ(OTCycleScrollView::currentIndexFor(177.5, 355, view), 1);  // half an item turns the page
    EXPECT_EQ(OTCycleScrollView::currentIndexFor(-1000, 355, view), 0);
    EXPECT_EQ(OTCycleScrollView::currentIndexFor(700, 355, {0, 233}), 0);
    EXPECT_EQ(OTCycleScrollView::currentIndexFor(700, 355, {355, 0}), 0);
    EXPECT_EQ(OTCycleScrollView::pageControlIndexWithCurrentCellIndex(7, 0), 0);
    EXPECT_EQ(OTPageControl::sizeForNumberOfPages(0, {10, 10}, 8), (OTSize{0, 0}));
    using Style = OTCycleScrollView::PageControlStyle;
    EXPECT_EQ(OTCycleScrollView::pageControlFrame(3, {10, 10}, Style::Animated, view, false, 5, 4),
              (OTRect{{294, 209}, {46, 10}}));
    EXPECT_EQ(OTCycleScrollView::pageControlFrame(3, {10, 10}, Style::Classic, view, true, 0, 0),
              (OTRect{{155, 213}, {45, 10}}));
}

TEST(OTCycleScrollView, ThreePicturesLoopTickAndJumpBackToTheMiddle) {
    OTTestEnvironment test;
    const std::vector<std::string> urls = {"https://img.example.com/1.png", "https://img.example.com/2.png",
                                           "https://img.example.com/3.png"};
    auto view = OTCycleScrollView::cycleScrollViewWithFrame({{0, 0}, {355, 233}}, urls);
    std::vector<std::int64_t> scrolled;
    std::vector<std::int64_t> selected;
    view->setItemDidScrollOperationBlock([&](std::int64_t page) { scrolled.push_back(page); });
    view->setClickItemOperationBlock([&](std::int64_t page) { selected.push_back(page); });
    view->layoutSubviews();
    EXPECT_EQ(view->totalItemsCount(), 300);
    EXPECT_EQ(view->currentIndex(), 150);
    EXPECT_EQ(view->currentPage(), 0);
    EXPECT_TRUE(view->isTimerRunning());
    ASSERT_NE(view->pageControl(), nullptr);
    EXPECT_EQ(view->pageControl()->numberOfPages(), 3);
    EXPECT_EQ(view->pageControl()->frame(), (OTRect{{154.5, 213}, {46, 10}}));
    ASSERT_EQ(view->visibleCells().size(), 1u);
    EXPECT_EQ(view->visibleCells()[0]->findByName("imageView")->ot_imageURL(), urls[0]);
    // A screen reader meets one adjustable carousel that says its page; pictures and dots are for the eye.
    const auto spoken = [&] { return view->spokenAs().value_or(OTSceneNode::Accessibility{}); };
    EXPECT_EQ(spoken().label, "轮播广告");
    EXPECT_EQ(spoken().traits, std::vector<std::string>{"adjustable"});
    EXPECT_EQ(spoken().value, "第 1 页，共 3 页");
    EXPECT_TRUE(view->pageControl()->spokenAs()->hidden);
    EXPECT_TRUE(view->visibleCells()[0]->findByName("imageView")->spokenAs()->hidden);

    // Each tick scrolls one page with animation; the page control and the callbacks follow.
    test.scheduler().advance(2s);
    EXPECT_EQ(view->currentIndex(), 151);
    EXPECT_EQ(view->pageControl()->currentPage(), 1);
    test.scheduler().advance(300ms);
    EXPECT_EQ(scrolled, (std::vector<std::int64_t>{1}));
    EXPECT_EQ(view->visibleCells()[0]->findByName("imageView")->ot_imageURL(), urls[1]);
    EXPECT_EQ(spoken().value, "第 2 页，共 3 页");
    auto* dot = dynamic_cast<OTAnimatedDotView*>(view->pageControl()->dots()[1].get());
    ASSERT_NE(dot, nullptr);
    EXPECT_TRUE(dot->isActive());
    EXPECT_EQ(dot->scale(), OTAnimatedDotView::kActiveScale);
    EXPECT_EQ(dot->lastVelocity(), OTAnimatedDotView::kActivationVelocity);
    EXPECT_EQ(view->pageControl()->dots()[0]->scale(), 1);

    // A tap on the cell reports its page.
    ASSERT_TRUE(OTHeadlessRenderer::tap(view->visibleCells()[0]));
    EXPECT_EQ(selected, (std::vector<std::int64_t>{1}));

    // Past the last item the view jumps back to the middle, without animation or callback.
    view->makeScrollViewScrollToIndex(149);
    EXPECT_EQ(view->currentIndex(), 299);
    EXPECT_EQ(view->currentPage(), 2);
    test.scheduler().advance(2s);
    EXPECT_EQ(view->currentIndex(), 150);
    test.scheduler().advance(300ms);
    EXPECT_EQ(scrolled, (std::vector<std::int64_t>{1}));

    // A drag stops the timer until the finger lifts; resting reports the page.
    auto main = view->mainView();
    bool timerDuringDrag = true;
    main->addAction(OTSceneNode::kDidScroll, [&] { timerDuringDrag = view->isTimerRunning(); });
    ASSERT_TRUE(OTHeadlessRenderer::scroll(main, {152 * 355.0, 0}));
    EXPECT_FALSE(timerDuringDrag);
    EXPECT_EQ(view->pageControl()->currentPage(), 2);
    EXPECT_TRUE(view->isTimerRunning());
    EXPECT_EQ(scrolled, (std::vector<std::int64_t>{1, 2}));

    // A view nobody holds stops its timer.
    std::weak_ptr<OTCycleScrollView> gone = view;
    view.reset();
    main.reset();
    test.scheduler().advance(10s);
    EXPECT_TRUE(gone.expired());
}

TEST(OTCycleScrollView, WithoutLoopingItStopsAtTheLastPictureAndOnePictureNeverMoves) {
    OTTestEnvironment test;
    auto view = OTCycleScrollView::cycleScrollViewWithFrame({{0, 0}, {300, 200}}, false, {"a", "b", "c"});
    view->layoutSubviews();
    EXPECT_EQ(view->totalItemsCount(), 3);
    EXPECT_EQ(view->currentIndex(), 0);
    EXPECT_EQ(view->visibleCells()[0]->findByName("imageView")->imageResource(), "a");
    test.scheduler().advance(6900ms);
    EXPECT_EQ(view->currentIndex(), 2);
    test.scheduler().advance(10s);
    EXPECT_EQ(view->currentIndex(), 2);

    auto single = OTCycleScrollView::make({{0, 0}, {300, 200}});
    single->setImageURLStringsGroup({"https://img.example.com/only.png"});
    single->layoutSubviews();
    EXPECT_FALSE(single->isTimerRunning());
    EXPECT_FALSE(single->mainView()->scrollEnabled());
    EXPECT_FALSE(OTHeadlessRenderer::scroll(single->mainView(), {300, 0}));
    EXPECT_EQ(single->pageControl(), nullptr);
    EXPECT_EQ(single->totalItemsCount(), 100);
    EXPECT_EQ(single->currentPage(), 0);

    // A page control of its own hides for one page; plain dots dim the inactive ones.
    OTPageControl control;
    control.setHidesForSinglePage(true);
    control.setNumberOfPages(1);
    EXPECT_TRUE(control.hidden());
    control.setDotViewClass(OTPageControl::DotViewClass::Plain);
    control.setNumberOfPages(2);
    EXPECT_FALSE(control.hidden());
    control.setCurrentPage(1);
    control.setCurrentPage(5);
    EXPECT_EQ(control.currentPage(), 1);
    ASSERT_EQ(control.dots().size(), 2u);
    EXPECT_EQ(control.dots()[0]->alpha(), OTDotView::kInactiveAlpha);
    EXPECT_EQ(control.dots()[1]->alpha(), 1);
}

}  // namespace corvane
