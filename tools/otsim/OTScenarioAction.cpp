#include "OTScenarioAction.h"

#include <cmath>
#include <map>
#include <vector>

#include "foundation/OTJSONLimits.h"
#include "model/OTConfigurationReader.h"

namespace corvane {

namespace {
enum class Kind { Text, Number, Integer, Boolean, Object, List, Any };

// How far from the screen a point of a drag may lie.
constexpr double kMaxPoint = 100000;

struct Field {
    const char* name;
    Kind kind;
    bool required = false;
};

const std::map<std::string, std::vector<Field>, std::less<>>& schema() {
    static const std::map<std::string, std::vector<Field>, std::less<>> kSchema = {
        {"app", {{"pages", Kind::List}, {"tabs", Kind::List}}},
        {"observe", {{"group", Kind::Text}}},
        {"start", {{"config", Kind::Object}}},
        {"profile", {{"profile", Kind::Any, true}}},
        {"event", {{"event", Kind::Any, true}}},
        {"page", {{"page", Kind::Text}, {"state", Kind::Text}}},
        {"tap", {{"element", Kind::Text}}},
        {"wait", {{"seconds", Kind::Number}}},
        {"waitFor", {{"type", Kind::Text}, {"path", Kind::Text}, {"timeout", Kind::Number}}},
        {"network", {{"state", Kind::Text}}},
        {"pushTrack", {{"type", Kind::Integer}, {"msg", Kind::Any}}},
        {"dialogVisible", {{"visible", Kind::Boolean}}},
        {"fault",
         {{"path", Kind::Text, true},
          {"count", Kind::Integer},
          {"status", Kind::Integer},
          {"code", Kind::Integer},
          {"delay", Kind::Number},
          {"drop", Kind::Boolean}}},
        {"dismiss", {}},
        {"banner",
         {{"locationId", Kind::Text, true}, {"container", Kind::Text}, {"hidesWhenNotAvailable", Kind::Boolean}}},
        {"tapBanner", {{"locationId", Kind::Text, true}, {"item", Kind::Integer}}},
        {"getBanner", {{"locationId", Kind::Text, true}}},
        {"pushToken", {{"hex", Kind::Text}, {"text", Kind::Text}, {"provider", Kind::Integer}, {"group", Kind::Text}}},
        {"weChat", {{"unionId", Kind::Text}, {"appId", Kind::Text}, {"openId", Kind::Text}}},
        {"mailLogs", {{"to", Kind::Text, true}}},
        {"clock", {{"advance", Kind::Number, true}}},
        {"pageTag", {{"on", Kind::Boolean, true}}},
        {"dragTagBall", {{"to", Kind::List, true}}},
        {"tapTagBall", {}},
        {"tagAlias", {{"alias", Kind::Text}, {"native", Kind::Boolean}, {"web", Kind::Boolean}}},
        {"campaigns", {{"count", Kind::Integer, true}, {"campaign", Kind::Object, true}}},
        {"events", {{"count", Kind::Integer, true}, {"every", Kind::Number}, {"event", Kind::Object, true}}},
    };
    return kSchema;
}

const char* kindName(Kind kind) {
    switch (kind) {
        case Kind::Text: return "a text";
        case Kind::Number: return "a number";
        case Kind::Integer: return "an integer";
        case Kind::Boolean: return "true or false";
        case Kind::Object: return "an object";
        case Kind::List: return "a list";
        case Kind::Any: return "a value";
    }
    return "a value";
}

bool hasKind(const nlohmann::json& value, Kind kind) {
    switch (kind) {
        case Kind::Text: return value.is_string();
        case Kind::Number: return value.is_number() && std::isfinite(value.get<double>());
        case Kind::Integer: return value.is_number_integer() || value.is_number_unsigned();
        case Kind::Boolean: return value.is_boolean();
        case Kind::Object: return value.is_object();
        case Kind::List: return value.is_array();
        case Kind::Any: return true;
    }
    return false;
}

bool isListOfTexts(const nlohmann::json& value) {
    if (!value.is_array()) return false;
    for (const auto& item : value) {
        if (!item.is_string()) return false;
    }
    return true;
}

// What the fields of an action must hold beyond their kinds; empty when they do.
std::string checkContents(const std::string& name, const nlohmann::json& action) {
    if (name == "app") {
        for (const auto& page : action.value("pages", nlohmann::json::array())) {
            if (!page.is_object() || !page.contains("name") || !page["name"].is_string() ||
                (page.contains("properties") && !isListOfTexts(page["properties"]))) {
                return "each page needs a text \"name\" and a list of texts \"properties\"";
            }
        }
        for (const auto& tab : action.value("tabs", nlohmann::json::array())) {
            if (!isListOfTexts(tab)) return "each tab must be a list of page names";
        }
    }
    if (name == "start") {
        // Kinds are the reader's to judge when the app starts; a name it does not know is a typo.
        const auto config = action.value("config", nlohmann::json::object());
        for (const auto& [key, value] : config.items()) {
            if (!OTConfigurationReader::knows(key)) return "unknown configuration field \"" + key + "\"";
        }
    }
    for (const char* key : {"seconds", "timeout", "delay"}) {
        if (!action.contains(key) || !action[key].is_number()) continue;
        const double seconds = action[key].get<double>();
        if (seconds < 0 || seconds * 1000 > static_cast<double>(OTScenarioAction::kMaxDuration.count())) {
            return std::string("\"") + key + "\" must lie between 0 and 3600 seconds";
        }
    }
    if ((name == "campaigns" || name == "events") &&
        (!action["count"].is_number_integer() || action["count"].get<std::int64_t>() < 1 ||
         action["count"].get<std::int64_t>() > OTScenarioAction::kMaxCopies)) {
        return "\"count\" must lie between 1 and 100000";
    }
    if (name == "events" && action.contains("every") &&
        (action["every"].get<double>() < 0 || action["every"].get<double>() > 60)) {
        return "\"every\" must lie between 0 and 60 seconds";
    }
    if (name == "dragTagBall") {
        const auto& to = action["to"];
        if (to.size() != 2 || !hasKind(to[0], Kind::Number) || !hasKind(to[1], Kind::Number) ||
            std::fabs(to[0].get<double>()) > kMaxPoint || std::fabs(to[1].get<double>()) > kMaxPoint) {
            return "\"to\" must be two numbers [x, y] within 100000 points";
        }
    }
    if (action.contains("advance") && action["advance"].is_number() &&
        std::fabs(action["advance"].get<double>()) > OTScenarioAction::kMaxClockAdvance) {
        return "\"advance\" must lie within 100 years either way";
    }
    if (action.contains("provider") && action["provider"].is_number_integer() &&
        !action["provider"].is_number_unsigned() && action["provider"].get<std::int64_t>() < 0) {
        return "\"provider\" must be a whole number not below 0";
    }
    for (const char* key : {"count", "status", "code", "type", "provider"}) {
        if (!action.contains(key) || !action[key].is_number()) continue;
        const auto& number = action[key];
        const bool small = number.is_number_unsigned()  ? number.get<std::uint64_t>() <= 1'000'000'000u
                           : number.is_number_integer() ? number.get<std::int64_t>() >= -1'000'000'000 &&
                                                              number.get<std::int64_t>() <= 1'000'000'000
                                                        : false;
        if (!small) {
            return std::string("\"") + key + "\" is out of range";
        }
    }
    return {};
}
}  // namespace

std::variant<OTScenarioAction, std::string> OTScenarioAction::parse(std::string_view line) {
    auto object = OTJSONLimits::parse(line);
    if (object.is_discarded() || !object.is_object()) return "not a JSON object: " + std::string(line);
    const auto name = object.find("action");
    if (name == object.end() || !name->is_string()) return std::string("an action needs a text \"action\"");
    const auto entry = schema().find(name->get<std::string>());
    if (entry == schema().end()) return "unknown action \"" + name->get<std::string>() + "\"";
    for (const auto& field : entry->second) {
        const auto it = object.find(field.name);
        if (it == object.end()) {
            if (field.required) return "\"" + entry->first + "\" needs \"" + field.name + "\"";
            continue;
        }
        if (!hasKind(*it, field.kind)) {
            return "\"" + std::string(field.name) + "\" of \"" + entry->first + "\" must be " + kindName(field.kind);
        }
    }
    if (auto problem = checkContents(entry->first, object); !problem.empty()) return problem;
    OTScenarioAction action;
    action.name_ = entry->first;
    action.json_ = std::move(object);
    return action;
}

const nlohmann::json& OTScenarioAction::value(const char* key) const {
    static const nlohmann::json kNull;
    const auto it = json_.find(key);
    return it == json_.end() ? kNull : *it;
}

std::string OTScenarioAction::text(const char* key, const std::string& fallback) const {
    const auto& v = value(key);
    return v.is_string() ? v.get<std::string>() : fallback;
}

std::int64_t OTScenarioAction::integer(const char* key, std::int64_t fallback) const {
    const auto& v = value(key);
    return v.is_number_integer() ? v.get<std::int64_t>() : fallback;
}

bool OTScenarioAction::flag(const char* key, bool fallback) const {
    const auto& v = value(key);
    return v.is_boolean() ? v.get<bool>() : fallback;
}

std::chrono::milliseconds OTScenarioAction::duration(const char* key, double fallbackSeconds) const {
    const auto& v = value(key);
    const double seconds = v.is_number() ? v.get<double>() : fallbackSeconds;
    return std::chrono::milliseconds(std::llround(seconds * 1000));
}

}  // namespace corvane
