#pragma once

#include "model/OTWidgetAttribute.h"

namespace corvane {

// One button of a dialog: its look, its text and the link it follows.
class OTButtonAttribute final : public OTWidgetAttribute {
public:
    static constexpr const char* kArchiveClassName = "OTButtonAttribute";

    // Dark grey text on light grey, sized for the screen width.
    OTButtonAttribute();
    static constexpr const char* kDefaultColor = "#444444";
    static constexpr const char* kDefaultBackground = "#f4f4f4";
    static double defaultSize(double screenWidth) { return screenWidth / 590.5 * 30.0; }

    void setModelWithDic(const nlohmann::json& dic) override;
    const char* archiveClassName() const override { return kArchiveClassName; }
    void encodeWithCoder(OTKeyedArchiver& coder) const override;
    static std::shared_ptr<OTButtonAttribute> initWithCoder(const OTKeyedUnarchiver& coder);
    std::string description() const override;

    const std::optional<std::string>& eventLink() const { return eventLink_; }
    void setEventLink(std::optional<std::string> value) { eventLink_ = std::move(value); }

private:
    std::optional<std::string> eventLink_;
};

}  // namespace corvane
