#pragma once

#include <cstdint>
#include <memory>
#include <nlohmann/json_fwd.hpp>
#include <optional>
#include <string>
#include <vector>

#include "foundation/OTKeyedUnarchiver.h"
#include "model/OTDataModel.h"
#include "model/OTEvent.h"
#include "model/OTPicture.h"
#include "model/OTTextAttribute.h"

namespace corvane {

// One banner campaign for one banner location: identity, validity times, click link, trigger
// conditions, an optional text and its media. `dataMD5` digests the displayed content, so that
// the banner record tree notices a changed campaign. Held as `const` once published in a list.
class OTBanner final : public OTDataModel {
public:
    static constexpr const char* kArchiveClassName = "OTBanner";
    // What the digest reads for an absent or null value, and for an absent end time.
    static constexpr const char* kMissingValue = "Nan";
    static constexpr const char* kMissingEndTime = "1997-01-01 00:00:00";

    // A non-dictionary leaves the banner as it was.
    void setModelWithDic(const nlohmann::json& dic) override;
    const char* archiveClassName() const override { return kArchiveClassName; }
    void encodeWithCoder(OTKeyedArchiver& coder) const override;
    static std::shared_ptr<OTBanner> initWithCoder(const OTKeyedUnarchiver& coder);

    // Everything but the digest: a copy digests as nothing until it is filled again.
    std::shared_ptr<OTBanner> copy() const;
    // Both ids present and equal, both locations equal.
    bool isEqual(const OTBanner& other) const;
    std::size_t hash() const;

    const std::optional<std::string>& bannerID() const { return bannerID_; }
    void setBannerID(std::optional<std::string> value) { bannerID_ = std::move(value); }
    // The id's integer value keys the banner's record node; 0 for an absent or non-numeric id.
    std::int64_t bannerIDIntegerValue() const;
    std::int64_t style() const { return style_; }
    void setStyle(std::int64_t value) { style_ = value; }
    const std::optional<std::string>& locationId() const { return locationId_; }
    void setLocationId(std::optional<std::string> value) { locationId_ = std::move(value); }
    const std::optional<std::string>& startTime() const { return startTime_; }
    void setStartTime(std::optional<std::string> value) { startTime_ = std::move(value); }
    const std::optional<std::string>& endTime() const { return endTime_; }
    void setEndTime(std::optional<std::string> value) { endTime_ = std::move(value); }
    const std::optional<std::string>& eventLink() const { return eventLink_; }
    void setEventLink(std::optional<std::string> value) { eventLink_ = std::move(value); }
    const std::shared_ptr<OTTextAttribute>& content() const { return content_; }
    void setContent(std::shared_ptr<OTTextAttribute> value) { content_ = std::move(value); }
    const std::vector<std::shared_ptr<OTPicture>>& pictures() const { return pictures_; }
    void setPictures(std::vector<std::shared_ptr<OTPicture>> value) { pictures_ = std::move(value); }
    const std::vector<std::string>& videos() const { return videos_; }
    void setVideos(std::vector<std::string> value) { videos_ = std::move(value); }
    const std::vector<std::shared_ptr<OTEvent>>& events() const { return events_; }
    void setEvents(std::vector<std::shared_ptr<OTEvent>> value) { events_ = std::move(value); }
    const std::string& dataMD5() const { return dataMD5_; }

    std::vector<std::string> pictureURLs() const;
    std::vector<std::string> pictureClickEventURLs() const;

private:
    static std::string digestOf(const nlohmann::json& dic);

    std::optional<std::string> bannerID_;
    std::int64_t style_ = 1;
    std::optional<std::string> locationId_;
    std::optional<std::string> startTime_;
    std::optional<std::string> endTime_;
    std::optional<std::string> eventLink_;
    std::shared_ptr<OTTextAttribute> content_;
    std::vector<std::shared_ptr<OTPicture>> pictures_;
    std::vector<std::string> videos_;
    std::vector<std::shared_ptr<OTEvent>> events_;
    std::string dataMD5_;
};

}  // namespace corvane
