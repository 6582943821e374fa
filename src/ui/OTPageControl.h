#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "foundation/OTGeometry.h"
#include "view/OTColor.h"
#include "view/OTSceneNode.h"

namespace corvane {

class OTAbstractDotView;

// A row of dots, one per page, the current page's dot active. Dots are animated rings by default,
// plain dots when asked, or pictures when both dot images are given. Main thread only.
class OTPageControl final : public OTSceneNode {
public:
    enum class DotViewClass { Animated, Plain };
    static constexpr double kDefaultSpacing = 8;
    static constexpr OTSize kDefaultDotSize{8, 8};

    OTPageControl();

    // Width of the row of `pages` dots: (dot width + spacing) × pages − spacing; 0 for no page.
    static OTSize sizeForNumberOfPages(std::int64_t pages, const OTSize& dotSize, double spacing);
    // Where dot `index` sits in a control `controlWidth` wide: the row is centred, each dot
    // vertically centred in a control `controlHeight` high.
    static OTRect dotFrame(std::int64_t index, std::int64_t pages, const OTSize& dotSize, double spacing,
                           const OTSize& control);
    OTSize sizeForNumberOfPages(std::int64_t pages) const {
        return sizeForNumberOfPages(pages, dotSize_, spacingBetweenDots_);
    }

    std::int64_t numberOfPages() const { return numberOfPages_; }
    void setNumberOfPages(std::int64_t value);
    std::int64_t currentPage() const { return currentPage_; }
    // Out-of-range pages are ignored.
    void setCurrentPage(std::int64_t value);
    double spacingBetweenDots() const { return spacingBetweenDots_; }
    void setSpacingBetweenDots(double value);
    const OTSize& dotSize() const { return dotSize_; }
    void setDotSize(const OTSize& value);
    const OTColor& dotColor() const { return dotColor_; }
    void setDotColor(const OTColor& value);
    const std::optional<std::string>& dotImage() const { return dotImage_; }
    void setDotImage(std::optional<std::string> value);
    const std::optional<std::string>& currentDotImage() const { return currentDotImage_; }
    void setCurrentDotImage(std::optional<std::string> value);
    DotViewClass dotViewClass() const { return dotViewClass_; }
    void setDotViewClass(DotViewClass value);
    bool hidesForSinglePage() const { return hidesForSinglePage_; }
    void setHidesForSinglePage(bool value);
    bool shouldResizeFromCenter() const { return shouldResizeFromCenter_; }
    void setShouldResizeFromCenter(bool value) { shouldResizeFromCenter_ = value; }
    // Told the page of a tapped dot.
    void setDidSelectPageAtIndex(std::function<void(std::int64_t)> value) { didSelectPage_ = std::move(value); }

    // Sizes the control for its pages (around its centre when `shouldResizeFromCenter`) and
    // places the dots.
    void sizeToFit();
    void layoutDots();
    const std::vector<std::shared_ptr<OTSceneNode>>& dots() const { return dots_; }

private:
    void resetDots();
    void changeActivity(std::int64_t page, bool active);

    std::int64_t numberOfPages_ = 0;
    std::int64_t currentPage_ = 0;
    double spacingBetweenDots_ = kDefaultSpacing;
    OTSize dotSize_ = kDefaultDotSize;
    OTColor dotColor_ = OTColor(1, 1, 1, 1);
    std::optional<std::string> dotImage_;
    std::optional<std::string> currentDotImage_;
    DotViewClass dotViewClass_ = DotViewClass::Animated;
    bool hidesForSinglePage_ = false;
    bool shouldResizeFromCenter_ = false;
    std::function<void(std::int64_t)> didSelectPage_;
    std::vector<std::shared_ptr<OTSceneNode>> dots_;
};

}  // namespace corvane
