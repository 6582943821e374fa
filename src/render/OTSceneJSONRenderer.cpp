#include "render/OTSceneJSONRenderer.h"

#include <algorithm>
#include <cmath>
#include <nlohmann/json.hpp>

#include "services/OTResourceBundle.h"

namespace corvane {

namespace {
using nlohmann::json;

json rect(const OTRect& frame) {
    return {{"x", frame.origin.x}, {"y", frame.origin.y}, {"width", frame.size.width}, {"height", frame.size.height}};
}

const char* alignmentName(OTSceneNode::TextAlignment alignment) {
    switch (alignment) {
        case OTSceneNode::TextAlignment::Left: return "left";
        case OTSceneNode::TextAlignment::Center: return "center";
        case OTSceneNode::TextAlignment::Right: return "right";
    }
    return "left";
}

const char* contentModeName(OTSceneNode::ContentMode mode) {
    switch (mode) {
        case OTSceneNode::ContentMode::ScaleToFill: return "scaleToFill";
        case OTSceneNode::ContentMode::AspectFit: return "aspectFit";
        case OTSceneNode::ContentMode::AspectFill: return "aspectFill";
    }
    return "scaleToFill";
}

bool showsText(const OTSceneNode& node) {
    using Role = OTSceneNode::Role;
    return node.text() || node.placeholder() || node.role() == Role::Label || node.role() == Role::Button ||
           node.role() == Role::TextField;
}

bool scrolls(const OTSceneNode& node) {
    using Role = OTSceneNode::Role;
    return node.role() == Role::Scroll || node.role() == Role::Collection || node.role() == Role::Table;
}

void addLook(const OTSceneNode& node, json& out) {
    if (node.alpha() != 1) out["alpha"] = node.alpha();
    if (node.hidden()) out["hidden"] = true;
    if (node.backgroundColor()) out["backgroundColor"] = OTSceneJSONRenderer::colorText(*node.backgroundColor());
    if (node.cornerRadius() > 0) out["cornerRadius"] = node.cornerRadius();
    if (node.masksToBounds()) out["clipsToBounds"] = true;
    if (node.borderWidth() > 0 && node.borderColor()) {
        out["border"] = {{"width", node.borderWidth()}, {"color", OTSceneJSONRenderer::colorText(*node.borderColor())}};
    }
    if (node.scale() != 1) out["scale"] = node.scale();
    if (const auto& shadow = node.shadow()) {
        out["shadow"] = {{"color", OTSceneJSONRenderer::colorText(shadow->color)},
                         {"offsetX", shadow->offset.width},
                         {"offsetY", shadow->offset.height},
                         {"opacity", shadow->opacity}};
    }
}

void addContent(const OTSceneNode& node, json& out) {
    if (showsText(node)) {
        if (node.text()) out["text"] = *node.text();
        if (node.placeholder()) out["placeholder"] = *node.placeholder();
        if (node.textColor()) out["textColor"] = OTSceneJSONRenderer::colorText(*node.textColor());
        out["font"] = {{"name", node.fontName()}, {"size", node.fontSize()}};
        out["textAlignment"] = alignmentName(node.textAlignment());
        out["numberOfLines"] = node.numberOfLines();
        if (node.lineSpacing() > 0) out["lineSpacing"] = node.lineSpacing();
    }
    if (node.imageURL() || node.imageResource()) {
        json image = {{"contentMode", contentModeName(node.contentMode())}};
        if (node.imageURL()) image["url"] = *node.imageURL();
        if (node.imageResource()) {
            // A host reads the library's own pictures straight from the installed bundle.
            if (const auto bundle = OTResourceBundle::path())
                image["file"] = (*bundle / *node.imageResource()).string();
        }
        if (const auto& size = node.imageSize()) {
            image["width"] = size->width;
            image["height"] = size->height;
        }
        out["image"] = std::move(image);
    }
    if (scrolls(node)) {
        out["contentSize"] = {{"width", node.contentSize().width}, {"height", node.contentSize().height}};
        out["contentOffset"] = {{"x", node.contentOffset().x}, {"y", node.contentOffset().y}};
        out["scrollEnabled"] = node.scrollEnabled();
    }
    if (node.url()) out["url"] = *node.url();
}

void addAccessibility(const OTSceneNode& node, json& out) {
    if (node.modal()) out["modal"] = true;
    if (const auto touch = node.touchFrame(); touch.size != node.frame().size) out["touchFrame"] = rect(touch);
    const auto spoken = node.spokenAs();
    if (!spoken) return;
    if (spoken->hidden) {
        out["accessibility"] = {{"hidden", true}};
        return;
    }
    json accessibility = {{"label", spoken->label}, {"traits", spoken->traits}};
    if (spoken->hint) accessibility["hint"] = *spoken->hint;
    if (spoken->value) accessibility["value"] = *spoken->value;
    out["accessibility"] = std::move(accessibility);
}

json renderNode(const std::shared_ptr<OTSceneNode>& node, const OTSceneJSONRenderer::NodeId& idOf) {
    json out = {{"id", idOf(node)}, {"role", OTSceneNode::roleName(node->role())}};
    if (!node->name().empty()) out["name"] = node->name();
    out["frame"] = rect(node->frame());
    addLook(*node, out);
    addContent(*node, out);
    addAccessibility(*node, out);
    // What a touch would trigger: nothing on a node that ignores touches.
    if (node->userInteractionEnabled()) {
        if (auto events = node->actionEvents(); !events.empty()) out["actions"] = std::move(events);
    }
    auto children = node->subviews();
    std::stable_sort(children.begin(), children.end(),
                     [](const auto& a, const auto& b) { return a->zPosition() < b->zPosition(); });
    json list = json::array();
    for (const auto& child : children) list.push_back(renderNode(child, idOf));
    out["children"] = std::move(list);
    return out;
}

}  // namespace

json OTSceneJSONRenderer::render(const std::shared_ptr<OTSceneNode>& root, const NodeId& idOf) {
    if (!root) return nullptr;
    return renderNode(root, idOf);
}

std::string OTSceneJSONRenderer::colorText(const OTColor& color) {
    static constexpr char kDigits[] = "0123456789ABCDEF";
    std::string text = "#";
    for (const double channel : {color.red(), color.green(), color.blue(), color.alpha()}) {
        const auto byte = static_cast<unsigned>(std::lround(std::clamp(channel, 0.0, 1.0) * 255));
        text += kDigits[byte >> 4];
        text += kDigits[byte & 15];
    }
    return text;
}

}  // namespace corvane
