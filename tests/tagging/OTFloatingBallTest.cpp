#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <numbers>

#include "render/OTHeadlessRenderer.h"
#include "support/OTTestEnvironment.h"
#include "tagging/OTFloatingBall.h"
#include "tagging/OTFloatingBallChild.h"

namespace corvane {

using namespace std::chrono_literals;

namespace {
constexpr double kWidth = 390;

// A drag of the ball's centre from where it is to `to`, in two moves.
void drag(OTFloatingBall& ball, const OTPoint& to) {
    const auto from = ball.view()->center();
    ball.touchesBegan(from);
    ball.touchesMoved({(from.x + to.x) / 2, (from.y + to.y) / 2});
    ball.touchesEnded(to);
}
}  // namespace

// What the drags below cannot reach: an unknown stay mode, broken numbers, a screen smaller than
// the ball, a bend of the children's half circle.
TEST(OTFloatingBall, UnknownModesAndBrokenNumbersLandOnTheScreen) {
    using B = OTFloatingBall;
    for (double center : {10.0, kWidth / 2 - 0.5, kWidth / 2, 380.0}) {
        EXPECT_EQ(B::snappedX(center, kWidth, 60, 7, 0), center >= kWidth / 2 ? 330 : 0) << center;
    }
    const OTSize screen{kWidth, 844};
    const double nan = std::numeric_limits<double>::quiet_NaN();
    EXPECT_EQ(B::clampedCenter({nan, std::numeric_limits<double>::infinity()}, screen, 60), (OTPoint{30, 30}));
    EXPECT_EQ(B::clampedCenter({200, 400}, {40, 40}, 60), (OTPoint{30, 30}));
    EXPECT_EQ(B::childrenInset(7), 0);
    const auto left = B::childOffsets(3, true, 90);
    ASSERT_EQ(left.size(), 3u);
    EXPECT_NEAR(left[1].x, -90, 1e-9);
    EXPECT_NEAR(left[2].y, 90 * std::sin(75 * std::numbers::pi / 180), 1e-9);
    EXPECT_EQ(B::childOffsets(1, false, 90), std::vector<OTPoint>{(OTPoint{90, 0})});
}

TEST(OTFloatingBall, ShowsAboveTheKeyWindowFollowsTheFingerAndSnapsInHalfASecond) {
    OTTestEnvironment test;
    auto app = test.installHostApp();
    int taps = 0;
    auto ball = OTFloatingBall::ballWithTitle(
        std::nullopt, std::string("ot_tag"), [&] { ++taps; }, 0);
    auto view = ball->view();
    EXPECT_EQ(view->frame(), (OTRect{{330, 300}, {60, 60}}));
    EXPECT_EQ(view->cornerRadius(), 30);
    EXPECT_EQ(view->backgroundColor()->alpha(), 0.3);
    ASSERT_EQ(view->subviews().size(), 1u);
    EXPECT_EQ(view->subviews()[0]->imageResource(), "ot_tag@3x.png");
    EXPECT_EQ(view->subviews()[0]->imageSize(), (OTSize{72, 72}));
    EXPECT_EQ(view->superview(), nullptr);
    EXPECT_EQ(OTFloatingBall::initWithFrame({{5, 5}, {10, 10}}, 0)->view()->frame(), (OTRect{{330, 300}, {60, 60}}));

    ball->show();
    EXPECT_EQ(view->superview(), app.window->scene());
    EXPECT_EQ(view->zPosition(), 100);
    ASSERT_TRUE(view->shadow().has_value());
    EXPECT_EQ(view->shadow()->color.alpha(), 0.7);
    EXPECT_EQ(view->shadow()->offset, (OTSize{-1, 1}));
    EXPECT_EQ(view->shadow()->opacity, 0.6);
    // The ball is not a view over the page: the page stays the one on top.
    EXPECT_TRUE(app.window->subviews().empty());

    // The centre follows the finger; let go left of the middle, it slides to the left edge.
    drag(*ball, {100, 500});
    EXPECT_EQ(ball->touchBtnX(), 330);
    EXPECT_EQ(ball->touchBtnY(), 300);
    EXPECT_EQ(ball->touchPoint(), (OTPoint{100, 500}));
    EXPECT_EQ(view->frame().origin, (OTPoint{0, 470}));
    EXPECT_TRUE(ball->isAnimating());
    test.scheduler().advance(499ms);
    EXPECT_TRUE(ball->isAnimating());
    test.scheduler().advance(1ms);
    EXPECT_FALSE(ball->isAnimating());
    EXPECT_EQ(taps, 0);

    // Dragged past the bottom right corner, it stays on the screen, then snaps right.
    drag(*ball, {1000, 2000});
    EXPECT_EQ(view->frame().origin, (OTPoint{330, 784}));
    // Exactly at the middle counts as right; a ball that stays left goes left wherever it is.
    drag(*ball, {kWidth / 2, 400});
    EXPECT_EQ(view->frame().origin, (OTPoint{330, 370}));
    ball->setStayMode(OTFloatingBall::Left);
    drag(*ball, {300, 400});
    EXPECT_EQ(view->frame().origin, (OTPoint{0, 370}));
    ball->setStayMode(OTFloatingBall::Right);
    drag(*ball, {10, 100});
    EXPECT_EQ(view->frame().origin, (OTPoint{330, 70}));

    // Hidden, it takes no touches; shown at a point, its origin is there.
    ball->hide();
    EXPECT_TRUE(view->hidden());
    drag(*ball, {100, 100});
    EXPECT_EQ(view->frame().origin, (OTPoint{330, 70}));
    ball->showAtPoint({20, 40});
    EXPECT_FALSE(view->hidden());
    EXPECT_EQ(view->frame().origin, (OTPoint{20, 40}));
    test.scheduler().runUntilIdle();
    EXPECT_EQ(taps, 0);
}

TEST(OTFloatingBall, ATapMovesTwoPointsAtMostAndTouchesBesideTheBallPassThrough) {
    OTTestEnvironment test;
    test.installHostApp();
    int taps = 0;
    auto ball = OTFloatingBall::ballWithTitle(
        std::string("Tag"), std::nullopt, [&] { ++taps; }, 0);
    ball->show();
    auto view = ball->view();
    ASSERT_EQ(view->subviews().size(), 1u);
    EXPECT_EQ(view->subviews()[0]->text(), "Tag");

    ball->touchesBegan({360, 330});
    ball->touchesEnded({362, 328});
    EXPECT_EQ(taps, 1);
    // A tap does not snap: the ball stays where the finger left it.
    EXPECT_FALSE(ball->isAnimating());
    EXPECT_EQ(view->frame().origin, (OTPoint{330, 298}));
    ball->touchesBegan({360, 330});
    ball->touchesEnded({357.5, 330});
    EXPECT_EQ(taps, 1);
    EXPECT_EQ(view->frame().origin, (OTPoint{330, 298}));
    // Touches that never began do nothing.
    ball->touchesEnded({360, 330});
    EXPECT_EQ(taps, 1);

    // The round ball takes touches; its square corners and the page around it do not.
    EXPECT_EQ(ball->hitTest({360, 328}), view);
    EXPECT_EQ(ball->hitTest({331, 299}), nullptr);
    EXPECT_EQ(ball->hitTest({100, 100}), nullptr);
    EXPECT_TRUE(ball->pointInside({30, 0}));
    EXPECT_FALSE(ball->pointInside({2, 2}));
    ball->hide();
    EXPECT_EQ(ball->hitTest({360, 328}), nullptr);
}

TEST(OTFloatingBall, ChildrenPopOutOnTheOpenSideAndMakeRoomAtTheEdge) {
    OTTestEnvironment test;
    test.installHostApp();
    int ballTaps = 0;
    std::vector<int> childTaps(6, 0);
    auto ball = OTFloatingBall::ballWithTitle(
        std::nullopt, std::nullopt, [&] { ++ballTaps; }, 0);
    ball->show();
    for (int i = 0; i < 5; ++i) {
        ball->addChild(OTFloatingBallChild::childWithTitle(
            std::to_string(i), std::string("ot_tag"), [&, i] { ++childTaps[static_cast<std::size_t>(i)]; }, i % 2));
    }
    ball->addChild(ball->children().front());  // already there
    ASSERT_EQ(ball->children().size(), 5u);
    EXPECT_EQ(ball->children()[0]->view()->cornerRadius(), 22);
    EXPECT_EQ(ball->children()[1]->view()->cornerRadius(), 8);
    EXPECT_EQ(ball->view()->ot_x(), kWidth - 120);
    ball->addChild(OTFloatingBallChild::childWithTitle(
        std::nullopt, std::nullopt, [&] { ++childTaps[5]; }, 0));
    EXPECT_EQ(ball->view()->ot_x(), kWidth - 150);
    test.scheduler().runUntilIdle();

    // With children, a tap pops them (to the left of a ball on the right) instead of the action.
    const auto center = ball->view()->center();
    ball->touchesBegan(center);
    ball->touchesEnded(center);
    EXPECT_EQ(ballTaps, 0);
    ASSERT_TRUE(ball->isPopped());
    const auto first = ball->children()[0];
    EXPECT_NEAR(first->offset().x, -90 * std::cos(75 * std::numbers::pi / 180), 1e-9);
    EXPECT_NEAR(first->offset().y, -90 * std::sin(75 * std::numbers::pi / 180), 1e-9);
    EXPECT_FALSE(first->view()->hidden());
    const auto childCenter = first->view()->absoluteFrame();
    const OTPoint at{childCenter.origin.x + 22, childCenter.origin.y + 22};
    EXPECT_NEAR(at.x, center.x + first->offset().x, 1e-9);
    // A child outside the ball's square still takes its touch.
    ASSERT_EQ(ball->hitTest(at), first->view());
    EXPECT_TRUE(OTHeadlessRenderer::tap(ball->hitTest(at)));
    EXPECT_EQ(childTaps[0], 1);
    EXPECT_FALSE(ball->isPopped());
    EXPECT_EQ(ball->hitTest(at), nullptr);
    test.scheduler().advance(OTFloatingBall::kPopDuration);
    EXPECT_TRUE(first->view()->hidden());

    // Near the top, the half circle flattens to keep every child on the screen.
    ball->showAtPoint({0, 0});
    ball->popSubBtn();
    for (const auto& child : ball->children()) {
        const auto frame = child->view()->absoluteFrame();
        EXPECT_GE(frame.origin.y, 0);
        EXPECT_GT(frame.origin.x, 0);  // opened to the right of a ball on the left
    }
    // A second tap hides them; a drag hides them too before the snap.
    ball->floatingBallClicked();
    EXPECT_FALSE(ball->isPopped());
    ball->popSubBtn();
    drag(*ball, {300, 400});
    EXPECT_FALSE(ball->isPopped());
    test.scheduler().advance(OTFloatingBall::kSnapDuration);
    for (const auto& child : ball->children()) EXPECT_TRUE(child->view()->hidden());
    EXPECT_EQ(ballTaps, 0);
}

}  // namespace corvane
