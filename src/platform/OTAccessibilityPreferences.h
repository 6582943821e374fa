#pragma once

#include <mutex>
#include <optional>
#include <string>

namespace corvane {

// What the person using the app needs of what the library shows, as the platform reports it and
// the host sets it: the language of the labels a screen reader speaks, the close control's label,
// and the text scale of the preferred content size (1.0, the default, lays everything out exactly
// as designed). Read and set from any thread.
class OTAccessibilityPreferences {
public:
    // The content size categories' range of text scales, from the smallest to the largest
    // accessibility size.
    static constexpr double kMinTextScale = 0.8;
    static constexpr double kMaxTextScale = 3.2;

    // `language` as the device prefers it: "zh-Hans", "en", ...
    explicit OTAccessibilityPreferences(std::string language);

    bool speaksChinese() const;
    // `chinese` or `english`, after the device language.
    std::string text(const char* chinese, const char* english) const;

    // The host's label for the close control; nothing (or an empty text) restores the built-in
    // "关闭" or "Close".
    void setCloseLabel(std::optional<std::string> label);
    std::string closeLabel() const;

    // Clamped to the categories' range; a scale that is not a number is ignored.
    void setTextScale(double scale);
    double textScale() const;

private:
    // The device's, fixed for the run: read without the lock.
    const std::string language_;
    mutable std::mutex mutex_;
    std::optional<std::string> closeLabel_;
    double textScale_ = 1.0;
};

}  // namespace corvane
