#pragma once

#include "model/OTWidgetAttribute.h"

namespace corvane {

// A dialog's title or content text.
class OTTextAttribute final : public OTWidgetAttribute {
public:
    static constexpr const char* kArchiveClassName = "OTTextAttribute";

    void setModelWithDic(const nlohmann::json& dic) override;
    const char* archiveClassName() const override { return kArchiveClassName; }
    void encodeWithCoder(OTKeyedArchiver& coder) const override;
    static std::shared_ptr<OTTextAttribute> initWithCoder(const OTKeyedUnarchiver& coder);
    std::string description() const override;

    const std::optional<std::string>& alignmentType() const { return alignmentType_; }
    void setAlignmentType(std::optional<std::string> value) { alignmentType_ = std::move(value); }

private:
    std::optional<std::string> alignmentType_;
};

}  // namespace corvane
