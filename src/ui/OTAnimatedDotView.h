#pragma once

#include <chrono>

#include "ui/OTAbstractDotView.h"

namespace corvane {

// A ring in the dot colour that fills and grows to 1.4 times its size when its page is current,
// with a one-second spring; it empties and shrinks back with the same spring when it is not.
class OTAnimatedDotView final : public OTAbstractDotView {
public:
    static constexpr std::chrono::milliseconds kAnimateDuration{1000};
    static constexpr double kActiveScale = 1.4;
    static constexpr double kBorderWidth = 2;
    // The spring of both animations: damping, and the initial velocity into and out of the state.
    static constexpr double kSpringDamping = 0.5;
    static constexpr double kActivationVelocity = -20;
    static constexpr double kDeactivationVelocity = 0;

    OTAnimatedDotView();

    void setDotColor(const OTColor& color) override;
    void changeActivityState(bool active) override;
    // The velocity of the last state change's spring.
    double lastVelocity() const { return lastVelocity_; }

private:
    double lastVelocity_ = 0;
};

}  // namespace corvane
