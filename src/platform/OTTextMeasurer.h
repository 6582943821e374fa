#pragma once

#include <map>
#include <mutex>
#include <optional>
#include <string>
#include <tuple>

namespace corvane {

// Measures the height of wrapped text, as the platform's bounding-rectangle call with
// line-fragment-origin layout does. Linux has no PingFang font, so the default is a documented
// metric model:
//   - advance of a character: 1.0 × size for East Asian wide characters (CJK ideographs, kana,
//     Hangul, full-width forms), 0.3 × size for a space, 0.55 × size for anything else;
//   - lines break before the character that would pass the width (at the last space of the line
//     when there is one) and at every line feed;
//   - a line is 1.4 × size high; n lines are n × 1.4 × size + (n − 1) × line spacing; no text is 0.
// Tests and hosts with real font metrics set exact heights per text.
class OTTextMeasurer {
public:
    virtual ~OTTextMeasurer() = default;

    virtual double boundingHeight(const std::string& text, const std::string& fontName, double fontSize,
                                  double lineSpacing, double width) const;
    // From now on `text` measures `height` whatever the font and width.
    void setHeight(const std::string& text, double height);

    // The height of one line of the model at `fontSize`.
    static double lineHeight(double fontSize) { return kLineHeightRatio * fontSize; }
    static constexpr double kLineHeightRatio = 1.4;
    static double modelHeight(const std::string& text, double fontSize, double lineSpacing, double width);

private:
    mutable std::mutex mutex_;
    std::map<std::string, double> heights_;
};

}  // namespace corvane
