#include "ui/OTCollectionViewCell.h"

namespace corvane {

OTCollectionViewCell::OTCollectionViewCell(const OTRect& frame) : OTSceneNode(Role::CollectionCell, "cell") {
    setFrame(frame);
    imageView_ = std::make_shared<OTSceneNode>(Role::Image, "imageView");
    imageView_->setFrame({{0, 0}, frame.size});
    titleLabel_ = std::make_shared<OTSceneNode>(Role::Label, "titleLabel");
    titleLabel_->setHidden(true);
    layoutTitle();
}

void OTCollectionViewCell::setImagePath(const std::string& path, ContentMode mode) {
    imageView_->setContentMode(mode);
    if (path.rfind("http", 0) == 0) {
        imageView_->ot_setImageWithURL(path);
    } else {
        imageView_->setImageResource(path);
    }
    if (!imageView_->superview()) addSubview(imageView_);
}

void OTCollectionViewCell::setTitle(const std::optional<std::string>& title) {
    titleLabel_->setText(title);
    titleLabel_->setHidden(!title || title->empty());
    if (!titleLabel_->superview()) addSubview(titleLabel_);
}

void OTCollectionViewCell::setTitleLabelStyle(const OTColor& textColor, double fontSize, const OTColor& backgroundColor,
                                              double height, TextAlignment alignment) {
    titleLabel_->setTextColor(textColor);
    titleLabel_->setFont("system", fontSize);
    titleLabel_->setBackgroundColor(backgroundColor);
    titleLabel_->setTextAlignment(alignment);
    titleLabelHeight_ = height;
    layoutTitle();
}

void OTCollectionViewCell::setOnlyDisplayText(bool value) {
    onlyDisplayText_ = value;
    imageView_->setHidden(value);
    layoutTitle();
}

void OTCollectionViewCell::layoutTitle() {
    const OTSize size = frame().size;
    if (onlyDisplayText_) titleLabel_->setFrame({{0, 0}, size});
    else titleLabel_->setFrame({{0, size.height - titleLabelHeight_}, {size.width, titleLabelHeight_}});
}

}  // namespace corvane
