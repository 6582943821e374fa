#pragma once

#include <atomic>
#include <chrono>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "foundation/OTGeometry.h"
#include "view/OTColor.h"

namespace corvane {

// One node of the platform-neutral scene tree that the views are written against: a frame in its
// parent's coordinates, its look, its text or image, and the actions a user can trigger. Renderers
// turn a tree into something a person sees: the headless one keeps it for tests and the
// simulator, the HTML one draws it, UIKit maps it to views. Main thread only, as views are.
class OTSceneNode : public std::enable_shared_from_this<OTSceneNode> {
public:
    // Table and collection cells hold their content in a child view named "contentView".
    enum class Role {
        View,
        Label,
        Button,
        Image,
        Scroll,
        Web,
        Video,
        Collection,
        Table,
        TableCell,
        CollectionCell,
        TextField
    };
    enum class TextAlignment { Left, Center, Right };
    enum class ContentMode { ScaleToFill, AspectFit, AspectFill };
    struct Shadow {
        OTColor color;
        OTSize offset;
        double opacity = 0;
    };
    // What a screen reader says of a node and how it treats it. An empty label reads the node's
    // text. Traits: "button", "image", "header", "link", "staticText", "adjustable".
    struct Accessibility {
        std::string label;
        std::vector<std::string> traits;
        std::optional<std::string> hint;
        // What an adjustable node shows now ("第 2 页，共 3 页").
        std::optional<std::string> value;
        // Skipped by the reader, with everything inside it.
        bool hidden = false;

        static Accessibility said(std::string label, std::vector<std::string> traits = {}) {
            Accessibility spoken;
            spoken.label = std::move(label);
            spoken.traits = std::move(traits);
            return spoken;
        }
        static Accessibility skipped() {
            Accessibility decoration;
            decoration.hidden = true;
            return decoration;
        }
    };
    // Apple's and the web's smallest comfortable touch target, in points.
    static constexpr double kMinimumTouchSize = 44;
    using Action = std::function<void()>;
    static constexpr const char* kTouchUpInside = "touchUpInside";
    static constexpr const char* kTap = "tap";
    // What a scroll or collection view tells of a user's drag: it begins, the offset moves, the
    // finger lifts, the content comes to rest.
    static constexpr const char* kWillBeginDragging = "willBeginDragging";
    static constexpr const char* kDidScroll = "didScroll";
    static constexpr const char* kDidEndDragging = "didEndDragging";
    static constexpr const char* kDidEndDecelerating = "didEndDecelerating";
    // The text of a text field changed as the user typed.
    static constexpr const char* kEditingChanged = "editingChanged";
    // A table or collection view asked to load its cells again.
    static constexpr const char* kReloadData = "reloadData";
    static constexpr const char* kContentViewName = "contentView";

    explicit OTSceneNode(Role role, std::string name = {});
    virtual ~OTSceneNode() = default;

    Role role() const { return role_; }
    static const char* roleName(Role role);
    const std::string& name() const { return name_; }
    void setName(std::string name) {
        name_ = std::move(name);
        changed();
    }

    // Geometry: the frame in the parent's coordinates; bounds keep the centre, as on the platform.
    const OTRect& frame() const { return frame_; }
    void setFrame(const OTRect& frame) {
        frame_ = frame;
        changed();
    }
    OTRect bounds() const { return {{0, 0}, frame_.size}; }
    void setBounds(const OTRect& bounds);
    OTPoint center() const;
    void setCenter(const OTPoint& center);
    // The frame in the coordinates of the root of the tree.
    OTRect absoluteFrame() const;
    double ot_x() const { return frame_.origin.x; }
    double ot_y() const { return frame_.origin.y; }
    double ot_width() const { return frame_.size.width; }
    double ot_height() const { return frame_.size.height; }
    void setOt_x(double value) {
        frame_.origin.x = value;
        changed();
    }
    void setOt_y(double value) {
        frame_.origin.y = value;
        changed();
    }
    void setOt_width(double value) {
        frame_.size.width = value;
        changed();
    }
    void setOt_height(double value) {
        frame_.size.height = value;
        changed();
    }
    double bottom() const { return frame_.origin.y + frame_.size.height; }

