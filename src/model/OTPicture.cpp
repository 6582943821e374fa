#include "model/OTPicture.h"

#include <nlohmann/json.hpp>

#include "foundation/OTKeyedArchiver.h"
#include "foundation/OTText.h"

namespace corvane {

std::string OTPicture::addressText(const std::string& text) {
    return OTText::containsCJKIdeograph(text) ? OTText::percentEncodedForQuery(text) : text;
}

void OTPicture::setModelWithDic(const nlohmann::json& dic) {
    OTDataModel::setModelWithDic(dic);
    if (!dic.is_object()) return;
    if (const auto it = dic.find("url"); it != dic.end() && it->is_string()) url_ = addressText(it->get<std::string>());
    if (const auto it = dic.find("clickEvent"); it != dic.end() && it->is_string()) {
        clickEvent_ = addressText(it->get<std::string>());
    }
}

void OTPicture::encodeWithCoder(OTKeyedArchiver& coder) const {
    OTDataModel::encodeWithCoder(coder);
    coder.encodeObject(std::optional<std::string>(url_), "url");
    coder.encodeObject(std::optional<std::string>(clickEvent_), "clickEvent");
}

std::shared_ptr<OTPicture> OTPicture::initWithCoder(const OTKeyedUnarchiver& coder) {
    auto picture = std::make_shared<OTPicture>();
    picture->url_ = coder.decodeStringForKey("url").value_or("");
    picture->clickEvent_ = coder.decodeStringForKey("clickEvent").value_or("");
    return picture;
}

}  // namespace corvane
