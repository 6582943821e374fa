#include "services/OTUserConfig.h"

#include <nlohmann/json.hpp>

#include "foundation/OTJSONValue.h"
#include "platform/OTEnvironment.h"
#include "services/OTUserDefaults.h"
#include "services/OTUserShare.h"
#include "services/OTUtils.h"

namespace corvane {

namespace {
OTUserDefaults& defaults() { return OTUserDefaults::standardUserDefaults(); }
OTUtils::Date now() { return OTEnvironment::current()->clock().now(); }

}  // namespace

std::shared_ptr<OTUserConfig> OTUserConfig::defaultConfig() {
    return OTEnvironment::current()->singleton<OTUserConfig>([] { return std::make_shared<OTUserConfig>(); });
}

std::shared_ptr<OTUserConfig> OTUserConfig::configWithGroupIdentifier(
    const std::optional<std::string>& groupIdentifier) {
    if (groupIdentifier && !groupIdentifier->empty()) groupIdentifier_.set(groupIdentifier);
    return defaultConfig();
}

std::shared_ptr<OTUserConfig> OTUserConfig::configWithDictionary(const nlohmann::json& dictionary) {
    auto config = defaultConfig();
    config->applyDictionary(dictionary);
    return config;
}

void OTUserConfig::applyDictionary(const nlohmann::json& dictionary) {
    if (!dictionary.is_object()) return;
    if (const auto it = dictionary.find("dayDialogMaxCount"); it != dictionary.end()) {
        if (auto value = OTJSONValue::integerValue(*it)) setMaxDailyPopWindowCount(static_cast<std::uint64_t>(*value));
    }
    if (const auto it = dictionary.find("intervalDay"); it != dictionary.end()) {
        if (auto value = OTJSONValue::integerValue(*it)) setIntervalDay(static_cast<std::uint64_t>(*value));
    }
}

bool OTUserConfig::dataPulledToday() const { return OTUtils::isSameDay(now(), lastIPhoneUpdateTime()); }

std::optional<std::string> OTUserConfig::readShared(const char* key,
                                                    OTLocked<std::optional<std::string>>& cache) const {
    auto value = OTUserShare::share()->stringForKey(key, groupIdentifier().value_or(""));
    cache.set(value);
    return value;
}

void OTUserConfig::writeShared(const char* key, const std::optional<std::string>& value,
                               OTLocked<std::optional<std::string>>& cache) {
    cache.set(value);
    OTUserShare::share()->setObject(value ? nlohmann::json(*value) : nlohmann::json(), key,
                                    groupIdentifier().value_or(""));
}

std::optional<std::string> OTUserConfig::token() const { return readShared(kTokenKey, token_); }
void OTUserConfig::setToken(const std::optional<std::string>& value) { writeShared(kTokenKey, value, token_); }
std::optional<std::string> OTUserConfig::userId() const { return readShared(kUserIdKey, userId_); }
void OTUserConfig::setUserId(const std::optional<std::string>& value) { writeShared(kUserIdKey, value, userId_); }
std::optional<std::string> OTUserConfig::appId() const { return readShared(kAppIdKey, appId_); }
void OTUserConfig::setAppId(const std::optional<std::string>& value) { writeShared(kAppIdKey, value, appId_); }

std::optional<OTUserConfig::Date> OTUserConfig::lastIPhoneUpdateTime() const {
    return defaults().dateForKey(kLastUpdateTimeKey);
}

void OTUserConfig::setLastIPhoneUpdateTime(Date value) {
    defaults().setDate(value, kLastUpdateTimeKey);
    defaults().synchronize();
}

std::optional<OTUserConfig::Date> OTUserConfig::lastBackgroundUpdateTime() const {
    return defaults().dateForKey(kLastBackgroundUpdateTimeKey);
}

void OTUserConfig::setLastBackgroundUpdateTime(Date value) {
    defaults().setDate(value, kLastBackgroundUpdateTimeKey);
    defaults().synchronize();
}

std::uint64_t OTUserConfig::dailyPopWindowCount() const {
    if (!OTUtils::isSameDay(now(), dailyPopWindowCountMarkTime())) return 0;
    return static_cast<std::uint64_t>(defaults().integerForKey(kDailyCountKey));
}

void OTUserConfig::setDailyPopWindowCount(std::uint64_t value) {
    // The count and its day reach the file together: a crash between two writes would leave a
    // count under an older day, which reads as a new day with nothing shown.
    defaults().setValues({{kDailyCountKey, OTPropertyList(value)}, {kDailyCountMarkTimeKey, OTPropertyList(now())}});
    defaults().synchronize();
}

OTUserConfig::Date OTUserConfig::dailyPopWindowCountMarkTime() const {
    return defaults().dateForKey(kDailyCountMarkTimeKey).value_or(now());
}

std::uint64_t OTUserConfig::maxDailyPopWindowCount() const {
    const auto stored = static_cast<std::uint64_t>(defaults().integerForKey(kMaxDailyCountKey));
    return stored == 0 ? kUnlimited : stored;
}

void OTUserConfig::setMaxDailyPopWindowCount(std::uint64_t value) {
    defaults().setValue(OTPropertyList(value), kMaxDailyCountKey);
    defaults().synchronize();
}

void OTUserConfig::clearDialog() {
    defaults().setValue(OTPropertyList(0), kDailyCountKey);
    OTEnvironment::current()->console().print("corvane->setUserId");
    defaults().synchronize();
}

}  // namespace corvane
