#pragma once

#include <memory>
#include <nlohmann/json_fwd.hpp>
#include <optional>
#include <string>

#include "foundation/OTKeyedUnarchiver.h"
#include "model/OTDataModel.h"
#include "view/OTColor.h"

namespace corvane {

// The look and text of one element of a dialog: base of the text and button attributes.
class OTWidgetAttribute : public OTDataModel {
public:
    static constexpr const char* kArchiveClassName = "OTWidgetAttribute";

    void setModelWithDic(const nlohmann::json& dic) override;
    const char* archiveClassName() const override { return kArchiveClassName; }
    void encodeWithCoder(OTKeyedArchiver& coder) const override;
    static std::shared_ptr<OTWidgetAttribute> initWithCoder(const OTKeyedUnarchiver& coder);
    virtual std::string description() const;

    const std::optional<std::string>& text() const { return text_; }
    void setText(std::optional<std::string> value) { text_ = std::move(value); }
    // Shown instead of the text when one of its placeholders has no value.
    const std::optional<std::string>& defaultText() const { return defaultText_; }
    void setDefaultText(std::optional<std::string> value) { defaultText_ = std::move(value); }
    const std::optional<OTColor>& color() const { return color_; }
    void setColor(std::optional<OTColor> value) { color_ = std::move(value); }
    const std::optional<OTColor>& backgroundColor() const { return backgroundColor_; }
    void setBackgroundColor(std::optional<OTColor> value) { backgroundColor_ = std::move(value); }
    // Font size in points: "32pd" on the wire is 16 points.
    double size() const { return size_; }
    void setSize(double value) { size_ = value; }

protected:
    void decodeWidgetKeys(const OTKeyedUnarchiver& coder);

private:
    std::optional<std::string> text_;
    std::optional<std::string> defaultText_;
    std::optional<OTColor> color_;
    std::optional<OTColor> backgroundColor_;
    double size_ = 0;
};

}  // namespace corvane
