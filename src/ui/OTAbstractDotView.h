#pragma once

#include <string>

#include "view/OTColor.h"
#include "view/OTSceneNode.h"

namespace corvane {

// One dot of a page control: told when its page becomes the current one or stops being it.
class OTAbstractDotView : public OTSceneNode {
public:
    explicit OTAbstractDotView(std::string name = "dot") : OTSceneNode(Role::View, std::move(name)) {}

    virtual void changeActivityState(bool active) = 0;
    bool isActive() const { return active_; }
    const OTColor& dotColor() const { return dotColor_; }
    virtual void setDotColor(const OTColor& color) { dotColor_ = color; }

protected:
    bool active_ = false;
    OTColor dotColor_ = OTColor(1, 1, 1, 1);
};

}  // namespace corvane
