#include "ui/OTDotView.h"

namespace corvane {

OTDotView::OTDotView() { changeActivityState(false); }

void OTDotView::setDotColor(const OTColor& color) {
    OTAbstractDotView::setDotColor(color);
    changeActivityState(active_);
}

void OTDotView::changeActivityState(bool active) {
    active_ = active;
    setBackgroundColor(dotColor_);
    setAlpha(active ? 1 : kInactiveAlpha);
}

}  // namespace corvane
