#include "model/OTButtonAttribute.h"

#include <nlohmann/json.hpp>

#include "foundation/OTKeyedArchiver.h"
#include "foundation/OTText.h"
#include "platform/OTEnvironment.h"

namespace corvane {

OTButtonAttribute::OTButtonAttribute() {
    setColor(OTColor::fromHexText(kDefaultColor));
    setBackgroundColor(OTColor::fromHexText(kDefaultBackground));
    setSize(defaultSize(OTEnvironment::current()->device().screenWidth));
}

void OTButtonAttribute::setModelWithDic(const nlohmann::json& dic) {
    OTWidgetAttribute::setModelWithDic(dic);
    if (!dic.is_object()) return;
    const auto it = dic.find("clickEvent");
    if (it != dic.end() && it->is_string()) eventLink_ = OTText::trimmed(it->get_ref<const std::string&>(), false);
}

void OTButtonAttribute::encodeWithCoder(OTKeyedArchiver& coder) const {
    OTWidgetAttribute::encodeWithCoder(coder);
    coder.encodeObject(eventLink_, "eventLink");
}

std::shared_ptr<OTButtonAttribute> OTButtonAttribute::initWithCoder(const OTKeyedUnarchiver& coder) {
    auto attribute = std::make_shared<OTButtonAttribute>();
    attribute->decodeWidgetKeys(coder);
    attribute->eventLink_ = coder.decodeStringForKey("eventLink");
    return attribute;
}

std::string OTButtonAttribute::description() const {
    return OTWidgetAttribute::description() + ",eventLink:" + eventLink_.value_or("(null)");
}

}  // namespace corvane