    // Look.
    double alpha() const { return alpha_; }
    void setAlpha(double value) {
        alpha_ = value;
        changed();
    }
    bool hidden() const { return hidden_; }
    void setHidden(bool value) {
        hidden_ = value;
        changed();
    }
    const std::optional<OTColor>& backgroundColor() const { return backgroundColor_; }
    void setBackgroundColor(std::optional<OTColor> value) {
        backgroundColor_ = std::move(value);
        changed();
    }
    double cornerRadius() const { return cornerRadius_; }
    void setCornerRadius(double value) {
        cornerRadius_ = value;
        changed();
    }
    bool masksToBounds() const { return masksToBounds_; }
    void setMasksToBounds(bool value) {
        masksToBounds_ = value;
        changed();
    }
    double borderWidth() const { return borderWidth_; }
    const std::optional<OTColor>& borderColor() const { return borderColor_; }
    void setBorder(double width, std::optional<OTColor> color) {
        borderWidth_ = width;
        borderColor_ = std::move(color);
        changed();
    }
    // A uniform scale about the centre, drawn on top of the frame.
    double scale() const { return scale_; }
    void setScale(double value) {
        scale_ = value;
        changed();
    }
    const std::optional<Shadow>& shadow() const { return shadow_; }
    void setShadow(std::optional<Shadow> value) {
        shadow_ = std::move(value);
        changed();
    }
    // Siblings are drawn in order of their z position, then in the order they were added.
    double zPosition() const { return zPosition_; }
    void setZPosition(double value) {
        zPosition_ = value;
        changed();
    }
    bool userInteractionEnabled() const { return userInteractionEnabled_; }
    void setUserInteractionEnabled(bool value) {
        userInteractionEnabled_ = value;
        changed();
    }

    // Text of a label or title of a button.
    const std::optional<std::string>& text() const { return text_; }
    void setText(std::optional<std::string> value) {
        text_ = std::move(value);
        changed();
    }
    const std::optional<OTColor>& textColor() const { return textColor_; }
    void setTextColor(std::optional<OTColor> value) {
        textColor_ = std::move(value);
        changed();
    }
    const std::string& fontName() const { return fontName_; }
    double fontSize() const { return fontSize_; }
    void setFont(std::string name, double size) {
        fontName_ = std::move(name);
        fontSize_ = size;
        changed();
    }
    TextAlignment textAlignment() const { return textAlignment_; }
    void setTextAlignment(TextAlignment value) {
        textAlignment_ = value;
        changed();
    }
    double lineSpacing() const { return lineSpacing_; }
    void setLineSpacing(double value) {
        lineSpacing_ = value;
        changed();
    }
    std::int64_t numberOfLines() const { return numberOfLines_; }
    void setNumberOfLines(std::int64_t value) {
        numberOfLines_ = value;
        changed();
    }
    // What a text field shows while its text is empty.
    const std::optional<std::string>& placeholder() const { return placeholder_; }
    void setPlaceholder(std::optional<std::string> value) {
        placeholder_ = std::move(value);
        changed();
    }

    // Image: a remote address or a resource file, its natural size, how it fills the frame.
    const std::optional<std::string>& imageURL() const { return imageURL_; }
    void setImageURL(std::optional<std::string> value) {
        imageURL_ = std::move(value);
        changed();
    }
    const std::optional<std::string>& imageResource() const { return imageResource_; }
    void setImageResource(std::optional<std::string> value) {
        imageResource_ = std::move(value);
        changed();
    }
    const std::optional<OTSize>& imageSize() const { return imageSize_; }
    void setImageSize(std::optional<OTSize> value) {
        imageSize_ = value;
        changed();
    }
    ContentMode contentMode() const { return contentMode_; }
    void setContentMode(ContentMode value) {
        contentMode_ = value;
        changed();
    }
    // Shows the resource bundle's picture of that name at the screen's scale, with its size; false,
    // and nothing changed, when the bundle has no such picture.
    bool setImageNamed(const std::string& name);

    // Accessibility: set where the defaults do not say it (a label or button reads its text, a
    // picture decorates); a dialog's root is modal, so a reader stays inside it.
    const std::optional<Accessibility>& accessibility() const { return accessibility_; }
    void setAccessibility(std::optional<Accessibility> value) {
        accessibility_ = std::move(value);
        changed();
    }
    // What a reader makes of the node: the set accessibility, else its role's default (texts
    // and buttons read their text), else nothing to say.
    std::optional<Accessibility> spokenAs() const;
    bool modal() const { return modal_; }
    void setModal(bool value) {
        modal_ = value;
        changed();
    }
    // The area that answers touches: the frame, grown about its centre to at least `side` each
    // way when set (a small drawn close control).
    void setMinimumTouchSide(double side) {
        minimumTouchSide_ = side;
        changed();
    }
    OTRect touchFrame() const;

