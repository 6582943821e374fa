#include "model/OTConfigurationReader.h"

#include <nlohmann/json.hpp>

#include "corvane/CorvaneOtConfig.h"

namespace corvane {

namespace {
constexpr const char* kTextFields[] = {"appKey", "mainPage", "url", "applicationGroupIdentifier"};
constexpr const char* kNumberFields[] = {"envType", "logLevelType", "pushProvider"};
constexpr const char* kSwitchFields[] = {"pushClosed", "bannerClosed"};

template <std::size_t N>
bool isOneOf(const std::string& key, const char* const (&names)[N]) {
    for (const char* name : names) {
        if (key == name) return true;
    }
    return false;
}

std::string fieldProblem(const std::string& key, const char* kind) {
    return "configuration field \"" + key + "\" must be " + kind;
}

bool isWholeNumber(const nlohmann::json& value) {
    return value.is_number_unsigned() || (value.is_number_integer() && value.get<std::int64_t>() >= 0);
}
}  // namespace

bool OTConfigurationReader::apply(const nlohmann::json& object, CorvaneOtConfig& config, std::string& problem) {
    if (!object.is_object()) {
        problem = "the configuration is not an object";
        return false;
    }
    for (const auto& [key, value] : object.items()) {
        if (isOneOf(key, kTextFields)) {
            if (!value.is_string() && !value.is_null()) {
                problem = fieldProblem(key, "a text or null");
                return false;
            }
            const auto text = value.is_string() ? std::optional<std::string>(value.get<std::string>()) : std::nullopt;
            if (key == "appKey") config.setAppKey(text);
            else if (key == "mainPage") config.setMainPage(text);
            else if (key == "url") config.setUrl(text);
            else config.setApplicationGroupIdentifier(text);
        } else if (isOneOf(key, kNumberFields)) {
            if (!isWholeNumber(value)) {
                problem = fieldProblem(key, "a whole number not below 0");
                return false;
            }
            const auto number = value.get<std::uint64_t>();
            if (key == "envType") config.setEnvType(number);
            else if (key == "logLevelType") config.setLogLevelType(number);
            else config.setPushProvider(number);
        } else if (isOneOf(key, kSwitchFields)) {
            if (!value.is_boolean()) {
                problem = fieldProblem(key, "true or false");
                return false;
            }
            if (key == "pushClosed") config.setPushClosed(value.get<bool>());
            else config.setBannerClosed(value.get<bool>());
        }
    }
    return true;
}

bool OTConfigurationReader::knows(const std::string& key) {
    return isOneOf(key, kTextFields) || isOneOf(key, kNumberFields) || isOneOf(key, kSwitchFields);
}

}  // namespace corvane
