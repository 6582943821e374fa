#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>

#include "foundation/OTKeyedUnarchiver.h"
#include "model/OTDataModel.h"

namespace corvane {

// A dialog campaign's usage rule, one for clicks and one for closes.
class OTWindowRule final : public OTDataModel {
public:
    static constexpr const char* kArchiveClassName = "OTWindowRule";
    static constexpr std::int64_t kUnlimited = 4294967295;

    void setModelWithDic(const nlohmann::json& dic) override;
    const char* archiveClassName() const override { return kArchiveClassName; }
    void encodeWithCoder(OTKeyedArchiver& coder) const override;
    static std::shared_ptr<OTWindowRule> initWithCoder(const OTKeyedUnarchiver& coder);
    std::string description() const;

    const std::optional<std::string>& eventType() const { return eventType_; }
    void setEventType(std::optional<std::string> value) { eventType_ = std::move(value); }
    std::int64_t type() const { return type_; }
    void setType(std::int64_t value) { type_ = value; }
    // Unlimited (4294967295) for a type-3 rule, whatever the server says.
    std::int64_t count() const { return count_; }
    void setCount(std::int64_t value) { count_ = value; }
    std::int64_t intervalValue() const { return intervalValue_; }
    void setIntervalValue(std::int64_t value) { intervalValue_ = value; }
    const std::optional<std::string>& intervalType() const { return intervalType_; }
    void setIntervalType(std::optional<std::string> value) { intervalType_ = std::move(value); }

private:
    std::optional<std::string> eventType_;
    std::int64_t type_ = 0;
    std::int64_t count_ = 0;
    std::int64_t intervalValue_ = 0;
    std::optional<std::string> intervalType_;
};

}  // namespace corvane
