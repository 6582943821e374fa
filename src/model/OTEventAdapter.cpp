#include "model/OTEventAdapter.h"

#include "services/OTLogger.h"

namespace corvane {

nlohmann::json OTEventAdapter::specialProperties() const { return nullptr; }

std::optional<nlohmann::json> OTEventAdapter::adaptEvent(const nlohmann::json& event, std::int64_t sourceType) const {
    if (!event.is_object()) {
        OTLog(OTLogger::kLevelError, "事件适配失败，sourceEvent : %@，sourceTye : %@", event, sourceType);
        return std::nullopt;
    }
    if (sourceType == 0) return event;
    if (sourceType == 1) return _adaptSensorsAnalyticsEvent(event);
    return std::nullopt;
}

nlohmann::json OTEventAdapter::_adaptSensorsAnalyticsEvent(const nlohmann::json& event) const {
    nlohmann::json adapted = nlohmann::json::object();
    adapted["appid"] = "";
    auto copy = [&](const char* from, const char* to) {
        if (const auto it = event.find(from); it != event.end()) adapted[to] = *it;
    };
    copy("distinct_id", "xwho");
    copy("time", "xwhen");

    const auto type = event.find("type");
    const auto name = event.find("event");
    if (type != event.end() && *type == "profile_set") {
        adapted["xwhat"] = "$profile_set";
    } else if (type != event.end() && *type == "track") {
        static const std::pair<const char*, const char*> kRenamed[] = {
            {"$AppViewScreen", "$pageview"}, {"$AppClick", "$app_click"}, {"$AppStart", "$startup"}};
        if (name != event.end()) adapted["xwhat"] = *name;
        for (const auto& [from, to] : kRenamed) {
            if (name != event.end() && *name == from) adapted["xwhat"] = to;
        }
    }

    nlohmann::json context = nlohmann::json::object();
    if (const auto it = event.find("properties"); it != event.end() && it->is_object()) context = *it;
    const auto renames = specialProperties();
    if (renames.is_object()) {
        for (const auto& [from, to] : renames.items()) {
            const auto it = context.find(from);
            if (it == context.end() || !to.is_string()) continue;
            auto value = *it;
            context.erase(it);
            context[to.get<std::string>()] = std::move(value);
        }
    }
    adapted["xcontext"] = std::move(context);
    return adapted;
}

}  // namespace corvane
