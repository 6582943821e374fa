#include "platform/OTTextMeasurer.h"

#include <vector>

namespace corvane {

namespace {
// The next UTF-8 code point at `at` (advanced past it); a broken byte reads as itself.
char32_t nextCodePoint(const std::string& text, std::size_t& at) {
    const auto lead = static_cast<unsigned char>(text[at]);
    int extra = lead >= 0xF0 ? 3 : lead >= 0xE0 ? 2 : lead >= 0xC0 ? 1 : 0;
    if (extra > 0 && at + static_cast<std::size_t>(extra) >= text.size()) extra = 0;
    char32_t value = extra == 0 ? lead : lead & (0x3F >> extra);
    for (int i = 1; i <= extra; ++i) value = (value << 6) | (static_cast<unsigned char>(text[at + i]) & 0x3F);
    at += static_cast<std::size_t>(extra) + 1;
    return value;
}

bool isWide(char32_t c) {
    return (c >= 0x1100 && c <= 0x115F) || (c >= 0x2E80 && c <= 0xA4CF) || (c >= 0xAC00 && c <= 0xD7A3) ||
           (c >= 0xF900 && c <= 0xFAFF) || (c >= 0xFE30 && c <= 0xFE4F) || (c >= 0xFF00 && c <= 0xFF60) ||
           (c >= 0xFFE0 && c <= 0xFFE6) || (c >= 0x20000 && c <= 0x3FFFD);
}
}  // namespace

double OTTextMeasurer::boundingHeight(const std::string& text, const std::string&, double fontSize, double lineSpacing,
                                      double width) const {
    {
        std::lock_guard lock(mutex_);
        if (const auto it = heights_.find(text); it != heights_.end()) return it->second;
    }
    return modelHeight(text, fontSize, lineSpacing, width);
}

void OTTextMeasurer::setHeight(const std::string& text, double height) {
    std::lock_guard lock(mutex_);
    heights_[text] = height;
}

double OTTextMeasurer::modelHeight(const std::string& text, double fontSize, double lineSpacing, double width) {
    if (text.empty() || !(fontSize > 0)) return 0;
    std::size_t lines = 1;
    // Advances of the current line, and where in it the last space ends.
    std::vector<double> line;
    std::optional<std::size_t> afterSpace;
    double lineWidth = 0;
    for (std::size_t at = 0; at < text.size();) {
        const char32_t c = nextCodePoint(text, at);
        if (c == U'\n') {
            ++lines;
            line.clear();
            afterSpace.reset();
            lineWidth = 0;
            continue;
        }
        const double advance = fontSize * (c == U' ' ? 0.3 : isWide(c) ? 1.0 : 0.55);
        if (lineWidth + advance > width && !line.empty()) {
            ++lines;
            // The word that overflows moves down with the character, when the line has a space.
            std::vector<double> carried;
            if (afterSpace && *afterSpace < line.size())
                carried.assign(line.begin() + static_cast<long>(*afterSpace), line.end());
            line = std::move(carried);
            afterSpace.reset();
            lineWidth = 0;
            for (double a : line) lineWidth += a;
        }
        line.push_back(advance);
        lineWidth += advance;
        if (c == U' ') afterSpace = line.size();
    }
    return static_cast<double>(lines) * lineHeight(fontSize) + static_cast<double>(lines - 1) * lineSpacing;
}

}  // namespace corvane
