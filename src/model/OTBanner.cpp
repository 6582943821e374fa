#include "model/OTBanner.h"

#include <functional>
#include <nlohmann/json.hpp>

#include "foundation/OTDescription.h"
#include "foundation/OTJSONValue.h"
#include "foundation/OTKeyedArchiver.h"
#include "foundation/OTText.h"
#include "services/OTUtils.h"

namespace corvane {

std::string OTBanner::digestOf(const nlohmann::json& dic) {
    auto entry = [&dic](const char* key, const char* missing) {
        const auto it = dic.find(key);
        return it == dic.end() || it->is_null() ? nlohmann::json(missing) : *it;
    };
    const nlohmann::json digested = {
        {"content", entry("content", kMissingValue)},     {"clickEvent", entry("clickEvent", kMissingValue)},
        {"events", entry("events", kMissingValue)},       {"endTime", entry("endTime", kMissingEndTime)},
        {"startTime", entry("startTime", kMissingValue)}, {"resource", entry("resource", kMissingValue)}};
    return OTUtils::md5(OTUtils::ot_dictionaryToJson(digested)).value_or("");
}

void OTBanner::setModelWithDic(const nlohmann::json& dic) {
    OTDataModel::setModelWithDic(dic);
    if (!dic.is_object()) return;
    dataMD5_ = digestOf(dic);

    if (const auto it = dic.find("id"); it != dic.end()) {
        // Ids are texts on the wire; a numeric id is taken by its decimal text.
        auto id = it->is_number() ? std::optional<std::string>(OTDescription::numberText(*it)) : OTJSONValue::text(*it);
        if (id && !id->empty()) bannerID_ = std::move(id);
    }
    const auto style = dic.find("style");
    style_ = style == dic.end() || style->is_null() ? 1 : OTJSONValue::integerAt(dic, "style");
    locationId_ = OTJSONValue::textAt(dic, "locationId");
    startTime_ = OTJSONValue::textAt(dic, "startTime");
    endTime_ = OTJSONValue::textAt(dic, "endTime");
    eventLink_ = OTJSONValue::textAt(dic, "clickEvent");

    content_ = std::make_shared<OTTextAttribute>();
    if (const auto it = dic.find("content"); it != dic.end()) content_->setModelWithDic(*it);
    content_->setAlignmentType("left");

    pictures_.clear();
    videos_.clear();
    if (const auto resource = dic.find("resource"); resource != dic.end() && resource->is_object()) {
        if (const auto list = resource->find("picture"); list != resource->end() && list->is_array()) {
            for (const auto& element : *list) {
                auto picture = std::make_shared<OTPicture>();
                picture->setModelWithDic(element);
                pictures_.push_back(std::move(picture));
            }
        }
        if (const auto list = resource->find("video"); list != resource->end() && list->is_array()) {
            for (const auto& element : *list) {
                const auto url = element.is_object() ? OTJSONValue::textAt(element, "url") : std::nullopt;
                if (url) videos_.push_back(OTPicture::addressText(OTText::trimmed(*url, false)));
            }
        }
    }

    if (const auto it = dic.find("events"); it != dic.end() && it->is_array() && !it->empty()) {
        events_.clear();
        for (const auto& element : *it) {
            auto event = std::make_shared<OTEvent>();
            event->setModelWithDic(element);
            events_.push_back(std::move(event));
        }
    }
}

std::int64_t OTBanner::bannerIDIntegerValue() const { return bannerID_ ? OTText::integerValue(*bannerID_) : 0; }

std::shared_ptr<OTBanner> OTBanner::copy() const {
    auto banner = std::make_shared<OTBanner>(*this);
    banner->dataMD5_.clear();
    return banner;
}

bool OTBanner::isEqual(const OTBanner& other) const {
    return bannerID_ && other.bannerID_ && *bannerID_ == *other.bannerID_ && locationId_ == other.locationId_;
}

std::size_t OTBanner::hash() const {
    const std::hash<std::string> text;
    return text(bannerID_.value_or("")) ^ text(locationId_.value_or(""));
}

std::vector<std::string> OTBanner::pictureURLs() const {
    std::vector<std::string> urls;
    urls.reserve(pictures_.size());
    for (const auto& picture : pictures_) urls.push_back(picture->url());
    return urls;
}

std::vector<std::string> OTBanner::pictureClickEventURLs() const {
    std::vector<std::string> links;
    links.reserve(pictures_.size());
    for (const auto& picture : pictures_) links.push_back(picture->clickEvent());
    return links;
}

void OTBanner::encodeWithCoder(OTKeyedArchiver& coder) const {
    OTDataModel::encodeWithCoder(coder);
    coder.encodeObject(bannerID_, "bannerID");
    coder.encodeInteger(style_, "style");
    coder.encodeObject(locationId_, "locationId");
    coder.encodeObject(startTime_, "startTime");
    coder.encodeObject(endTime_, "endTime");
    coder.encodeObject(eventLink_, "eventLink");
    coder.encodeObject(std::shared_ptr<const OTCoding>(content_), "content");
    coder.encodeObjects(pictures_, "pictures");
    coder.encodeObject(nlohmann::json(videos_), "videos");
    coder.encodeObjects(events_, "events");
    coder.encodeObject(std::optional<std::string>(dataMD5_), "dataMD5");
}

std::shared_ptr<OTBanner> OTBanner::initWithCoder(const OTKeyedUnarchiver& coder) {
    auto banner = std::make_shared<OTBanner>();
    banner->bannerID_ = coder.decodeStringForKey("bannerID");
    banner->style_ = coder.decodeIntegerForKey("style");
    banner->locationId_ = coder.decodeStringForKey("locationId");
    banner->startTime_ = coder.decodeStringForKey("startTime");
    banner->endTime_ = coder.decodeStringForKey("endTime");
    banner->eventLink_ = coder.decodeStringForKey("eventLink");
    banner->content_ = coder.decodeObjectOfClass<OTTextAttribute>("content");
    if (!banner->content_) banner->content_ = std::make_shared<OTTextAttribute>();
    banner->pictures_ =
        coder.decodeArrayOfObjectsOfClass<OTPicture>("pictures").value_or(std::vector<std::shared_ptr<OTPicture>>{});
    if (const auto videos = coder.decodeJsonForKey("videos"); videos && videos->is_array()) {
        for (const auto& video : *videos) {
            if (video.is_string()) banner->videos_.push_back(video.get<std::string>());
        }
    }
    banner->events_ =
        coder.decodeArrayOfObjectsOfClass<OTEvent>("events").value_or(std::vector<std::shared_ptr<OTEvent>>{});
    banner->dataMD5_ = coder.decodeStringForKey("dataMD5").value_or("");
    return banner;
}

}  // namespace corvane
