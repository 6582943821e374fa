#include "OTCampaignChecker.h"

#include "OTAccessibilityChecker.h"
#include "OTDevServer.h"

#include <algorithm>
#include <cctype>
#include <regex>

#include "foundation/OTDateFormatter.h"
#include "foundation/OTFiles.h"
#include "foundation/OTJSONValue.h"
#include "model/OTRuleClause.h"

namespace corvane {

namespace fs = std::filesystem;
using nlohmann::json;

namespace {
constexpr const char* kServerMedia = "{{server}}/media/";
// Every operator name of the rules, for suggestions; each data type takes some of them.
const std::vector<std::string> kOperators = {"EQ",
                                             "NOT_EQ",
                                             "CONTAIN",
                                             "NOT_CONTAIN",
                                             "GT",
                                             "GTE",
                                             "LT",
                                             "LTE",
                                             "RANGE",
                                             "TRUE",
                                             "FALSE",
                                             "ABSOLUTE_TIME",
                                             "RELATIVE_TIME_RANGE_CUURENT",
                                             "RELATIVE_TIME_OF_CURRENT",
                                             "NOT_NULL",
                                             "NULL"};
const std::vector<std::string> kDataTypes = {"string", "number", "boolean", "datetime", "array<string>"};

std::string lower(std::string text) {
    std::transform(text.begin(), text.end(), text.begin(), [](unsigned char c) { return std::tolower(c); });
    return text;
}

std::size_t distance(const std::string& a, const std::string& b) {
    std::vector<std::size_t> row(b.size() + 1);
    for (std::size_t j = 0; j <= b.size(); ++j) row[j] = j;
    for (std::size_t i = 1; i <= a.size(); ++i) {
        std::size_t diagonal = row[0];
        row[0] = i;
        for (std::size_t j = 1; j <= b.size(); ++j) {
            const std::size_t above = row[j];
            row[j] = std::min({row[j] + 1, row[j - 1] + 1, diagonal + (a[i - 1] == b[j - 1] ? 0 : 1)});
            diagonal = above;
        }
    }
    return row[b.size()];
}

std::string quoted(const std::string& text) { return "\"" + text + "\""; }

std::string child(const std::string& path, const std::string& key) { return path.empty() ? key : path + "." + key; }

std::string item(const std::string& path, std::size_t index) { return path + "[" + std::to_string(index) + "]"; }

bool isFilled(const json& object, const char* key) {
    const auto it = object.find(key);
    return it != object.end() && it->is_string() && !it->get<std::string>().empty();
}
}  // namespace

OTCampaignChecker::OTCampaignChecker(fs::path folder, TimePoint now, OffsetAt offsetAt)
    : folder_(std::move(folder)), now_(now), offsetAt_(std::move(offsetAt)) {}

std::vector<OTCampaignChecker::Finding> OTCampaignChecker::check() {
    findings_.clear();
    const std::pair<const char*, Kind> lists[] = {{"in_app", Kind::InApp},
                                                  {"subscribe", Kind::Subscribe},
                                                  {"banners", Kind::Banner},
                                                  {"default_banners", Kind::DefaultBanner}};
    for (const auto& [name, kind] : lists) {
        ids_.clear();
        for (const auto& file : OTDevServer::campaignFiles(folder_, name)) checkFile(file, kind);
    }
    if (fs::exists(folder_ / "rule.json")) checkRuleFile(folder_ / "rule.json");
    return findings_;
}

int OTCampaignChecker::exitStatus(const std::vector<Finding>& findings) {
    if (findings.empty()) return 0;
    const bool never = std::any_of(findings.begin(), findings.end(),
                                   [](const Finding& finding) { return finding.severity == Severity::NeverShows; });
    return never ? 1 : 2;
}

std::string OTCampaignChecker::describe(const Finding& finding) {
    return std::string(finding.severity == Severity::NeverShows ? "never shows" : "warning") + ": " + finding.file +
           (finding.path.empty() ? "" : ": " + finding.path) + ": " + finding.sentence;
}

std::optional<std::string> OTCampaignChecker::nearest(const std::string& key, const std::vector<std::string>& known) {
    std::optional<std::string> best;
    std::size_t bestDistance = std::max<std::size_t>(2, key.size() / 3) + 1;
    for (const auto& candidate : known) {
        const auto a = lower(key);
        const auto b = lower(candidate);
        // A different case, or a word around the known one ("bannerID" for "id").
        std::size_t d = distance(a, b);
        if (a == b || (b.size() > 1 && a.find(b) != std::string::npos) ||
            (a.size() > 1 && b.find(a) != std::string::npos))
            d = 0;
        if (d < bestDistance) {
            bestDistance = d;
            best = candidate;
        }
    }
    return best;
}

void OTCampaignChecker::add(const std::string& path, std::string sentence, Severity severity) {
    findings_.push_back({file_, path, std::move(sentence), severity});
}

std::optional<OTCampaignChecker::TimePoint> OTCampaignChecker::date(const std::string& text) const {
    return OTDateFormatter::parse(text, OTDateFormatter::kDefaultFormat, offsetAt_);
}

bool OTCampaignChecker::checkFields(const json& value, const std::string& path, std::initializer_list<Field> fields) {
    if (!value.is_object()) {
        add(path, "must be a JSON object; the library reads nothing from it");
        return false;
    }
    std::vector<std::string> known;
    for (const auto& field : fields) known.emplace_back(field.key);
    for (const auto& [name, element] : value.items()) {
        const std::string key = name;
        const auto field = std::find_if(fields.begin(), fields.end(), [&key](const Field& f) { return key == f.key; });
        if (field == fields.end()) {
            const auto suggestion = nearest(key, known);
            add(child(path, key), "unknown key; the library does not read it" +
                                      (suggestion ? ", did you mean " + quoted(*suggestion) + "?" : std::string()));
            continue;
        }
        if (element.is_null()) continue;
        const char* expected = nullptr;
        switch (field->expect) {
            case Expect::Text: expected = element.is_string() ? nullptr : "a text"; break;
            case Expect::Integer:
                expected = element.is_number() || element.is_boolean() ? nullptr : "a whole number";
                break;
            case Expect::Number: expected = element.is_number() ? nullptr : "a number"; break;
            case Expect::Object: expected = element.is_object() ? nullptr : "an object"; break;
            case Expect::List: expected = element.is_array() ? nullptr : "a list"; break;
            case Expect::TextOrNumber:
                expected = element.is_string() || element.is_number() ? nullptr : "a text or a number";
                break;
            case Expect::Boolean: expected = element.is_boolean() ? nullptr : "true or false"; break;
        }
        if (expected != nullptr) {
            add(child(path, key), std::string("should be ") + expected + ", not " + element.type_name() +
                                      "; the library reads it as absent");
        }
    }
    return true;
}

void OTCampaignChecker::checkFile(const fs::path& file, Kind kind) {
    file_ = fs::relative(file, folder_).string();
    const auto text = OTFiles::readFile(file);
    if (!text) return add("", "cannot be read", Severity::NeverShows);
    json campaign;
    try {
        campaign = json::parse(*text);
    } catch (const json::parse_error& error) {
        return add("", std::string("is not JSON: ") + error.what(), Severity::NeverShows);
    }
    if (!campaign.is_object()) return add("", "must hold one campaign object", Severity::NeverShows);
    if (const auto id = campaign.find("id"); id != campaign.end() && (id->is_string() || id->is_number())) {
        const auto idText = id->is_string() ? id->get<std::string>() : id->dump();
        if (std::find(ids_.begin(), ids_.end(), idText) != ids_.end()) {
            add("id", "another campaign of this list has the id " + idText + "; their usage records are one");
        }
        ids_.push_back(idText);
    } else if (kind != Kind::DefaultBanner) {
        add("id", "is missing: the campaign's usage cannot be recorded");
    }
    if (kind == Kind::Banner || kind == Kind::DefaultBanner) return checkBanner(campaign, kind == Kind::DefaultBanner);
    checkDialog(campaign, kind);
}

void OTCampaignChecker::checkDialog(const json& campaign, Kind kind) {
    checkFields(campaign, "",
                {{"id", Expect::TextOrNumber},
                 {"count", Expect::Integer},
                 {"style", Expect::Integer},
                 {"type", Expect::Integer},
                 {"createTime", Expect::Text},
                 {"changeTime", Expect::Text},
                 {"startTime", Expect::Text},
                 {"endTime", Expect::Text},
                 {"clickEvent", Expect::Text},
                 {"event", Expect::Object},
                 {"preEvent", Expect::Object},
                 {"preEvents", Expect::List},
                 {"closeDialogType", Expect::Integer},
                 {"h5Url", Expect::Text},
                 {"picture", Expect::Text},
                 {"title", Expect::Object},
                 {"content", Expect::Object},
                 {"buttonLeft", Expect::Object},
                 {"buttonMiddle", Expect::Object},
                 {"buttonRight", Expect::Object},
                 {"dialogRule", Expect::List}});
    OTAccessibilityChecker::checkDialog(
        campaign, [this](const std::string& path, std::string sentence) { add(path, std::move(sentence)); });
    for (const char* key : {"title", "content"}) {
        if (campaign.contains(key) && campaign[key].is_object()) checkTextAttribute(campaign[key], key);
    }
    for (const char* key : {"buttonLeft", "buttonMiddle", "buttonRight"}) {
        if (!campaign.contains(key) || !campaign[key].is_object()) continue;
        checkFields(campaign[key], key,
                    {{"text", Expect::Text},
                     {"defaultText", Expect::Text},
                     {"color", Expect::Text},
                     {"background", Expect::Text},
                     {"size", Expect::TextOrNumber},
                     {"clickEvent", Expect::Text}});
    }
    static const std::regex colour("#[0-9A-Fa-f]{6}");
    for (const char* key : {"title", "content", "buttonLeft", "buttonMiddle", "buttonRight"}) {
        if (!campaign.contains(key) || !campaign[key].is_object()) continue;
        for (const char* field : {"color", "background"}) {
            const auto value = OTJSONValue::textAt(campaign[key], field);
            if (value && !value->empty() && !std::regex_match(*value, colour)) {
                add(child(key, field), quoted(*value) + " is not a colour of the form #RRGGBB");
            }
        }
    }
    if (const auto rules = campaign.find("dialogRule"); rules != campaign.end() && rules->is_array()) {
        for (std::size_t i = 0; i < rules->size(); ++i) {
            checkFields((*rules)[i], item("dialogRule", i),
                        {{"eventType", Expect::Text},
                         {"type", Expect::Integer},
                         {"count", Expect::Integer},
                         {"intervalValue", Expect::Integer},
                         {"intervalType", Expect::Text}});
        }
    }

    const auto style = OTJSONValue::integerAt(campaign, "style");
    if (style < 1 || style > 4) {
        add("style",
            std::to_string(style) + " is not a dialog style (1 picture, 2 picture and text, 3 text, 4 web page)",
            Severity::NeverShows);
    } else if ((style == 1 || style == 2) && !isFilled(campaign, "picture")) {
        add("picture", "is missing: style " + std::to_string(style) + " draws a picture");
    } else if (style == 4 && !isFilled(campaign, "h5Url")) {
        add("h5Url", "is missing: style 4 shows a web page");
    }
    if (campaign.contains("picture")) checkMedia(campaign["picture"], "picture", "picture");
    if (campaign.contains("h5Url")) checkMedia(campaign["h5Url"], "h5Url", "page");

    const auto preEvents = campaign.find("preEvents");
    const bool hasSteps = preEvents != campaign.end() && preEvents->is_array() && !preEvents->empty();
    if (hasSteps) {
        for (std::size_t i = 0; i < preEvents->size(); ++i) {
            const auto& step = (*preEvents)[i];
            if (!step.is_object() || !isFilled(step, "xwhat")) {
                add(item("preEvents", i), "is an empty step: no event can meet it", Severity::NeverShows);
                continue;
            }
            checkCondition(step, item("preEvents", i));
        }
    }
    for (const char* key : {"event", "preEvent"}) {
        if (campaign.contains(key) && campaign[key].is_object()) checkCondition(campaign[key], key);
    }
    const bool hasEvent = campaign.contains("event") && campaign["event"].is_object();
    const auto type = OTJSONValue::integerAt(campaign, "type");
    if (kind == Kind::Subscribe && !hasEvent && !hasSteps) {
        add("event", "is missing, and so is \"preEvents\": nothing triggers the campaign", Severity::NeverShows);
    } else if (kind == Kind::InApp && type != 0 && !hasSteps) {
        add("preEvents",
            "is missing or empty: an event campaign (type " + std::to_string(type) +
                ") is matched step by step through it",
            Severity::NeverShows);
    }
    checkDialogWindow(campaign);
}

void OTCampaignChecker::checkTextAttribute(const json& attribute, const std::string& path) {
    checkFields(attribute, path,
                {{"text", Expect::Text},
                 {"defaultText", Expect::Text},
                 {"color", Expect::Text},
                 {"background", Expect::Text},
                 {"size", Expect::TextOrNumber},
                 {"alignmentType", Expect::Text}});
}

std::pair<std::optional<OTCampaignChecker::TimePoint>, std::optional<OTCampaignChecker::TimePoint>>
OTCampaignChecker::window(const json& campaign, const std::string& unparsed, Severity severity) {
    std::optional<TimePoint> start;
    std::optional<TimePoint> end;
    for (const char* key : {"startTime", "endTime"}) {
        const auto text = OTJSONValue::textAt(campaign, key);
        if (!text || text->empty()) continue;
        const auto parsed = date(*text);
        if (!parsed) add(key, quoted(*text) + " is not a date of the form yyyy-MM-dd HH:mm:ss" + unparsed, severity);
        (std::string(key) == "startTime" ? start : end) = parsed;
    }
    return {start, end};
}

void OTCampaignChecker::checkDialogWindow(const json& campaign) {
    // The library compares calendar days; a date that does not parse limits nothing.
    const auto dayOf = [this](TimePoint when) { return OTDateFormatter::format(when, "yyyy-MM-dd", offsetAt_(when)); };
    const auto [start, end] = window(campaign, "; the library then sets no limit on that side", Severity::Warning);
    if (start && end && dayOf(*end) < dayOf(*start)) {
        add("endTime", "ends before the campaign starts", Severity::NeverShows);
    } else if (end && dayOf(*end) < dayOf(now_)) {
        add("endTime", "the campaign ended on " + dayOf(*end), Severity::NeverShows);
    }
}

void OTCampaignChecker::checkBanner(const json& banner, bool isDefault) {
    checkFields(banner, "",
                {{"id", Expect::TextOrNumber},
                 {"style", Expect::Integer},
                 {"locationId", Expect::Text},
                 {"startTime", Expect::Text},
                 {"endTime", Expect::Text},
                 {"clickEvent", Expect::Text},
                 {"content", Expect::Object},
                 {"resource", Expect::Object},
                 {"events", Expect::List}});
    if (banner.contains("content") && banner["content"].is_object()) checkTextAttribute(banner["content"], "content");
    if (!isFilled(banner, "locationId"))
        add("locationId", "is missing: no banner location asks for it", Severity::NeverShows);

    std::size_t pictures = 0;
    std::size_t videos = 0;
    if (const auto resource = banner.find("resource"); resource != banner.end() && resource->is_object()) {
        checkFields(*resource, "resource", {{"picture", Expect::List}, {"video", Expect::List}});
        for (const char* key : {"picture", "video"}) {
            const auto list = resource->find(key);
            if (list == resource->end() || !list->is_array()) continue;
            const std::string path = child("resource", key);
            const bool isPicture = std::string(key) == "picture";
            for (std::size_t i = 0; i < list->size(); ++i) {
                if (isPicture) {
                    checkFields((*list)[i], item(path, i), {{"url", Expect::Text}, {"clickEvent", Expect::Text}});
                } else {
                    checkFields((*list)[i], item(path, i), {{"url", Expect::Text}});
                }
                if ((*list)[i].is_object() && (*list)[i].contains("url"))
                    checkMedia((*list)[i]["url"], child(item(path, i), "url"), key);
            }
            (isPicture ? pictures : videos) = list->size();
        }
    }
    const auto style =
        banner.contains("style") && !banner["style"].is_null() ? OTJSONValue::integerAt(banner, "style") : 1;
    if (style < 1 || style > 5) {
        add("style", std::to_string(style) + " is not a banner style (1 to 5): nothing is drawn", Severity::NeverShows);
    } else if (style == 4 && videos == 0) {
        add("resource.video", "is empty: style 4 plays a video");
    } else if (style != 4 && pictures == 0) {
        add("resource.picture", "is empty: style " + std::to_string(style) + " draws pictures");
    }
    if (isDefault) return;

    const auto events = banner.find("events");
    if (events == banner.end() || !events->is_array() || events->empty()) {
        add("events", "is missing or empty: nothing arms the banner", Severity::NeverShows);
    } else {
        for (std::size_t i = 0; i < events->size(); ++i) {
            if (!(*events)[i].is_object() || !isFilled((*events)[i], "xwhat")) {
                add(item("events", i), "has no event name: no event meets it",
                    i == 0 ? Severity::NeverShows : Severity::Warning);
                continue;
            }
            checkCondition((*events)[i], item("events", i));
        }
        if (events->size() > 1) add("events", "only the first condition arms the banner; the others are never read");
    }
    // A banner is ready only between two dates that both parse.
    const auto [start, end] = window(banner, "", Severity::NeverShows);
    if (start && end && *end < *start) {
        add("endTime", "ends before the banner starts", Severity::NeverShows);
    } else if (end && *end < now_) {
        add("endTime", "the banner ended at " + OTJSONValue::textAt(banner, "endTime").value_or(""),
            Severity::NeverShows);
    }
}

void OTCampaignChecker::checkCondition(const json& condition, const std::string& path) {
    checkFields(condition, path,
                {{"appid", Expect::Text},
                 {"xwhat", Expect::Text},
                 {"xwho", Expect::Text},
                 {"xwhen", Expect::TextOrNumber},
                 {"xcontext", Expect::Object},
                 {"count", Expect::Integer},
                 {"delay", Expect::Number},
                 {"relation", Expect::Text},
                 {"rule", Expect::List}});
    if (!condition.is_object()) return;
    if (!isFilled(condition, "xwhat"))
        add(child(path, "xwhat"), "is missing: no event meets the condition", Severity::NeverShows);
    if (condition.contains("relation")) {
        add(child(path, "relation"),
            "is not read from a condition: rules combine by the incoming event's relation (AND "
            "unless the event says otherwise)");
    }
    const auto rules = condition.find("rule");
    const bool hasRules = rules != condition.end() && rules->is_array() && !rules->empty();
    if (rules != condition.end() && rules->is_array() && rules->empty()) {
        add(child(path, "rule"), "is empty: the properties in \"xcontext\" are compared instead");
    }
    const auto context = condition.find("xcontext");
    if (hasRules) {
        if (context != condition.end() && context->is_object() && !context->empty()) {
            add(child(path, "xcontext"), "is not compared: a condition with rules compares its rules only");
        }
        for (std::size_t i = 0; i < rules->size(); ++i) checkRule((*rules)[i], item(child(path, "rule"), i));
        return;
    }
    if (context == condition.end() || !context->is_object()) return;
    for (const auto& [key, value] : context->items()) {
        if (!value.is_string() && !value.is_number() && !value.is_boolean()) {
            add(child(child(path, "xcontext"), key),
                "is compared as a text or a number; a " + std::string(value.type_name()) + " never equals a property",
                Severity::NeverShows);
        }
    }
}

void OTCampaignChecker::checkRule(const json& rule, const std::string& path) {
    if (!rule.is_object()) return add(path, "is not an object: the rule never matches", Severity::NeverShows);
    checkFields(
        rule, path,
        {{"field", Expect::Text}, {"dataType", Expect::Text}, {"function", Expect::Text}, {"value", Expect::List}});
    if (!isFilled(rule, "field"))
        add(child(path, "field"), "is missing: the rule reads no property", Severity::NeverShows);
    const auto dataType = OTRuleClause::dataTypeNamed(rule.value("dataType", json()));
    if (dataType == OTRuleClause::DataType::Unknown) {
        const auto name = OTJSONValue::textAt(rule, "dataType").value_or("");
        const auto suggestion = nearest(name, kDataTypes);
        return add(child(path, "dataType"),
                   quoted(name) + " is not a data type the library knows" +
                       (suggestion ? ", did you mean " + quoted(*suggestion) + "?" : std::string()),
                   Severity::NeverShows);
    }
    const auto function = rule.value("function", json());
    if (OTRuleClause::operatorNamed(dataType, function) == OTRuleClause::Operator::Unknown) {
        std::vector<std::string> family;
        for (const auto& name : kOperators) {
            if (OTRuleClause::operatorNamed(dataType, name) != OTRuleClause::Operator::Unknown) family.push_back(name);
        }
        const auto name = OTJSONValue::text(function).value_or("");
        const auto suggestion = nearest(name, family);
        return add(child(path, "function"),
                   quoted(name) + " is not an operator of " + rule.value("dataType", std::string()) +
                       (suggestion ? ", did you mean " + quoted(*suggestion) + "?" : std::string()),
                   Severity::NeverShows);
    }
    checkOperands(rule, path);
}

void OTCampaignChecker::checkOperands(const json& rule, const std::string& path) {
    using Op = OTRuleClause::Operator;
    const auto clause = OTRuleClause::parse(rule.value("field", json()), rule.value("dataType", json()),
                                            rule.value("function", json()), json::array());
    const json& value = rule.contains("value") ? rule["value"] : json();
    const std::string at = child(path, "value");
    const bool needsNone =
        clause.op == Op::Null || clause.op == Op::NotNull || clause.op == Op::True || clause.op == Op::False;
    if (needsNone) return;
    if (!value.is_array()) return add(at, "must be a list of operands", Severity::NeverShows);
    const auto needs = [&](std::size_t count, const std::string& what) {
        if (value.size() >= count) return true;
        add(at, "needs " + what, Severity::NeverShows);
        return false;
    };
    const auto numberText = [&](std::size_t index) {
        if (OTStringIsNumber(value[index])) return true;
        add(item(at, index),
            value[index].dump() +
                " is not a number text (operands are texts such as \"10\"; \"1e5\" "
                "is not read as a number)",
            Severity::NeverShows);
        return false;
    };
    switch (clause.op) {
        case Op::Gt:
        case Op::Gte:
        case Op::Lt:
        case Op::Lte:
            if (needs(1, "one number operand")) numberText(0);
            return;
        case Op::Range:
            if (needs(2, "two number operands")) {
                numberText(0);
                numberText(1);
            }
            return;
        case Op::RelativeTimeRangeCurrent:
            if (needs(2, "two day counts")) {
                numberText(0);
                numberText(1);
            }
            return;
        case Op::AbsoluteTime:
            if (!needs(2, "a start and an end date")) return;
            for (std::size_t i = 0; i < 2; ++i) {
                const auto text = OTJSONValue::text(value[i]);
                if (!text || (!text->empty() && !date(*text))) {
                    add(item(at, i), value[i].dump() + " is not a date of the form yyyy-MM-dd HH:mm:ss",
                        Severity::NeverShows);
                }
            }
            return;
        case Op::RelativeTimeOfCurrent: {
            if (!needs(3, "an amount, a unit and a direction")) return;
            numberText(0);
            const auto unit = OTJSONValue::text(value[1]).value_or("");
            if (unit != "day" && unit != "hour" && unit != "minute" && unit != "second")
                add(item(at, 1), value[1].dump() + " is not a unit (day, hour, minute, second)", Severity::NeverShows);
            const auto direction = OTJSONValue::text(value[2]).value_or("");
            if (direction != "before" && direction != "after" && direction != "within")
                add(item(at, 2), value[2].dump() + " is not a direction (before, after, within)", Severity::NeverShows);
            return;
        }
        default: {
            // Comparisons with the first operand: a number when the data type is number.
            if (!needs(1, "one operand")) return;
            if (clause.dataType == OTRuleClause::DataType::Number) {
                numberText(0);
            } else if (!(value[0].is_string() && !value[0].get<std::string>().empty()) && !value[0].is_number()) {
                add(item(at, 0), value[0].dump() + " is an empty operand: it never matches", Severity::NeverShows);
            }
            return;
        }
    }
}

void OTCampaignChecker::checkMedia(const json& address, const std::string& path, const char* what) {
    const auto text = OTJSONValue::text(address);
    if (!text || text->rfind(kServerMedia, 0) != 0) return;
    const std::string name = text->substr(std::string(kServerMedia).size());
    std::error_code ec;
    if (name.empty() || !fs::is_regular_file(folder_ / "media" / name, ec)) {
        add(path, std::string("the ") + what + " " + quoted(name) + " is not in the campaign folder's media");
    }
}

void OTCampaignChecker::checkRuleFile(const fs::path& file) {
    file_ = fs::relative(file, folder_).string();
    json rule = json::parse(OTFiles::readFile(file).value_or(""), nullptr, false);
    if (rule.is_discarded()) return add("", "is not JSON: the login answer carries no rule");
    if (!checkFields(rule, "",
                     {{"dayDialogMaxCount", Expect::Integer},
                      {"intervalDay", Expect::Integer},
                      {"activityUpdateTime", Expect::Text}}))
        return;
    if (rule.contains("dayDialogMaxCount") && OTJSONValue::integerAt(rule, "dayDialogMaxCount") <= 0) {
        add("dayDialogMaxCount", "a cap of 0 or less is read as no daily limit at all");
    }
    if (const auto text = OTJSONValue::textAt(rule, "activityUpdateTime"); text && !date(*text)) {
        add("activityUpdateTime", quoted(*text) + " is not a date of the form yyyy-MM-dd HH:mm:ss");
    }
}

}  // namespace corvane
