#include "platform/OTAccessibilityPreferences.h"

#include <algorithm>
#include <cmath>
#include <utility>

namespace corvane {

OTAccessibilityPreferences::OTAccessibilityPreferences(std::string language) : language_(std::move(language)) {}

bool OTAccessibilityPreferences::speaksChinese() const { return language_.rfind("zh", 0) == 0; }

std::string OTAccessibilityPreferences::text(const char* chinese, const char* english) const {
    return speaksChinese() ? chinese : english;
}

void OTAccessibilityPreferences::setCloseLabel(std::optional<std::string> label) {
    std::lock_guard lock(mutex_);
    closeLabel_ = label && !label->empty() ? std::move(label) : std::nullopt;
}

std::string OTAccessibilityPreferences::closeLabel() const {
    {
        std::lock_guard lock(mutex_);
        if (closeLabel_) return *closeLabel_;
    }
    return text("关闭", "Close");
}

void OTAccessibilityPreferences::setTextScale(double scale) {
    if (!std::isfinite(scale)) return;
    std::lock_guard lock(mutex_);
    textScale_ = std::clamp(scale, kMinTextScale, kMaxTextScale);
}

double OTAccessibilityPreferences::textScale() const {
    std::lock_guard lock(mutex_);
    return textScale_;
}

}  // namespace corvane
