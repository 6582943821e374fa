#include "model/OTTextAttribute.h"

#include <nlohmann/json.hpp>

#include "foundation/OTKeyedArchiver.h"

namespace corvane {

void OTTextAttribute::setModelWithDic(const nlohmann::json& dic) {
    OTWidgetAttribute::setModelWithDic(dic);
    if (!dic.is_object()) return;
    const auto it = dic.find("alignmentType");
    if (it != dic.end() && it->is_string() && !it->get_ref<const std::string&>().empty()) {
        alignmentType_ = it->get<std::string>();
    }
}

void OTTextAttribute::encodeWithCoder(OTKeyedArchiver& coder) const {
    OTWidgetAttribute::encodeWithCoder(coder);
    coder.encodeObject(alignmentType_, "alignmentType");
}

std::shared_ptr<OTTextAttribute> OTTextAttribute::initWithCoder(const OTKeyedUnarchiver& coder) {
    auto attribute = std::make_shared<OTTextAttribute>();
    attribute->decodeWidgetKeys(coder);
    attribute->alignmentType_ = coder.decodeStringForKey("alignmentType");
    return attribute;
}

std::string OTTextAttribute::description() const {
    return OTWidgetAttribute::description() + ",alignmentType:" + alignmentType_.value_or("(null)");
}

}  // namespace corvane