    // Scrolling content and web address.
    const OTSize& contentSize() const { return contentSize_; }
    void setContentSize(const OTSize& value) {
        contentSize_ = value;
        changed();
    }
    bool scrollEnabled() const { return scrollEnabled_; }
    void setScrollEnabled(bool value) {
        scrollEnabled_ = value;
        changed();
    }
    const OTPoint& contentOffset() const { return contentOffset_; }
    void setContentOffset(const OTPoint& value) {
        contentOffset_ = value;
        changed();
    }
    const std::optional<std::string>& url() const { return url_; }
    void setUrl(std::optional<std::string> value) {
        url_ = std::move(value);
        changed();
    }

    // Applies what a campaign attribute gives: text, text colour, background colour (each when
    // given) and, for a size above 0, the campaign font at that size.
    void applyCampaignStyle(const std::optional<std::string>& text, const std::optional<OTColor>& color,
                            const std::optional<OTColor>& backgroundColor, double size);
    static constexpr const char* kCampaignFontName = "PingFangSC-Regular";

    // Shows a remote picture through the picture cache; the address is kept in `ot_imageURL` even
    // when absent. The picture is applied on the main queue, then `completion` runs.
    void ot_setImageWithURL(const std::optional<std::string>& url, std::function<void()> completion = {});
    const std::optional<std::string>& ot_imageURL() const { return ot_imageURL_; }

    // A cell of the given role (table or collection) with its content view; any other role gets a
    // plain node.
    static std::shared_ptr<OTSceneNode> makeCell(Role role, const OTRect& frame);
    // A cell's content view; any other node is its own.
    std::shared_ptr<OTSceneNode> contentView();

    // Tree.
    void addSubview(const std::shared_ptr<OTSceneNode>& child);
    void removeFromSuperview();
    std::shared_ptr<OTSceneNode> superview() const { return parent_.lock(); }
    const std::vector<std::shared_ptr<OTSceneNode>>& subviews() const { return children_; }
    // Depth first, this node included.
    std::shared_ptr<OTSceneNode> findByName(const std::string& name);
    std::vector<std::shared_ptr<OTSceneNode>> findByRole(Role role);
    // Whether this node and every ancestor are visible.
    bool isVisible() const;

    // Actions ("touchUpInside" for buttons, "tap" for a tap recogniser).
    void addAction(const std::string& event, Action action);
    bool hasAction(const std::string& event) const;
    // The events the node has actions for, in name order.
    std::vector<std::string> actionEvents() const;
    void removeActions(const std::string& event) {
        actions_.erase(event);
        changed();
    }
    // Runs the event's actions, as a user's touch would; false when the node ignores touches.
    bool sendActions(const std::string& event);
    // Runs the event's actions whatever the node's state: for what the system, not a user, does.
    void runActions(const std::string& event);

    // Runs `changes` as an animation of `duration`: the tree takes the final state at once and
    // `completion` runs on the main queue once the duration has passed on the environment's clock.
    static void animate(std::chrono::milliseconds duration, const std::function<void()>& changes,
                        std::function<void()> completion);

    // Counts the changes made to any node (look, geometry, content, actions, tree), so that a
    // renderer drawing on request can tell cheaply whether anything it drew may have changed.
    static std::uint64_t revision() { return revision_.load(std::memory_order_relaxed); }

private:
    static void changed() { revision_.fetch_add(1, std::memory_order_relaxed); }
    static inline std::atomic<std::uint64_t> revision_{0};

    Role role_;
    std::string name_;
    OTRect frame_;
    double alpha_ = 1;
    bool hidden_ = false;
    std::optional<OTColor> backgroundColor_;
    double cornerRadius_ = 0;
    bool masksToBounds_ = false;
    double borderWidth_ = 0;
    std::optional<OTColor> borderColor_;
    double scale_ = 1;
    std::optional<Shadow> shadow_;
    double zPosition_ = 0;
    bool userInteractionEnabled_ = true;
    std::optional<std::string> text_;
    std::optional<OTColor> textColor_;
    std::string fontName_;
    double fontSize_ = 17;
    TextAlignment textAlignment_ = TextAlignment::Left;
    double lineSpacing_ = 0;
    std::int64_t numberOfLines_ = 1;
    std::optional<std::string> placeholder_;
    std::optional<std::string> imageURL_;
    std::optional<std::string> imageResource_;
    std::optional<OTSize> imageSize_;
    ContentMode contentMode_ = ContentMode::ScaleToFill;
    OTSize contentSize_;
    OTPoint contentOffset_;
    bool scrollEnabled_ = true;
    std::optional<std::string> url_;
    std::optional<std::string> ot_imageURL_;
    std::optional<Accessibility> accessibility_;
    bool modal_ = false;
    double minimumTouchSide_ = 0;
    std::weak_ptr<OTSceneNode> parent_;
    std::vector<std::shared_ptr<OTSceneNode>> children_;
    std::map<std::string, std::vector<Action>> actions_;
};

}  // namespace corvane
