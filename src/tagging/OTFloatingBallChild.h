#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>

#include "foundation/OTGeometry.h"

namespace corvane {

class OTSceneNode;

// A button that pops out beside a floating ball: a title, a picture of the resource bundle behind
// it, and what a tap runs. Its offset is where its centre sits from the ball's centre while popped.
class OTFloatingBallChild {
public:
    static constexpr double kSize = 44;
    // Round like the ball, or a rounded square.
    enum Style : std::int64_t { Round = 0, RoundedSquare = 1 };

    using Action = std::function<void()>;

    static std::shared_ptr<OTFloatingBallChild> childWithTitle(const std::optional<std::string>& title,
                                                               const std::optional<std::string>& background,
                                                               Action action, std::int64_t style);

    const Action& action() const { return action_; }
    const OTPoint& offset() const { return offset_; }
    void setOffset(const OTPoint& value) { offset_ = value; }
    std::int64_t style() const { return style_; }
    std::shared_ptr<OTSceneNode> view() const { return view_; }

private:
    Action action_;
    OTPoint offset_;
    std::int64_t style_ = Round;
    std::shared_ptr<OTSceneNode> view_;
};

}  // namespace corvane
