#include "OTAccessibilityChecker.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <nlohmann/json.hpp>
#include <optional>
#include <vector>

#include "model/OTButtonAttribute.h"
#include "model/OTTextAttribute.h"
#include "platform/OTTextMeasurer.h"
#include "ui/OTPopWindow.h"

namespace corvane {

namespace {
using nlohmann::json;
using Metrics = OTPopWindow::Metrics;

const OTColor kWhite(1, 1, 1, 1);
// WCAG 2.1 AA: 4.5:1, or 3:1 for text of 18 points and more.
constexpr double kLargeTextPoints = 18;

double linear(double channel) {
    return channel <= 0.03928 ? channel / 12.92 : std::pow((channel + 0.055) / 1.055, 2.4);
}

double luminance(const OTColor& color) {
    return 0.2126 * linear(color.red()) + 0.7152 * linear(color.green()) + 0.0722 * linear(color.blue());
}

// `top` drawn over the opaque `bottom`.
OTColor over(const OTColor& top, const OTColor& bottom) {
    const double a = std::clamp(top.alpha(), 0.0, 1.0);
    const auto mix = [a](double t, double b) { return a * t + (1 - a) * b; };
    return OTColor(mix(top.red(), bottom.red()), mix(top.green(), bottom.green()), mix(top.blue(), bottom.blue()), 1);
}

std::string hex(const OTColor& color) {
    char text[8];
    const auto byte = [](double v) { return static_cast<unsigned>(std::lround(std::clamp(v, 0.0, 1.0) * 255)); };
    std::snprintf(text, sizeof text, "#%02X%02X%02X", byte(color.red()), byte(color.green()), byte(color.blue()));
    return text;
}

std::string number(double value, const char* format) {
    char text[32];
    std::snprintf(text, sizeof text, format, value);
    return text;
}

// One text a dialog draws, as the library reads it from the campaign. Buttons take the button
// defaults where the campaign gives none, sized for the narrowest screen.
struct Shown {
    std::string key;
    OTTextAttribute attribute;
    bool button = false;
    // Where a contrast finding points: the colour the campaign gives, else its background.
    std::string colorPath;

