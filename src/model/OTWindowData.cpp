#include "model/OTWindowData.h"

#include <nlohmann/json.hpp>

#include "foundation/OTDescription.h"
#include "foundation/OTJSONValue.h"
#include "foundation/OTKeyedArchiver.h"
#include "foundation/OTLogFormatter.h"
#include "foundation/OTText.h"
#include "model/OTPicture.h"
#include "services/OTUtils.h"

namespace corvane {

namespace {
// An available trigger condition, or nothing.
std::shared_ptr<OTEvent> conditionAt(const nlohmann::json& dic, const char* key) {
    auto event = std::make_shared<OTEvent>();
    const auto it = dic.find(key);
    event->setModelWithDic(it == dic.end() ? nlohmann::json() : *it);
    return event->available() ? event : nullptr;
}

template <class T>
std::shared_ptr<T> attributeAt(const nlohmann::json& dic, const char* key, bool onlyForObjects) {
    const auto it = dic.find(key);
    const bool isObject = it != dic.end() && it->is_object();
    if (onlyForObjects && !isObject) return nullptr;
    auto attribute = std::make_shared<T>();
    if (it != dic.end()) attribute->setModelWithDic(*it);
    return attribute;
}

template <class T>
std::string describe(const std::shared_ptr<T>& object) {
    return object ? object->description() : std::string("(null)");
}
}  // namespace

void OTWindowData::setModelWithDic(const nlohmann::json& dic) {
    OTDataModel::setModelWithDic(dic);
    if (!dic.is_object()) return;
    changed();
    // Ids are texts on the wire; a numeric id is taken by its decimal text.
    if (const auto it = dic.find("id"); it != dic.end()) {
        windowId_ =
            it->is_number() ? std::optional<std::string>(OTDescription::numberText(*it)) : OTJSONValue::text(*it);
    }
    count_ = OTJSONValue::integerAt(dic, "count");
    style_ = OTJSONValue::integerAt(dic, "style");
    type_ = OTJSONValue::integerAt(dic, "type");
    createTime_ = OTJSONValue::textAt(dic, "createTime");
    changeTime_ = OTJSONValue::textAt(dic, "changeTime");
    startTime_ = OTJSONValue::textAt(dic, "startTime");
    endTime_ = OTJSONValue::textAt(dic, "endTime");
    if (auto link = OTJSONValue::textAt(dic, "clickEvent")) eventLink_ = OTText::trimmed(*link, false);
    event_ = conditionAt(dic, "event");
    preEvent_ = conditionAt(dic, "preEvent");
    if (const auto it = dic.find("preEvents"); it != dic.end() && it->is_array() && !it->empty()) {
        preEvents_.clear();
        for (const auto& element : *it) {
            auto event = std::make_shared<OTEvent>();
            event->setModelWithDic(element);
            preEvents_.push_back(std::move(event));
        }
    }
    closeDialogType_ = OTJSONValue::integerAt(dic, "closeDialogType");
    h5Url_ = OTJSONValue::textAt(dic, "h5Url");
    if (auto picture = OTJSONValue::textAt(dic, "picture")) picture_ = OTPicture::addressText(*picture);
    title_ = attributeAt<OTTextAttribute>(dic, "title", false);
    content_ = attributeAt<OTTextAttribute>(dic, "content", false);
    leftBtnAttribute_ = attributeAt<OTButtonAttribute>(dic, "buttonLeft", true);
    middleBtnAttribute_ = attributeAt<OTButtonAttribute>(dic, "buttonMiddle", true);
    rightBtnAttribute_ = attributeAt<OTButtonAttribute>(dic, "buttonRight", true);
    if (const auto it = dic.find("dialogRule"); it != dic.end() && it->is_array() && !it->empty()) {
        clickRule_ = std::make_shared<OTWindowRule>();
        clickRule_->setModelWithDic((*it)[0]);
        if (it->size() >= 2) {
            closeRule_ = std::make_shared<OTWindowRule>();
            closeRule_->setModelWithDic((*it)[1]);
        }
    }
}

std::int64_t OTWindowData::windowIdIntegerValue() const { return windowId_ ? OTText::integerValue(*windowId_) : 0; }

std::shared_ptr<OTEvent> OTWindowData::event() const {
    if (event_) return event_;
    if (!preEvents_.empty()) return preEvents_.back();
    return nullptr;
}

void OTWindowData::replacePropertiesWithDic(const nlohmann::json& properties) {
    if (!properties.is_object()) return;
    changed();
    const std::shared_ptr<OTWidgetAttribute> items[] = {title_, content_, leftBtnAttribute_, middleBtnAttribute_,
                                                        rightBtnAttribute_};
    for (const auto& item : items) {
        if (item) _replacePropertiesWithItemAttribute(*item, properties);
    }
}

std::shared_ptr<OTWindowData> OTWindowData::filledWithProperties(const nlohmann::json& properties) const {
    auto copy = std::make_shared<OTWindowData>(*this);
    // The filled parts get copies of their own; everything else stays shared and unchanged.
    auto own = [](auto& attribute) {
        if (attribute)
            attribute = std::make_shared<typename std::decay_t<decltype(attribute)>::element_type>(*attribute);
    };
    own(copy->title_);
    own(copy->content_);
    own(copy->leftBtnAttribute_);
    own(copy->middleBtnAttribute_);
    own(copy->rightBtnAttribute_);
    copy->replacePropertiesWithDic(properties);
    return copy;
}

std::shared_ptr<OTWindowData> OTWindowData::advancedSequence() const {
    auto copy = std::make_shared<OTWindowData>(*this);
    if (!copy->preEvents_.empty()) copy->preEvents_.erase(copy->preEvents_.begin());
    return copy;
}

void OTWindowData::_replacePropertiesWithItemAttribute(OTWidgetAttribute& item, const nlohmann::json& xcontext) {
    const auto placeholders = OTUtils::getStringInBracesWithString(item.text());
    for (const auto& placeholder : placeholders) {
        if (placeholder.size() == 3) continue;
        const std::string inner = placeholder.substr(2, placeholder.size() - 3);
        if (inner.rfind("event", 0) != 0) continue;
        const std::string name = inner.substr(inner.rfind('.') == std::string::npos ? 0 : inner.rfind('.') + 1);
        std::string replacement;
        if (xcontext.is_object()) {
            if (const auto it = xcontext.find(name); it != xcontext.end()) replacement = OTDescription::describe(*it);
        }
        const std::string text = item.text().value_or("");
        if (!replacement.empty()) {
            item.setText(OTText::replacingOccurrences(text, placeholder, replacement));
        } else if (item.defaultText() && !item.defaultText()->empty()) {
            // The default text stands in for the whole text, and the walk of this item ends.
            item.setText(item.defaultText());
            return;
        } else {
            item.setText(OTText::replacingOccurrences(text, placeholder, ""));
        }
    }
}

const std::string& OTWindowData::keptDescription() const {
    return description_.get([this] { return makeDescription(); });
}

std::string OTWindowData::makeDescription() const {
    nlohmann::json preEvents = nlohmann::json::array();
    for (const auto& event : preEvents_) preEvents.push_back(describe(event));
    const OTLogArgument arguments[] = {windowId_,
                                       count_,
                                       style_,
                                       type_,
                                       createTime_,
                                       changeTime_,
                                       startTime_,
                                       endTime_,
                                       eventLink_,
                                       describe(event_),
                                       describe(preEvent_),
                                       OTDescription::describe(preEvents),
                                       closeDialogType_,
                                       h5Url_,
                                       picture_,
                                       describe(title_),
                                       describe(content_),
                                       describe(clickRule_),
                                       describe(closeRule_)};
    return OTLogFormatter::format(
        "windowId:%@,count:%d,style:%d,type:%d,createTime:%@,changeTime:%@,startTime:%@,endTime:%@,eventLink:%@,"
        "event:%@,preEvent:%@,preEvents:%@,closeDialogType:%d,h5Url:%@,picture:%@,title:%@,content:%@,clickRule:%@,"
        "closeRule:%@",
        arguments);
}

void OTWindowData::encodeWithCoder(OTKeyedArchiver& coder) const {
    OTDataModel::encodeWithCoder(coder);
    coder.encodeObject(windowId_, "windowId");
    coder.encodeInteger(count_, "count");
    coder.encodeInteger(style_, "style");
    coder.encodeInteger(type_, "type");
    coder.encodeObject(createTime_, "createTime");
    coder.encodeObject(changeTime_, "changeTime");
    coder.encodeObject(startTime_, "startTime");
    coder.encodeObject(endTime_, "endTime");
    coder.encodeObject(eventLink_, "eventLink");
    coder.encodeObject(std::shared_ptr<const OTCoding>(event_), "event");
    coder.encodeObject(std::shared_ptr<const OTCoding>(preEvent_), "preEvent");
    if (!preEvents_.empty()) coder.encodeObjects(preEvents_, "preEvents");
    coder.encodeObject(h5Url_, "h5Url");
    coder.encodeObject(picture_, "picture");
    coder.encodeObject(std::shared_ptr<const OTCoding>(title_), "title");
    coder.encodeObject(std::shared_ptr<const OTCoding>(content_), "content");
    coder.encodeObject(std::shared_ptr<const OTCoding>(leftBtnAttribute_), "leftBtnAttribute");
    coder.encodeObject(std::shared_ptr<const OTCoding>(middleBtnAttribute_), "middleBtnAttribute");
    coder.encodeObject(std::shared_ptr<const OTCoding>(rightBtnAttribute_), "rightBtnAttribute");
    coder.encodeInteger(closeDialogType_, "closeDialogType");
    coder.encodeObject(std::shared_ptr<const OTCoding>(clickRule_), "clickRule");
    coder.encodeObject(std::shared_ptr<const OTCoding>(closeRule_), "closeRule");
}

const char* OTWindowData::styleLabel(std::int64_t style) {
    switch (style) {
        case 1: return "图片弹窗";
        case 2: return "图文混合弹窗";
        case 3: return "文本弹窗";
        case 4: return "H5 弹窗";
        default: return "";
    }
}

std::shared_ptr<OTWindowData> OTWindowData::initWithCoder(const OTKeyedUnarchiver& coder) {
    auto data = std::make_shared<OTWindowData>();
    data->windowId_ = coder.decodeStringForKey("windowId");
    data->count_ = coder.decodeIntegerForKey("count");
    data->style_ = coder.decodeIntegerForKey("style");
    data->type_ = coder.decodeIntegerForKey("type");
    data->createTime_ = coder.decodeStringForKey("createTime");
    data->changeTime_ = coder.decodeStringForKey("changeTime");
    data->startTime_ = coder.decodeStringForKey("startTime");
    data->endTime_ = coder.decodeStringForKey("endTime");
    data->eventLink_ = coder.decodeStringForKey("eventLink");
    data->event_ = coder.decodeObjectOfClass<OTEvent>("event");
    data->preEvent_ = coder.decodeObjectOfClass<OTEvent>("preEvent");
    data->preEvents_ =
        coder.decodeArrayOfObjectsOfClass<OTEvent>("preEvents").value_or(std::vector<std::shared_ptr<OTEvent>>{});
    data->h5Url_ = coder.decodeStringForKey("h5Url");
    data->picture_ = coder.decodeStringForKey("picture");
    data->title_ = coder.decodeObjectOfClass<OTTextAttribute>("title");
    data->content_ = coder.decodeObjectOfClass<OTTextAttribute>("content");
    data->leftBtnAttribute_ = coder.decodeObjectOfClass<OTButtonAttribute>("leftBtnAttribute");
    data->middleBtnAttribute_ = coder.decodeObjectOfClass<OTButtonAttribute>("middleBtnAttribute");
    data->rightBtnAttribute_ = coder.decodeObjectOfClass<OTButtonAttribute>("rightBtnAttribute");
    data->closeDialogType_ = coder.decodeIntegerForKey("closeDialogType");
    data->clickRule_ = coder.decodeObjectOfClass<OTWindowRule>("clickRule");
    data->closeRule_ = coder.decodeObjectOfClass<OTWindowRule>("closeRule");
    return data;
}

}  // namespace corvane
