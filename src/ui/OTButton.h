#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "model/OTButtonAttribute.h"
#include "view/OTSceneNode.h"

namespace corvane {

// A dialog button: its campaign attribute (title, colours, font size, link) and the event type it
// reports when tapped (4 left, 5 right, 6 middle).
class OTButton final : public OTSceneNode {
public:
    explicit OTButton(std::string name = {}) : OTSceneNode(Role::Button, std::move(name)) {}

    const std::shared_ptr<OTButtonAttribute>& attribute() const { return attribute_; }
    void setAttribute(std::shared_ptr<OTButtonAttribute> attribute);
    std::int64_t eventType() const { return eventType_; }
    void setEventType(std::int64_t value) { eventType_ = value; }

private:
    std::shared_ptr<OTButtonAttribute> attribute_;
    std::int64_t eventType_ = 0;
};

}  // namespace corvane
