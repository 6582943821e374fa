#pragma once

#include <memory>
#include <string>

#include "foundation/OTKeyedUnarchiver.h"
#include "model/OTDataModel.h"

namespace corvane {

// One picture of a banner: its address and the link a tap follows.
class OTPicture final : public OTDataModel {
public:
    static constexpr const char* kArchiveClassName = "OTPicture";

    void setModelWithDic(const nlohmann::json& dic) override;
    const char* archiveClassName() const override { return kArchiveClassName; }
    void encodeWithCoder(OTKeyedArchiver& coder) const override;
    static std::shared_ptr<OTPicture> initWithCoder(const OTKeyedUnarchiver& coder);

    // An address holding a CJK ideograph comes percent-encoded for a URL query; others as they are.
    static std::string addressText(const std::string& text);

    const std::string& url() const { return url_; }
    void setUrl(std::string value) { url_ = std::move(value); }
    const std::string& clickEvent() const { return clickEvent_; }
    void setClickEvent(std::string value) { clickEvent_ = std::move(value); }

private:
    std::string url_;
    std::string clickEvent_;
};

}  // namespace corvane
