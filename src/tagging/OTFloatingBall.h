#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "foundation/OTGeometry.h"

namespace corvane {

class OTFloatingBallChild;
class OTSceneNode;

// A round button floating above every page and dialog of the key window: it follows a finger,
// snaps back to a side of the screen when let go, and runs its action when tapped. Children pop
// out beside it on a half circle that opens away from the side it sits on. The arithmetic of
// dragging, snapping and popping is in static functions of the screen and the touch points.
// Main thread only.
class OTFloatingBall : public std::enable_shared_from_this<OTFloatingBall> {
public:
    static constexpr double kSize = 60;
    static constexpr double kTop = 300;
    // A touch that moved the ball no further than this on both axes is a tap.
    static constexpr double kTapSlop = 2;
    static constexpr double kZPosition = 100;
    static constexpr std::chrono::milliseconds kSnapDuration{500};
    static constexpr std::chrono::milliseconds kPopDuration{250};
    // From the ball's centre to a popped child's centre.
    static constexpr double kChildDistance = 90;
    enum StayMode : std::int64_t { NearerSide = 0, Left = 1, Right = 2 };

    using Action = std::function<void()>;

    // A ball showing `background` (a picture of the resource bundle) and `title`, when given.
    static std::shared_ptr<OTFloatingBall> ballWithTitle(const std::optional<std::string>& title,
                                                         const std::optional<std::string>& background, Action action,
                                                         std::int64_t stayMode);
    // Always 60 × 60 at the right edge, 300 points down: the frame is not used.
    static std::shared_ptr<OTFloatingBall> initWithFrame(const OTRect& frame, std::int64_t stayMode);

    // Shows the ball above everything on the key window, attaching it there when it is on none.
    void show();
    void showAtPoint(const OTPoint& point);
    void hide();

    void addChild(const std::shared_ptr<OTFloatingBallChild>& child);
    // Pops the children out on the side away from the nearer edge.
    void popSubBtn();
    void hideSubBtn();
    void _popSubBtnToLeft(bool toLeft);
    void floatingBallClicked();
    // Snaps again, leaving room at the edge for five or six children.
    void resetFrame();

    // Touches in the coordinates of the window the ball floats on.
    void touchesBegan(const OTPoint& point);
    void touchesMoved(const OTPoint& point);
    void touchesEnded(const OTPoint& point);
    // Whether a point in the ball's own coordinates falls on the round ball or a popped child.
    bool pointInside(const OTPoint& point) const;
    // What a touch at this point of the window lands on: a popped child, the ball, or nothing,
    // so that a touch beside the ball reaches the page beneath.
    std::shared_ptr<OTSceneNode> hitTest(const OTPoint& point) const;
    // A snap is under way.
    bool isAnimating() const { return animations_ > 0; }

    const Action& action() const { return action_; }
    void setAction(Action value) { action_ = std::move(value); }
    std::int64_t stayMode() const { return stayMode_; }
    void setStayMode(std::int64_t value) { stayMode_ = value; }
    const std::vector<std::shared_ptr<OTFloatingBallChild>>& children() const { return children_; }
    bool isPopped() const { return isPopped_; }
    const OTPoint& touchPoint() const { return touchPoint_; }
    double touchBtnX() const { return touchBtnX_; }
    double touchBtnY() const { return touchBtnY_; }
    std::shared_ptr<OTSceneNode> view() const { return view_; }

    // The centre pulled back so that the whole ball stays on the screen.
    static OTPoint clampedCenter(const OTPoint& center, const OTSize& screen, double size);
    // Whether a touch that left the ball at `ended` (an origin) after it began at `began` is a tap.
    static bool isTap(const OTPoint& began, const OTPoint& ended);
    // The x of the origin after snapping: left edge plus `inset`, or right edge minus `inset`.
    static double snappedX(double centerX, double screenWidth, double size, std::int64_t stayMode, double inset);
    // Room left at the edge for the children: 60 points for five, 90 for six, none otherwise.
    static double childrenInset(std::size_t count);
    // Where each child's centre sits from the ball's centre: spread over 150 degrees, first on top,
    // opening to the left or to the right.
    static std::vector<OTPoint> childOffsets(std::size_t count, bool toLeft, double distance);

private:
    OTSize screenSize() const;
    void snap(double inset);

    Action action_;
    std::int64_t stayMode_ = NearerSide;
    std::vector<std::shared_ptr<OTFloatingBallChild>> children_;
    bool isPopped_ = false;
    bool touching_ = false;
    OTPoint touchPoint_;
    double touchBtnX_ = 0;
    double touchBtnY_ = 0;
    int animations_ = 0;
    std::shared_ptr<OTSceneNode> view_;
};

}  // namespace corvane
