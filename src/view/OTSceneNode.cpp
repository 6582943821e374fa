#include "view/OTSceneNode.h"

#include <algorithm>

#include "foundation/OTImage.h"
#include "platform/OTEnvironment.h"
#include "services/OTDownloadManager.h"
#include "services/OTResourceBundle.h"

namespace corvane {

OTSceneNode::OTSceneNode(Role role, std::string name) : role_(role), name_(std::move(name)) {
    // Image views and labels ignore touches until told otherwise, as on the platform.
    userInteractionEnabled_ = role != Role::Image && role != Role::Label;
}

const char* OTSceneNode::roleName(Role role) {
    switch (role) {
        case Role::View: return "view";
        case Role::Label: return "label";
        case Role::Button: return "button";
        case Role::Image: return "image";
        case Role::Scroll: return "scroll";
        case Role::Web: return "web";
        case Role::Video: return "video";
        case Role::Collection: return "collection";
        case Role::Table: return "table";
        case Role::TableCell: return "tableCell";
        case Role::CollectionCell: return "collectionCell";
        case Role::TextField: return "textField";
    }
    return "view";
}

void OTSceneNode::setBounds(const OTRect& bounds) {
    const OTPoint keep = center();
    frame_.size = bounds.size;
    setCenter(keep);
}

OTPoint OTSceneNode::center() const {
    return {frame_.origin.x + frame_.size.width / 2, frame_.origin.y + frame_.size.height / 2};
}

void OTSceneNode::setCenter(const OTPoint& center) {
    frame_.origin = {center.x - frame_.size.width / 2, center.y - frame_.size.height / 2};
    changed();
}

OTRect OTSceneNode::absoluteFrame() const {
    OTRect result = frame_;
    for (auto parent = parent_.lock(); parent; parent = parent->parent_.lock()) {
        result.origin.x += parent->frame_.origin.x;
        result.origin.y += parent->frame_.origin.y;
    }
    return result;
}

void OTSceneNode::addSubview(const std::shared_ptr<OTSceneNode>& child) {
    if (!child || child.get() == this) return;
    child->removeFromSuperview();
    child->parent_ = weak_from_this();
    children_.push_back(child);
    changed();
}

std::shared_ptr<OTSceneNode> OTSceneNode::makeCell(Role role, const OTRect& frame) {
    auto cell = std::make_shared<OTSceneNode>(role, role == Role::TableCell ? "tableCell" : "collectionCell");
    cell->setFrame(frame);
    if (role == Role::TableCell || role == Role::CollectionCell) {
        auto content = std::make_shared<OTSceneNode>(Role::View, kContentViewName);
        content->setFrame({{0, 0}, frame.size});
        cell->addSubview(content);
    }
    return cell;
}

std::shared_ptr<OTSceneNode> OTSceneNode::contentView() {
    if (role_ == Role::TableCell || role_ == Role::CollectionCell) {
        for (const auto& child : children_) {
            if (child->name_ == kContentViewName) return child;
        }
    }
    return shared_from_this();
}

void OTSceneNode::removeFromSuperview() {
    auto parent = parent_.lock();
    parent_.reset();
    if (!parent) return;
    std::erase_if(parent->children_, [this](const auto& node) { return node.get() == this; });
    changed();
}

std::shared_ptr<OTSceneNode> OTSceneNode::findByName(const std::string& name) {
    if (name_ == name) return shared_from_this();
    for (const auto& child : children_) {
        if (auto found = child->findByName(name)) return found;
    }
    return nullptr;
}

std::vector<std::shared_ptr<OTSceneNode>> OTSceneNode::findByRole(Role role) {
    std::vector<std::shared_ptr<OTSceneNode>> found;
    std::vector<std::shared_ptr<OTSceneNode>> stack{shared_from_this()};
    while (!stack.empty()) {
        auto node = std::move(stack.back());
        stack.pop_back();
        if (node->role_ == role) found.push_back(node);
        for (auto it = node->children_.rbegin(); it != node->children_.rend(); ++it) stack.push_back(*it);
    }
    return found;
}

bool OTSceneNode::isVisible() const {
    if (hidden_ || alpha_ <= 0) return false;
    for (auto parent = parent_.lock(); parent; parent = parent->parent_.lock()) {
        if (parent->hidden_ || parent->alpha_ <= 0) return false;
    }
    return true;
}

void OTSceneNode::addAction(const std::string& event, Action action) {
    if (!action) return;
    actions_[event].push_back(std::move(action));
    changed();
}

bool OTSceneNode::hasAction(const std::string& event) const {
    const auto it = actions_.find(event);
    return it != actions_.end() && !it->second.empty();
}

std::vector<std::string> OTSceneNode::actionEvents() const {
    std::vector<std::string> events;
    for (const auto& [event, actions] : actions_) {
        if (!actions.empty()) events.push_back(event);
    }
    return events;
}

bool OTSceneNode::sendActions(const std::string& event) {
    if (!userInteractionEnabled_ || !isVisible() || !hasAction(event)) return false;
    runActions(event);
    return true;
}

void OTSceneNode::runActions(const std::string& event) {
    const auto it = actions_.find(event);
    if (it == actions_.end()) return;
    // A copy: an action may close the view that holds it.
    const auto actions = it->second;
    auto keep = shared_from_this();
    for (const auto& action : actions) action();
}

void OTSceneNode::animate(std::chrono::milliseconds duration, const std::function<void()>& changes,
                          std::function<void()> completion) {
    if (changes) changes();
    if (!completion) return;
    OTEnvironment::current()->mainQueue()->after(duration, std::move(completion));
}

bool OTSceneNode::setImageNamed(const std::string& name) {
    const auto fileName = OTResourceBundle::fileNameFor(name);
    const auto image = OTResourceBundle::imageWithFileName(fileName);
    if (!image) return false;
    imageResource_ = fileName;
    imageSize_ = image->size();
    changed();
    return true;
}

void OTSceneNode::applyCampaignStyle(const std::optional<std::string>& text, const std::optional<OTColor>& color,
                                     const std::optional<OTColor>& backgroundColor, double size) {
    if (text) text_ = text;
    if (color) textColor_ = color;
    if (backgroundColor) backgroundColor_ = backgroundColor;
    // The user's preferred text size scales every campaign text; at 1.0 it is exactly as given.
    if (size > 0) setFont(kCampaignFontName, size * OTEnvironment::current()->accessibility().textScale());
    changed();
}

void OTSceneNode::ot_setImageWithURL(const std::optional<std::string>& url, std::function<void()> completion) {
    ot_imageURL_ = url;
    if (!url) return;
    OTDownloadManager::sharedManager()->downloadImageWithURL(
        url, [weak = weak_from_this(), url = *url, completion = std::move(completion)](
                 const std::shared_ptr<OTImage>& image, const std::optional<std::string>&,
                 const std::optional<OTDownloadManager::Error>&, bool) {
            if (!image || weak.expired()) return;
            auto apply = [weak, url, image, completion] {
                auto self = weak.lock();
                if (!self) return;
                self->setImageURL(url);
                self->setImageSize(image->size());
                if (completion) completion();
            };
            auto main = OTEnvironment::current()->mainQueue();
            if (main->isCurrent()) apply();
            else main->async(std::move(apply));
        });
}

std::optional<OTSceneNode::Accessibility> OTSceneNode::spokenAs() const {
    if (accessibility_) {
        auto spoken = *accessibility_;
        if (spoken.label.empty() && text_) spoken.label = *text_;
        return spoken;
    }
    const bool hasText = text_ && !text_->empty();
    switch (role_) {
        case Role::Label: return hasText ? std::optional(Accessibility::said(*text_, {"staticText"})) : std::nullopt;
        case Role::Button: return hasText ? std::optional(Accessibility::said(*text_, {"button"})) : std::nullopt;
        case Role::TextField: return Accessibility::said(hasText ? *text_ : placeholder_.value_or(""));
        case Role::Image: return Accessibility::skipped();
        default: return std::nullopt;
    }
}

OTRect OTSceneNode::touchFrame() const {
    const double width = std::max(frame_.size.width, minimumTouchSide_);
    const double height = std::max(frame_.size.height, minimumTouchSide_);
    return {{frame_.origin.x - (width - frame_.size.width) / 2, frame_.origin.y - (height - frame_.size.height) / 2},
            {width, height}};
}

}  // namespace corvane
