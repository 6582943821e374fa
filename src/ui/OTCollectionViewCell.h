#pragma once

#include <memory>
#include <optional>
#include <string>

#include "view/OTSceneNode.h"

namespace corvane {

// One page of a carousel: a picture filling the cell and, when the page has a title, a title bar
// along its bottom. Text-only cells show the title alone, over the whole cell.
class OTCollectionViewCell final : public OTSceneNode {
public:
    explicit OTCollectionViewCell(const OTRect& frame);

    const std::shared_ptr<OTSceneNode>& imageView() const { return imageView_; }
    const std::shared_ptr<OTSceneNode>& titleLabel() const { return titleLabel_; }

    // A web address loads through the picture cache; anything else names a picture of the app.
    void setImagePath(const std::string& path, ContentMode mode);
    void setTitle(const std::optional<std::string>& title);
    void setTitleLabelStyle(const OTColor& textColor, double fontSize, const OTColor& backgroundColor, double height,
                            TextAlignment alignment);
    bool onlyDisplayText() const { return onlyDisplayText_; }
    void setOnlyDisplayText(bool value);

private:
    void layoutTitle();

    std::shared_ptr<OTSceneNode> imageView_;
    std::shared_ptr<OTSceneNode> titleLabel_;
    double titleLabelHeight_ = 30;
    bool onlyDisplayText_ = false;
};

}  // namespace corvane
