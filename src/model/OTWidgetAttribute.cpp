#include "model/OTWidgetAttribute.h"

#include <nlohmann/json.hpp>

#include "foundation/OTDescription.h"
#include "foundation/OTJSONValue.h"
#include "foundation/OTKeyedArchiver.h"
#include "foundation/OTLogFormatter.h"
#include "foundation/OTText.h"

namespace corvane {

namespace {
// A colour text present, not null and non-empty.
std::optional<OTColor> colorAt(const nlohmann::json& dic, const char* key) {
    const auto it = dic.find(key);
    if (it == dic.end() || !it->is_string() || it->get_ref<const std::string&>().empty()) return std::nullopt;
    return OTColor::fromHexText(it->get_ref<const std::string&>());
}

std::shared_ptr<const OTCoding> archived(const std::optional<OTColor>& color) {
    return color ? std::make_shared<OTColor>(*color) : nullptr;
}

std::optional<OTColor> decodedColor(const OTKeyedUnarchiver& coder, const char* key) {
    auto color = coder.decodeObjectOfClass<OTColor>(key);
    return color ? std::optional<OTColor>(*color) : std::nullopt;
}
}  // namespace

void OTWidgetAttribute::setModelWithDic(const nlohmann::json& dic) {
    OTDataModel::setModelWithDic(dic);
    if (!dic.is_object()) return;
    if (const auto it = dic.find("text"); it != dic.end()) text_ = OTJSONValue::text(*it);
    if (const auto it = dic.find("defaultText"); it != dic.end()) defaultText_ = OTJSONValue::text(*it);
    if (auto color = colorAt(dic, "color")) color_ = color;
    if (auto color = colorAt(dic, "background")) backgroundColor_ = color;
    if (const auto it = dic.find("size"); it != dic.end()) {
        std::optional<std::string> text = OTJSONValue::text(*it);
        if (!text && it->is_number()) text = OTDescription::numberText(*it);
        // Kept at single precision in archives: a size a float cannot hold is no size.
        if (text && !text->empty()) {
            const double size = OTJSONValue::doubleValueOfText(OTText::replacingOccurrences(*text, "pd", "")) / 2.0;
            if (OTJSONValue::floatValue(size)) size_ = size;
        }
    }
}

void OTWidgetAttribute::encodeWithCoder(OTKeyedArchiver& coder) const {
    OTDataModel::encodeWithCoder(coder);
    coder.encodeObject(text_, "text");
    coder.encodeFloat(OTJSONValue::floatValue(size_).value_or(0), "size");
    coder.encodeObject(archived(color_), "color");
    coder.encodeObject(archived(backgroundColor_), "backgroundColor");
    coder.encodeObject(defaultText_, "defaultText");
}

void OTWidgetAttribute::decodeWidgetKeys(const OTKeyedUnarchiver& coder) {
    text_ = coder.decodeStringForKey("text");
    size_ = coder.decodeFloatForKey("size");
    color_ = decodedColor(coder, "color");
    backgroundColor_ = decodedColor(coder, "backgroundColor");
    defaultText_ = coder.decodeStringForKey("defaultText");
}

std::shared_ptr<OTWidgetAttribute> OTWidgetAttribute::initWithCoder(const OTKeyedUnarchiver& coder) {
    auto attribute = std::make_shared<OTWidgetAttribute>();
    attribute->decodeWidgetKeys(coder);
    return attribute;
}

std::string OTWidgetAttribute::description() const {
    const OTLogArgument arguments[] = {
        text_, defaultText_, color_ ? color_->description() : std::optional<std::string>(),
        backgroundColor_ ? backgroundColor_->description() : std::optional<std::string>(), size_};
    return OTLogFormatter::format("text:%@,defaultText:%@,color:%@,backgroundColor:%@,size:%f", arguments);
}

}  // namespace corvane
