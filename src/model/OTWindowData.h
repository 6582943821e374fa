#pragma once

#include <cstdint>
#include <memory>
#include <nlohmann/json_fwd.hpp>
#include <optional>
#include <string>
#include <vector>

#include "foundation/OTCachedText.h"
#include "foundation/OTKeyedUnarchiver.h"
#include "model/OTButtonAttribute.h"
#include "model/OTDataModel.h"
#include "model/OTEvent.h"
#include "model/OTTextAttribute.h"
#include "model/OTWindowRule.h"

namespace corvane {

// One dialog campaign as the server sends it: identity and times, the trigger condition, usage
// rules for clicks and closes, texts, buttons and a picture or web page. Once published in a list a
// record is never changed: the engine holds it as `const`, and a sequence step or a filled showing
// is a new copy.
class OTWindowData final : public OTDataModel {
public:
    static constexpr const char* kArchiveClassName = "OTWindowData";

    // A non-dictionary leaves the record as it was.
    void setModelWithDic(const nlohmann::json& dic) override;
    const char* archiveClassName() const override { return kArchiveClassName; }
    void encodeWithCoder(OTKeyedArchiver& coder) const override;
    static std::shared_ptr<OTWindowData> initWithCoder(const OTKeyedUnarchiver& coder);
    // The name a dialog style is logged under; empty for an unknown style.
    static const char* styleLabel(std::int64_t style);
    std::string description() const { return keptDescription(); }
    // Worked out once per record: every event walked past the campaign logs it.
    const std::string& keptDescription() const;

    // The trigger condition: the campaign's own, else the last pre-event, else nothing.
    std::shared_ptr<OTEvent> event() const;
    // Fills "${event.name}" placeholders of the texts and buttons from the trigger's properties.
    // Only for a record nobody else holds yet: published campaigns are filled through a copy.
    void replacePropertiesWithDic(const nlohmann::json& properties);
    // A copy for one showing, its texts and buttons filled from the trigger's properties; the
    // campaign itself keeps its placeholders for the next showing.
    std::shared_ptr<OTWindowData> filledWithProperties(const nlohmann::json& properties) const;
    // A copy one step further along its sequence: the first pre-event met and dropped.
    std::shared_ptr<OTWindowData> advancedSequence() const;
    static void _replacePropertiesWithItemAttribute(OTWidgetAttribute& item, const nlohmann::json& xcontext);

    // The campaign id; its integer value keys the record tree node.
    const std::optional<std::string>& windowId() const { return windowId_; }
    void setWindowId(std::optional<std::string> value) {
        windowId_ = std::move(value);
        changed();
    }
    std::int64_t windowIdIntegerValue() const;
    std::int64_t count() const { return count_; }
    void setCount(std::int64_t value) {
        count_ = value;
        changed();
    }
    std::int64_t style() const { return style_; }
    void setStyle(std::int64_t value) {
        style_ = value;
        changed();
    }
    std::int64_t type() const { return type_; }
    void setType(std::int64_t value) {
        type_ = value;
        changed();
    }
    const std::optional<std::string>& createTime() const { return createTime_; }
    const std::optional<std::string>& changeTime() const { return changeTime_; }
    const std::optional<std::string>& startTime() const { return startTime_; }
    void setStartTime(std::optional<std::string> value) {
        startTime_ = std::move(value);
        changed();
    }
    const std::optional<std::string>& endTime() const { return endTime_; }
    void setEndTime(std::optional<std::string> value) {
        endTime_ = std::move(value);
        changed();
    }
    const std::optional<std::string>& eventLink() const { return eventLink_; }
    void setEventLink(std::optional<std::string> value) {
        eventLink_ = std::move(value);
        changed();
    }
    const std::shared_ptr<OTEvent>& storedEvent() const { return event_; }
    void setEvent(std::shared_ptr<OTEvent> value) {
        event_ = std::move(value);
        changed();
    }
    const std::shared_ptr<OTEvent>& preEvent() const { return preEvent_; }
    const std::vector<std::shared_ptr<OTEvent>>& preEvents() const { return preEvents_; }
    std::int64_t closeDialogType() const { return closeDialogType_; }
    void setCloseDialogType(std::int64_t value) {
        closeDialogType_ = value;
        changed();
    }
    const std::optional<std::string>& h5Url() const { return h5Url_; }
    void setH5Url(std::optional<std::string> value) {
        h5Url_ = std::move(value);
        changed();
    }
    const std::optional<std::string>& picture() const { return picture_; }
    void setPicture(std::optional<std::string> value) {
        picture_ = std::move(value);
        changed();
    }
    const std::shared_ptr<OTTextAttribute>& title() const { return title_; }
    const std::shared_ptr<OTTextAttribute>& content() const { return content_; }
    const std::shared_ptr<OTButtonAttribute>& leftBtnAttribute() const { return leftBtnAttribute_; }
    const std::shared_ptr<OTButtonAttribute>& middleBtnAttribute() const { return middleBtnAttribute_; }
    const std::shared_ptr<OTButtonAttribute>& rightBtnAttribute() const { return rightBtnAttribute_; }
    const std::shared_ptr<OTWindowRule>& clickRule() const { return clickRule_; }
    void setClickRule(std::shared_ptr<OTWindowRule> value) {
        clickRule_ = std::move(value);
        changed();
    }
    const std::shared_ptr<OTWindowRule>& closeRule() const { return closeRule_; }
    void setCloseRule(std::shared_ptr<OTWindowRule> value) {
        closeRule_ = std::move(value);
        changed();
    }

private:
    std::string makeDescription() const;
    void changed() { description_.reset(); }

    std::optional<std::string> windowId_;
    std::int64_t count_ = 0;
    std::int64_t style_ = 0;
    std::int64_t type_ = 0;
    std::optional<std::string> createTime_;
    std::optional<std::string> changeTime_;
    std::optional<std::string> startTime_;
    std::optional<std::string> endTime_;
    std::optional<std::string> eventLink_;
    std::shared_ptr<OTEvent> event_;
    std::shared_ptr<OTEvent> preEvent_;
    std::vector<std::shared_ptr<OTEvent>> preEvents_;
    std::int64_t closeDialogType_ = 0;
    std::optional<std::string> h5Url_;
    std::optional<std::string> picture_;
    std::shared_ptr<OTTextAttribute> title_;
    std::shared_ptr<OTTextAttribute> content_;
    std::shared_ptr<OTButtonAttribute> leftBtnAttribute_;
    std::shared_ptr<OTButtonAttribute> middleBtnAttribute_;
    std::shared_ptr<OTButtonAttribute> rightBtnAttribute_;
    std::shared_ptr<OTWindowRule> clickRule_;
    std::shared_ptr<OTWindowRule> closeRule_;
    OTCachedText description_;
};

}  // namespace corvane
