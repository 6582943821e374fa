#pragma once

#include <chrono>
#include <cstdint>
#include <memory>
#include <nlohmann/json_fwd.hpp>
#include <optional>
#include <string>

#include "foundation/OTLocked.h"

namespace corvane {

// Per-user settings that outlive the process. Identity (token, user id, app id) lives in the app
// group's shared store under the current group identifier; times and the daily dialog counter live
// in the app's standard user defaults. Every read returns what the store holds at that moment.
class OTUserConfig {
public:
    using Date = std::chrono::system_clock::time_point;

    static constexpr std::uint64_t kUnlimited = 4294967295u;
    static constexpr const char* kTokenKey = "ot_token";
    static constexpr const char* kUserIdKey = "ot_xwho";
    static constexpr const char* kAppIdKey = "ot_appId";
    static constexpr const char* kLastUpdateTimeKey = "OTWindowDataLastUpdateTime";
    static constexpr const char* kLastBackgroundUpdateTimeKey = "OTWindowDataLastBackgroundUpdateTime";
    static constexpr const char* kDailyCountKey = "OTDailyPopWindowCount";
    static constexpr const char* kDailyCountMarkTimeKey = "OTDailyPopWindowCountMarkTime";
    static constexpr const char* kMaxDailyCountKey = "OTMaxDailyPopWindowCount";

    // Construction touches no store: the limit and times read their defaults while nothing is stored.
    static std::shared_ptr<OTUserConfig> defaultConfig();
    // Keeps a non-empty group as the shared store's domain; returns the shared object always.
    std::shared_ptr<OTUserConfig> configWithGroupIdentifier(const std::optional<std::string>& groupIdentifier);
    // Applies the server's "dayDialogMaxCount" and "intervalDay" when present.
    static std::shared_ptr<OTUserConfig> configWithDictionary(const nlohmann::json& dictionary);
    // The same, on this object.
    void applyDictionary(const nlohmann::json& dictionary);

    bool isNewUser() const { return isNewUser_.get(); }
    void setIsNewUser(bool value) { isNewUser_.set(value); }
    // Whether the campaigns were downloaded today.
    bool dataPulledToday() const;
    // Kept for the record only: the getter looks at the download time.
    void setDataPulledToday(bool value) { dataPulledToday_.set(value); }

    std::optional<std::string> token() const;
    void setToken(const std::optional<std::string>& value);
    std::optional<std::string> userId() const;
    void setUserId(const std::optional<std::string>& value);
    std::optional<std::string> appId() const;
    void setAppId(const std::optional<std::string>& value);

    std::optional<Date> lastIPhoneUpdateTime() const;
    void setLastIPhoneUpdateTime(Date value);
    std::optional<Date> lastBackgroundUpdateTime() const;
    void setLastBackgroundUpdateTime(Date value);

    // Dialogs shown since the start of the day of the last one; 0 on a later day.
    std::uint64_t dailyPopWindowCount() const;
    // Also moves the mark time to now.
    void setDailyPopWindowCount(std::uint64_t value);
    // The stored mark, or now when none is stored.
    Date dailyPopWindowCountMarkTime() const;
    // A stored 0 or nothing reads as no limit.
    std::uint64_t maxDailyPopWindowCount() const;
    void setMaxDailyPopWindowCount(std::uint64_t value);

    std::optional<std::string> deviceToken() const { return deviceToken_.get(); }
    void setDeviceToken(std::optional<std::string> value) { deviceToken_.set(std::move(value)); }
    std::uint64_t intervalDay() const { return intervalDay_.get(); }
    void setIntervalDay(std::uint64_t value) { intervalDay_.set(value); }
    std::optional<std::string> groupIdentifier() const { return groupIdentifier_.get(); }

    // The user changed: the daily counter starts again from 0.
    void clearDialog();

private:
    std::optional<std::string> readShared(const char* key, OTLocked<std::optional<std::string>>& cache) const;
    void writeShared(const char* key, const std::optional<std::string>& value,
                     OTLocked<std::optional<std::string>>& cache);

    OTLocked<bool> isNewUser_{false};
    OTLocked<bool> dataPulledToday_{false};
    mutable OTLocked<std::optional<std::string>> token_;
    mutable OTLocked<std::optional<std::string>> userId_;
    mutable OTLocked<std::optional<std::string>> appId_;
    OTLocked<std::optional<std::string>> deviceToken_;
    OTLocked<std::uint64_t> intervalDay_{0};
    OTLocked<std::optional<std::string>> groupIdentifier_;
};

}  // namespace corvane