    std::string words() const { return attribute.text().value_or(attribute.defaultText().value_or("")); }
};

std::vector<Shown> shownTexts(const json& campaign, std::int64_t style) {
    std::vector<Shown> shown;
    const auto add = [&](const char* key, bool button) {
        const auto it = campaign.find(key);
        if (it == campaign.end() || !it->is_object()) return;
        const char* colorKey = it->contains("color") ? ".color" : it->contains("background") ? ".background" : "";
        Shown text{key, {}, button, key + std::string(colorKey)};
        if (button) {
            text.attribute.setColor(OTColor::fromHexText(OTButtonAttribute::kDefaultColor));
            text.attribute.setBackgroundColor(OTColor::fromHexText(OTButtonAttribute::kDefaultBackground));
            text.attribute.setSize(OTButtonAttribute::defaultSize(OTAccessibilityChecker::kNarrowWidth));
        }
        text.attribute.setModelWithDic(*it);
        if (!text.words().empty()) shown.push_back(std::move(text));
    };
    if (style != 2 && style != 3) return shown;
    add("title", false);
    add("content", false);
    if (style == 3 && campaign.contains("buttonLeft") && campaign.contains("buttonRight")) {
        add("buttonLeft", true);
        add("buttonRight", true);
    } else {
        add("buttonMiddle", true);
    }
    return shown;
}

void checkContrast(const Shown& text, const Metrics& narrow, const OTAccessibilityChecker::Report& report) {
    const auto& attribute = text.attribute;
    const auto background = over(attribute.backgroundColor().value_or(kWhite), kWhite);
    const auto color = over(attribute.color().value_or(OTPopWindow::defaultTextColor()), background);
    const double points = attribute.size() > 0  ? attribute.size()
                          : text.key == "title" ? narrow.titleFontSize
                                                : narrow.textFontSize;
    const double needed = points >= kLargeTextPoints ? 3.0 : 4.5;
    const double ratio = OTAccessibilityChecker::contrast(color, background);
    if (ratio >= needed) return;
    report(text.colorPath, "the text (" + hex(color) + ") on what it is drawn on (" + hex(background) +
                               ") has a contrast of " + number(ratio, "%.2f") + ":1, under WCAG 2.1 AA's " +
                               number(needed, "%.1f") + ":1 for text of " + number(points, "%.0f") +
                               " points: a reader with low vision may not make it out");
}

// At the narrowest screen and twice the text size the body scrolls, a picture gives way and the
// buttons grow to hold their wrapped titles; the title and the buttons must still fit the screen.
void checkCut(const std::vector<Shown>& texts, const OTAccessibilityChecker::Report& report) {
    const auto m = Metrics::forScreen(OTAccessibilityChecker::kNarrowWidth, OTAccessibilityChecker::kNarrowHeight,
                                      OTAccessibilityChecker::kLargeTextScale);
    const double scale = OTAccessibilityChecker::kLargeTextScale;
    const bool twoButtons =
        std::count_if(texts.begin(), texts.end(), [](const Shown& text) { return text.button; }) == 2;
    double title = 0;
    double buttons = m.Bh;
    // What the finding names: the title, else the button whose title needs the most.
    const Shown* blamed = nullptr;
    for (const auto& text : texts) {
        const double size = text.attribute.size();
        if (text.button) {
            const double width = m.buttonWidth(twoButtons);
            const double font = size * scale;
            const double height = OTTextMeasurer::modelHeight(text.words(), font, 0, width) + m.g;
            if (height > buttons && (blamed == nullptr || blamed->button)) blamed = &text;
            buttons = std::max(buttons, height);
        } else if (text.key == "title") {
            const double font = size > 0 ? size * scale : m.titleFontSize;
            title = OTTextMeasurer::modelHeight(text.words(), font, OTPopWindow::kLineSpacing, m.Tw) + 1;
            blamed = &text;
        }
    }
    const double body =
        OTTextMeasurer::modelHeight(OTPopWindow::kMinTextSample, m.textFontSize, OTPopWindow::kLineSpacing, m.Tw);
    const double needed = m.g + title + m.g + body + m.g + buttons + m.g;
    if (needed <= m.H || blamed == nullptr) return;
    report(blamed->key + ".text",
           "at 320 points wide and text scale 2.0 the title, the shortest body and the buttons need " +
               number(needed, "%.0f") + " points of the screen's " + number(m.H, "%.0f") +
               ": the dialog is cut for a reader with large text; shorten this text");
}
}  // namespace

double OTAccessibilityChecker::contrast(const OTColor& text, const OTColor& background) {
    const double a = luminance(text);
    const double b = luminance(background);
    return (std::max(a, b) + 0.05) / (std::min(a, b) + 0.05);
}

void OTAccessibilityChecker::checkDialog(const json& campaign, const Report& report) {
    const auto style = campaign.value("style", json()).is_number_integer() ? campaign["style"].get<std::int64_t>() : 0;
    if (style == 1) {
        // The picture is the whole message: without words a reader can only say what it is.
        bool words = false;
        for (const char* key : {"title", "content"}) {
            const auto it = campaign.find(key);
            if (it == campaign.end() || !it->is_object()) continue;
            OTTextAttribute attribute;
            attribute.setModelWithDic(*it);
            words = words || !attribute.text().value_or("").empty();
        }
        if (!words) {
            report("picture",
                   "a picture-only campaign gives a screen reader nothing to say but \"活动图片\": give it a "
                   "title or text that says what the picture shows (a reader speaks it, the dialog "
                   "does not draw it)");
        }
        return;
    }
    const auto narrow = Metrics::forScreen(kNarrowWidth, kNarrowHeight);
    const auto texts = shownTexts(campaign, style);
    for (const auto& text : texts) checkContrast(text, narrow, report);
    checkCut(texts, report);
}

}  // namespace corvane
