#include "ui/OTPageControl.h"

#include <algorithm>

#include "ui/OTAnimatedDotView.h"
#include "ui/OTDotView.h"

namespace corvane {

OTPageControl::OTPageControl() : OTSceneNode(Role::View, "OTPageControl") {}

OTSize OTPageControl::sizeForNumberOfPages(std::int64_t pages, const OTSize& dotSize, double spacing) {
    if (pages <= 0) return {};
    return {(dotSize.width + spacing) * static_cast<double>(pages) - spacing, dotSize.height};
}

OTRect OTPageControl::dotFrame(std::int64_t index, std::int64_t pages, const OTSize& dotSize, double spacing,
                               const OTSize& control) {
    const double total = sizeForNumberOfPages(pages, dotSize, spacing).width;
    const double x = (dotSize.width + spacing) * static_cast<double>(index) + (control.width - total) / 2;
    const double y = (control.height - dotSize.height) / 2;
    return {{x, y}, dotSize};
}

void OTPageControl::setNumberOfPages(std::int64_t value) {
    numberOfPages_ = std::max<std::int64_t>(value, 0);
    if (currentPage_ >= numberOfPages_) currentPage_ = 0;
    resetDots();
}

void OTPageControl::setCurrentPage(std::int64_t value) {
    if (value < 0 || value >= numberOfPages_ || value == currentPage_) return;
    changeActivity(currentPage_, false);
    currentPage_ = value;
    changeActivity(currentPage_, true);
}

void OTPageControl::setSpacingBetweenDots(double value) {
    spacingBetweenDots_ = value;
    resetDots();
}

void OTPageControl::setDotSize(const OTSize& value) {
    dotSize_ = value;
    resetDots();
}

void OTPageControl::setDotColor(const OTColor& value) {
    dotColor_ = value;
    resetDots();
}

void OTPageControl::setDotImage(std::optional<std::string> value) {
    dotImage_ = std::move(value);
    resetDots();
}

void OTPageControl::setCurrentDotImage(std::optional<std::string> value) {
    currentDotImage_ = std::move(value);
    resetDots();
}

void OTPageControl::setDotViewClass(DotViewClass value) {
    dotViewClass_ = value;
    resetDots();
}

void OTPageControl::setHidesForSinglePage(bool value) {
    hidesForSinglePage_ = value;
    resetDots();
}

void OTPageControl::sizeToFit() {
    const OTSize size = sizeForNumberOfPages(numberOfPages_);
    if (shouldResizeFromCenter_) setBounds({{0, 0}, size});
    else setFrame({frame().origin, size});
    layoutDots();
}

void OTPageControl::layoutDots() {
    for (std::size_t i = 0; i < dots_.size(); ++i) {
        dots_[i]->setFrame(
            dotFrame(static_cast<std::int64_t>(i), numberOfPages_, dotSize_, spacingBetweenDots_, frame().size));
        if (!dotImage_ || !currentDotImage_) dots_[i]->setCornerRadius(dotSize_.width / 2);
    }
}

void OTPageControl::resetDots() {
    for (const auto& dot : dots_) dot->removeFromSuperview();
    dots_.clear();
    for (std::int64_t page = 0; page < numberOfPages_; ++page) {
        std::shared_ptr<OTSceneNode> dot;
        if (dotImage_ && currentDotImage_) {
            dot = std::make_shared<OTSceneNode>(Role::Image, "dot");
            dot->setImageURL(dotImage_);
        } else {
            std::shared_ptr<OTAbstractDotView> view;
            if (dotViewClass_ == DotViewClass::Animated) view = std::make_shared<OTAnimatedDotView>();
            else view = std::make_shared<OTDotView>();
            view->setDotColor(dotColor_);
            dot = view;
        }
        dot->setUserInteractionEnabled(true);
        dot->addAction(kTap, [weak = weak_from_this(), page] {
            auto self = std::static_pointer_cast<OTPageControl>(weak.lock());
            if (self && self->didSelectPage_) self->didSelectPage_(page);
        });
        addSubview(dot);
        dots_.push_back(std::move(dot));
    }
    if (numberOfPages_ > 0) changeActivity(currentPage_, true);
    setHidden(hidesForSinglePage_ && numberOfPages_ == 1);
    layoutDots();
}

void OTPageControl::changeActivity(std::int64_t page, bool active) {
    if (page < 0 || page >= static_cast<std::int64_t>(dots_.size())) return;
    const auto& dot = dots_[static_cast<std::size_t>(page)];
    if (auto view = std::dynamic_pointer_cast<OTAbstractDotView>(dot)) view->changeActivityState(active);
    else dot->setImageURL(active ? currentDotImage_ : dotImage_);
}

}  // namespace corvane
