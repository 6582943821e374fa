#include "tagging/OTFloatingBall.h"

#include <algorithm>
#include <cmath>
#include <numbers>

#include "core/OTNavigation.h"
#include "platform/OTEnvironment.h"
#include "tagging/OTFloatingBallChild.h"
#include "view/OTSceneNode.h"
#include "view/OTWindow.h"

namespace corvane {

namespace {
constexpr double kChildSpreadDegrees = 150;

bool contains(const OTRect& rect, const OTPoint& point) {
    return point.x >= rect.origin.x && point.x <= rect.origin.x + rect.size.width && point.y >= rect.origin.y &&
           point.y <= rect.origin.y + rect.size.height;
}
}  // namespace

std::shared_ptr<OTFloatingBall> OTFloatingBall::initWithFrame(const OTRect&, std::int64_t stayMode) {
    auto ball = std::make_shared<OTFloatingBall>();
    ball->stayMode_ = stayMode;
    const double width = OTEnvironment::current()->device().screenWidth;
    ball->view_ = std::make_shared<OTSceneNode>(OTSceneNode::Role::View, "OTFloatingBall");
    ball->view_->setFrame({{width - kSize, kTop}, {kSize, kSize}});
    ball->view_->setCornerRadius(kSize / 2);
    ball->view_->setBackgroundColor(OTColor(0, 0, 0, 0.3));
    return ball;
}

std::shared_ptr<OTFloatingBall> OTFloatingBall::ballWithTitle(const std::optional<std::string>& title,
                                                              const std::optional<std::string>& background,
                                                              Action action, std::int64_t stayMode) {
    auto ball = initWithFrame({}, stayMode);
    ball->action_ = std::move(action);
    if (background) {
        auto image = std::make_shared<OTSceneNode>(OTSceneNode::Role::Image, "background");
        image->setFrame({{0, 0}, {kSize, kSize}});
        image->setCornerRadius(kSize / 2);
        image->setMasksToBounds(true);
        if (image->setImageNamed(*background)) ball->view_->addSubview(image);
    }
    if (title) {
        auto label = std::make_shared<OTSceneNode>(OTSceneNode::Role::Label, "title");
        label->setFrame({{0, 0}, {kSize, kSize}});
        label->setText(title);
        label->setTextColor(OTColor(1, 1, 1, 1));
        label->setFont("PingFangSC-Regular", 14);
        label->setTextAlignment(OTSceneNode::TextAlignment::Center);
        ball->view_->addSubview(label);
    }
    return ball;
}

OTSize OTFloatingBall::screenSize() const {
    if (const auto window = view_->superview()) return window->frame().size;
    const auto& device = OTEnvironment::current()->device();
    return {device.screenWidth, device.screenHeight};
}

void OTFloatingBall::show() {
    if (!view_->superview()) {
        if (const auto window = OTNavigation(OTEnvironment::current()->uiHost())._keyWindow())
            window->scene()->addSubview(view_);
    }
    view_->setHidden(false);
    view_->setZPosition(kZPosition);
    view_->setShadow(OTSceneNode::Shadow{OTColor(0, 0, 0, 0.7), {-1, 1}, 0.6});
}

void OTFloatingBall::showAtPoint(const OTPoint& point) {
    view_->setFrame({point, view_->frame().size});
    show();
}

void OTFloatingBall::hide() {
    view_->setHidden(true);
    touching_ = false;
    if (!isPopped_) return;
    isPopped_ = false;
    for (const auto& child : children_) child->view()->setHidden(true);
}

void OTFloatingBall::addChild(const std::shared_ptr<OTFloatingBallChild>& child) {
    if (!child || std::find(children_.begin(), children_.end(), child) != children_.end()) return;
    children_.push_back(child);
    child->view()->setHidden(true);
    child->view()->addAction(OTSceneNode::kTouchUpInside, [weak = weak_from_this()] {
        if (auto self = weak.lock()) self->hideSubBtn();
    });
    view_->addSubview(child->view());
    resetFrame();
}

void OTFloatingBall::popSubBtn() { _popSubBtnToLeft(view_->center().x >= screenSize().width / 2); }

void OTFloatingBall::_popSubBtnToLeft(bool toLeft) {
    if (children_.empty()) return;
    isPopped_ = true;
    const auto offsets = childOffsets(children_.size(), toLeft, kChildDistance);
    const auto screen = screenSize();
    const auto ball = view_->frame();
    const double half = OTFloatingBallChild::kSize / 2;
    OTSceneNode::animate(
        kPopDuration,
        [&] {
            for (std::size_t i = 0; i < children_.size(); ++i) {
                // A child never leaves the screen: near a corner the half circle flattens.
                const OTPoint wanted{ball.origin.x + kSize / 2 + offsets[i].x,
                                     ball.origin.y + kSize / 2 + offsets[i].y};
                const auto center = clampedCenter(wanted, screen, OTFloatingBallChild::kSize);
                const auto& child = children_[i];
                child->setOffset({center.x - ball.origin.x - kSize / 2, center.y - ball.origin.y - kSize / 2});
                child->view()->setFrame({{center.x - ball.origin.x - half, center.y - ball.origin.y - half},
                                         {OTFloatingBallChild::kSize, OTFloatingBallChild::kSize}});
                child->view()->setHidden(false);
                child->view()->setAlpha(1);
            }
        },
        {});
}

void OTFloatingBall::hideSubBtn() {
    if (!isPopped_) return;
    isPopped_ = false;
    const double corner = kSize / 2 - OTFloatingBallChild::kSize / 2;
    OTSceneNode::animate(
        kPopDuration,
        [&] {
            for (const auto& child : children_) {
                child->view()->setFrame({{corner, corner}, child->view()->frame().size});
                child->view()->setAlpha(0);
            }
        },
        [weak = weak_from_this()] {
            const auto self = weak.lock();
            if (!self || self->isPopped_) return;
            for (const auto& child : self->children_) child->view()->setHidden(true);
        });
}

void OTFloatingBall::floatingBallClicked() {
    if (children_.empty()) {
        if (action_) action_();
        return;
    }
    if (isPopped_) hideSubBtn();
    else popSubBtn();
}

void OTFloatingBall::resetFrame() { snap(childrenInset(children_.size())); }

void OTFloatingBall::snap(double inset) {
    const double x = snappedX(view_->center().x, screenSize().width, kSize, stayMode_, inset);
    ++animations_;
    OTSceneNode::animate(
        kSnapDuration, [&] { view_->setOt_x(x); },
        [weak = weak_from_this()] {
            if (auto self = weak.lock()) --self->animations_;
        });
}

void OTFloatingBall::touchesBegan(const OTPoint& point) {
    if (!view_->isVisible()) return;
    touching_ = true;
    touchPoint_ = point;
    touchBtnX_ = view_->ot_x();
    touchBtnY_ = view_->ot_y();
}

void OTFloatingBall::touchesMoved(const OTPoint& point) {
    if (!touching_) return;
    const auto center = view_->center();
    view_->setCenter(
        clampedCenter({center.x + point.x - touchPoint_.x, center.y + point.y - touchPoint_.y}, screenSize(), kSize));
    touchPoint_ = point;
}

void OTFloatingBall::touchesEnded(const OTPoint& point) {
    if (!touching_) return;
    touchesMoved(point);
    touching_ = false;
    if (isTap({touchBtnX_, touchBtnY_}, view_->frame().origin)) {
        floatingBallClicked();
        return;
    }
    // Children popped on one side would be on the wrong one after the move.
    hideSubBtn();
    snap(0);
}

bool OTFloatingBall::pointInside(const OTPoint& point) const {
    const double radius = kSize / 2;
    if (std::hypot(point.x - radius, point.y - radius) <= radius) return true;
    if (!isPopped_) return false;
    return std::any_of(children_.begin(), children_.end(),
                       [&](const auto& child) { return contains(child->view()->frame(), point); });
}

std::shared_ptr<OTSceneNode> OTFloatingBall::hitTest(const OTPoint& point) const {
    if (!view_->superview() || !view_->isVisible()) return nullptr;
    const auto origin = view_->absoluteFrame().origin;
    const OTPoint local{point.x - origin.x, point.y - origin.y};
    if (isPopped_) {
        for (auto it = children_.rbegin(); it != children_.rend(); ++it) {
            if (contains((*it)->view()->frame(), local)) return (*it)->view();
        }
    }
    return pointInside(local) ? view_ : nullptr;
}

OTPoint OTFloatingBall::clampedCenter(const OTPoint& center, const OTSize& screen, double size) {
    const double half = size / 2;
    // A screen narrower than the ball keeps it at its left or top edge.
    const auto clamp = [half](double value, double extent) {
        if (!std::isfinite(value)) return half;
        return std::max(half, std::min(value, extent - half));
    };
    return {clamp(center.x, screen.width), clamp(center.y, screen.height)};
}

bool OTFloatingBall::isTap(const OTPoint& began, const OTPoint& ended) {
    return std::fabs(ended.x - began.x) <= kTapSlop && std::fabs(ended.y - began.y) <= kTapSlop;
}

double OTFloatingBall::snappedX(double centerX, double screenWidth, double size, std::int64_t stayMode, double inset) {
    const double left = inset;
    const double right = screenWidth - size - inset;
    switch (stayMode) {
        case Left: return left;
        case Right: return right;
        default: return centerX >= screenWidth / 2 ? right : left;
    }
}

double OTFloatingBall::childrenInset(std::size_t count) {
    if (count == 5) return 60;
    if (count == 6) return 90;
    return 0;
}

std::vector<OTPoint> OTFloatingBall::childOffsets(std::size_t count, bool toLeft, double distance) {
    std::vector<OTPoint> offsets;
    offsets.reserve(count);
    const double side = toLeft ? -1 : 1;
    for (std::size_t i = 0; i < count; ++i) {
        const double degrees =
            count == 1 ? 0 : -kChildSpreadDegrees / 2 + kChildSpreadDegrees * static_cast<double>(i) / (count - 1);
        const double radians = degrees * std::numbers::pi / 180;
        offsets.push_back({side * distance * std::cos(radians), distance * std::sin(radians)});
    }
    return offsets;
}

}  // namespace corvane
