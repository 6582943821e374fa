#include "render/OTHeadlessRenderer.h"

namespace corvane {

namespace {
nlohmann::json rectJSON(const OTRect& r) {
    return {{"x", r.origin.x}, {"y", r.origin.y}, {"width", r.size.width}, {"height", r.size.height}};
}
}  // namespace

bool OTHeadlessRenderer::tap(const std::shared_ptr<OTSceneNode>& node) {
    if (!node) return false;
    if (node->hasAction(OTSceneNode::kTouchUpInside)) return node->sendActions(OTSceneNode::kTouchUpInside);
    return node->sendActions(OTSceneNode::kTap);
}

bool OTHeadlessRenderer::type(const std::shared_ptr<OTSceneNode>& node, const std::string& text) {
    if (!node || node->role() != OTSceneNode::Role::TextField || !node->userInteractionEnabled() || !node->isVisible())
        return false;
    node->setText(text);
    node->runActions(OTSceneNode::kEditingChanged);
    return true;
}

bool OTHeadlessRenderer::scroll(const std::shared_ptr<OTSceneNode>& node, const OTPoint& offset) {
    if (!node || !node->scrollEnabled() || !node->userInteractionEnabled() || !node->isVisible()) return false;
    const auto role = node->role();
    if (role != OTSceneNode::Role::Scroll && role != OTSceneNode::Role::Collection && role != OTSceneNode::Role::Table)
        return false;
    node->runActions(OTSceneNode::kWillBeginDragging);
    node->setContentOffset(offset);
    node->runActions(OTSceneNode::kDidScroll);
    node->runActions(OTSceneNode::kDidEndDragging);
    node->runActions(OTSceneNode::kDidEndDecelerating);
    return true;
}

nlohmann::json OTHeadlessRenderer::colorJSON(const OTColor& color) {
    return nlohmann::json::array({color.red(), color.green(), color.blue(), color.alpha()});
}

nlohmann::json OTHeadlessRenderer::snapshot(const std::shared_ptr<OTSceneNode>& root) {
    if (!root || root->hidden() || root->alpha() <= 0) return nullptr;
    nlohmann::json node = {{"role", OTSceneNode::roleName(root->role())},
                           {"name", root->name()},
                           {"frame", rectJSON(root->absoluteFrame())}};
    if (root->alpha() < 1) node["alpha"] = root->alpha();
    if (root->backgroundColor()) node["background"] = colorJSON(*root->backgroundColor());
    if (root->text()) {
        node["text"] = *root->text();
        node["font"] = {{"name", root->fontName()}, {"size", root->fontSize()}};
        if (root->textColor()) node["textColor"] = colorJSON(*root->textColor());
    }
    if (root->placeholder()) node["placeholder"] = *root->placeholder();
    if (root->zPosition() != 0) node["zPosition"] = root->zPosition();
    if (root->imageURL()) node["image"] = *root->imageURL();
    if (root->imageResource()) node["image"] = *root->imageResource();
    if (root->url()) node["url"] = *root->url();
    nlohmann::json actions = nlohmann::json::array();
    for (const char* event : {OTSceneNode::kTouchUpInside, OTSceneNode::kTap}) {
        if (root->hasAction(event) && root->userInteractionEnabled()) actions.push_back(event);
    }
    if (!actions.empty()) node["actions"] = actions;
    nlohmann::json children = nlohmann::json::array();
    for (const auto& child : root->subviews()) {
        if (auto shot = snapshot(child); !shot.is_null()) children.push_back(std::move(shot));
    }
    if (!children.empty()) node["children"] = std::move(children);
    return node;
}

}  // namespace corvane
