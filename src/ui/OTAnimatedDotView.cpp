#include "ui/OTAnimatedDotView.h"

namespace corvane {

OTAnimatedDotView::OTAnimatedDotView() {
    setBackgroundColor(OTColor(0, 0, 0, 0));
    setBorder(kBorderWidth, dotColor_);
}

void OTAnimatedDotView::setDotColor(const OTColor& color) {
    OTAbstractDotView::setDotColor(color);
    setBorder(kBorderWidth, color);
    if (active_) setBackgroundColor(color);
}

void OTAnimatedDotView::changeActivityState(bool active) {
    active_ = active;
    lastVelocity_ = active ? kActivationVelocity : kDeactivationVelocity;
    OTSceneNode::animate(
        kAnimateDuration,
        [this, active] {
            setBackgroundColor(active ? dotColor_ : OTColor(0, 0, 0, 0));
            setScale(active ? kActiveScale : 1);
        },
        nullptr);
}

}  // namespace corvane
