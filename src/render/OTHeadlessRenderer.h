#pragma once

#include <memory>
#include <nlohmann/json.hpp>
#include <string>

#include "view/OTSceneNode.h"

namespace corvane {

// The renderer without a screen: the tree stays as it is, and tests and the simulator read it
// and play the user on it.
class OTHeadlessRenderer {
public:
    OTHeadlessRenderer() = delete;

    // A touch on the node: its button action, else its tap recogniser. False when the node is
    // hidden, transparent, ignores touches or has nothing to run.
    static bool tap(const std::shared_ptr<OTSceneNode>& node);
    // Typing into a text field: its text becomes `text` and it tells of the change. False when the
    // node is not a visible text field that takes touches.
    static bool type(const std::shared_ptr<OTSceneNode>& node, const std::string& text);
    // A drag of a scroll, table or collection view that comes to rest at `offset`: the view hears
    // the drag begin, the offset move, the finger lift and the content rest. False when the view
    // does not scroll.
    static bool scroll(const std::shared_ptr<OTSceneNode>& node, const OTPoint& offset);
    // The visible tree as JSON: role, name, frame in root coordinates, and the text, image,
    // colours and actions that a node has.
    static nlohmann::json snapshot(const std::shared_ptr<OTSceneNode>& root);
    static nlohmann::json colorJSON(const OTColor& color);
};

}  // namespace corvane
