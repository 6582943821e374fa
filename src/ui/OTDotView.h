#pragma once

#include "ui/OTAbstractDotView.h"

namespace corvane {

// A plain round dot: filled in the dot colour when its page is current, half transparent when not.
class OTDotView final : public OTAbstractDotView {
public:
    static constexpr double kInactiveAlpha = 0.5;

    OTDotView();

    void setDotColor(const OTColor& color) override;
    void changeActivityState(bool active) override;
};

}  // namespace corvane
