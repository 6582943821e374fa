#include "tagging/OTFloatingBallChild.h"

#include "view/OTSceneNode.h"

namespace corvane {

std::shared_ptr<OTFloatingBallChild> OTFloatingBallChild::childWithTitle(const std::optional<std::string>& title,
                                                                         const std::optional<std::string>& background,
                                                                         Action action, std::int64_t style) {
    auto child = std::make_shared<OTFloatingBallChild>();
    child->action_ = std::move(action);
    child->style_ = style == RoundedSquare ? RoundedSquare : Round;
    auto view = std::make_shared<OTSceneNode>(OTSceneNode::Role::Button, "OTFloatingBallChild");
    view->setFrame({{0, 0}, {kSize, kSize}});
    view->setCornerRadius(child->style_ == Round ? kSize / 2 : 8);
    view->setMasksToBounds(true);
    view->setBackgroundColor(OTColor(0, 0, 0, 0.3));
    if (background) view->setImageNamed(*background);
    if (title) {
        view->setText(title);
        view->setTextColor(OTColor(1, 1, 1, 1));
        view->setFont("PingFangSC-Regular", 12);
        view->setTextAlignment(OTSceneNode::TextAlignment::Center);
    }
    view->setHidden(true);
    // The ball hides its children after a child's action; the child only runs its own.
    view->addAction(OTSceneNode::kTouchUpInside, [weak = std::weak_ptr<OTFloatingBallChild>(child)] {
        const auto self = weak.lock();
        if (self && self->action_) self->action_();
    });
    child->view_ = std::move(view);
    return child;
}

}  // namespace corvane
