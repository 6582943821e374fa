#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <nlohmann/json_fwd.hpp>
#include <string>

#include "view/OTColor.h"
#include "view/OTSceneNode.h"

namespace corvane {

// Describes a tree as JSON for a host that draws it itself: each node with the id the caller
// gives it, its role and name, its frame in its parent's coordinates, and what it shows when that
// differs from a plain view's defaults (colours as "#RRGGBBAA", corner radius, border, shadow,
// text and font, picture, scrolling, web address) and the events it answers to. Children come in
// the order they are drawn, the last on top.
class OTSceneJSONRenderer {
public:
    using NodeId = std::function<std::uint64_t(const std::shared_ptr<OTSceneNode>&)>;

    OTSceneJSONRenderer() = delete;

    static nlohmann::json render(const std::shared_ptr<OTSceneNode>& root, const NodeId& idOf);
    static std::string colorText(const OTColor& color);
};

}  // namespace corvane
