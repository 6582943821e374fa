#include "OTSoakScenario.h"

#include <cmath>

#include "foundation/OTFiles.h"

namespace corvane {

using json = nlohmann::json;

namespace {
constexpr std::int64_t kDay = std::int64_t{24} * 3600;
// Clock moves land at least this far from midnight, so that the driver and the app, reading
// the clock a moment apart, agree on the calendar day.
constexpr std::int64_t kMidnightMargin = std::int64_t{30} * 60;
const std::vector<std::string> kPages = {"HomeVC", "MineVC", "DetailVC"};
const std::vector<std::string> kUsers = {"u1", "u2", "u3"};
const std::vector<std::string> kElements = {"close", "left", "right", "middle", "image"};

// Values around a rule's operand, so that some events match it and some do not.
std::vector<json> valuesAround(const json& rule) {
    std::vector<json> values;
    const auto operands = rule.value("value", json::array());
    const json operand = operands.is_array() && !operands.empty() ? operands[0] : json("x");
    if (rule.value("dataType", "") == "number") {
        const double number = operand.is_string()   ? std::atof(operand.get<std::string>().c_str())
                              : operand.is_number() ? operand.get<double>()
                                                    : 0.0;
        for (const double delta : {-10.0, 0.0, 10.0}) values.emplace_back(number + delta);
    } else {
        values.push_back(operand);
        values.emplace_back("other");
    }
    return values;
}
}  // namespace

OTSoakScenario::OTSoakScenario(std::uint64_t seed, const json& campaigns) : random_(seed) {
    for (const char* list : {"in_app", "subscribe"}) {
        for (const auto& campaign : campaigns.value(list, json::array())) {
            if (!campaign.is_object()) continue;
            if (campaign.contains("event")) addTrigger(campaign["event"]);
            for (const auto& step : campaign.value("preEvents", json::array())) addTrigger(step);
        }
    }
    for (const auto& banner : campaigns.value("banners", json::array())) {
        if (!banner.is_object()) continue;
        for (const auto& event : banner.value("events", json::array())) addTrigger(event);
        if (banner.contains("locationId") && banner["locationId"].is_string()) {
            locations_.push_back(banner["locationId"].get<std::string>());
        }
    }
    for (const auto& page : kPages) triggers_.push_back({"$pageview", {{{"$url", page}}}});
    triggers_.push_back({"noise_event", {json::object()}});
    if (locations_.empty()) locations_.emplace_back("home_top");
}

void OTSoakScenario::addTrigger(const json& event) {
    if (!event.is_object() || !event.contains("xwhat") || !event["xwhat"].is_string()) return;
    Trigger trigger{event["xwhat"].get<std::string>(), {json::object()}};
    for (const auto& rule : event.value("rule", json::array())) {
        if (!rule.is_object() || !rule.contains("field") || !rule["field"].is_string()) continue;
        for (const auto& value : valuesAround(rule))
            trigger.contexts.push_back({{rule["field"].get<std::string>(), value}});
    }
    (trigger.xwhat.rfind("soak_", 0) == 0 ? offers_ : triggers_).push_back(std::move(trigger));
}

json OTSoakScenario::event() {
    // A third of the events go to the soak's own offers, so that the daily cap is reached.
    const auto& trigger = offers_.empty() || chance() < 0.67 ? pick(triggers_) : pick(offers_);
    json event{{"source", 0}, {"xwhat", trigger.xwhat}, {"xwho", user_}};
    const auto& context = pick(trigger.contexts);
    if (!context.empty()) event["xcontext"] = context;
    return {{"action", "event"}, {"event", event}};
}

json OTSoakScenario::clockMove(const State& state) {
    const double roll = chance();
    // Mostly forward by hours, sometimes past the next midnight or a whole day on, now and then back.
    std::int64_t advance = roll < 0.65   ? between(2, 6) * 3600
                           : roll < 0.85 ? between(6, 14) * 3600
                           : roll < 0.92 ? between(24, 30) * 3600
                                         : -between(1, 12) * 3600;
    advance += between(0, 59) * 60;
    const auto landing = ((state.secondOfDay + advance) % kDay + kDay) % kDay;
    if (landing < kMidnightMargin || landing > kDay - kMidnightMargin) advance += 2 * kMidnightMargin;
    return {{"action", "clock"}, {"advance", advance}};
}

OTSoakScenario::Step OTSoakScenario::fault() {
    Step step;
    step.kind = Kind::Fault;
    step.path = pick(OTDevServer::endpoints());
    step.fault.count = static_cast<int>(between(1, 3));
    switch (between(0, 8)) {
        case 0: step.fault.httpStatus = 500, step.faultName = "status 500"; break;
        case 1: step.fault.code = 40001, step.faultName = "refused code"; break;
        case 2: step.fault.code = OTDevServer::kInvalidTokenCode, step.faultName = "token expired"; break;
        case 3:
            step.fault.delay =
                std::chrono::milliseconds(between(200, static_cast<std::int64_t>(kMaxDelaySeconds * 1000)));
            step.faultName = "delay";
            break;
        case 4: step.fault.dropConnection = true, step.faultName = "dropped connection"; break;
        case 5: step.fault.truncatedBody = true, step.faultName = "cut answer"; break;
        case 6: step.fault.malformedBody = true, step.faultName = "malformed answer"; break;
        case 7: step.fault.nonObjectBody = true, step.faultName = "answer not an object"; break;
        default:
            // Past the transport's limit on answers.
            step.fault.paddedBodyBytes = static_cast<std::size_t>(between(17, 20)) << 20;
            step.faultName = "oversized answer";
            break;
    }
    return step;
}

OTSoakScenario::Step OTSoakScenario::next(const State& state) {
    Step step;
    // A user mostly answers a dialog soon: tapped, closed or left on screen.
    if (state.dialogOnScreen && chance() < 0.5) {
        step.action = {{"action", "tap"}, {"element", pick(kElements)}};
        return step;
    }
    const double roll = chance();
    if (roll < 0.50) {
        step.action = event();
    } else if (roll < 0.53) {
        step.action = {{"action", "tap"}, {"element", pick(kElements)}};
    } else if (roll < 0.58) {
        step.action = {{"action", "banner"},
                       {"locationId", pick(locations_)},
                       {"container", chance() < 0.5 ? "view" : "tableCell"}};
    } else if (roll < 0.61) {
        step.action = {{"action", "tapBanner"}, {"locationId", pick(locations_)}};
    } else if (roll < 0.64) {
        step.action = {{"action", "pushTrack"},
                       {"type", between(0, 1)},
                       {"msg", {{"activityId", "p" + std::to_string(between(1, 50))}, {"$push_channel", "apns"}}}};
    } else if (roll < 0.69) {
        step.action = {{"action", "network"}, {"state", state.networkDown ? "up" : "down"}};
    } else if (roll < 0.77) {
        step = fault();
    } else if (roll < 0.78) {
        step.kind = Kind::ExpireTokens;
    } else if (roll < 0.84) {
        step.action = clockMove(state);
    } else if (roll < 0.855) {
        // Another user, or the same one with a new server time offset.
        user_ = pick(kUsers);
        step.action = {{"action", "profile"},
                       {"profile", {{"xwho", user_}, {"calibration_time", static_cast<double>(between(-20, 20)) / 4}}}};
    } else if (roll < 0.91) {
        step.action = {{"action", "wait"}, {"seconds", static_cast<double>(between(1, 15)) / 10}};
    } else if (roll < 0.935) {
        step.kind = Kind::Restart;
    } else if (roll < 0.96) {
        // Killed while it handles an event, a tap (the dialog records are written) or the
        // network's return (the queues are read back and written).
        step.kind = Kind::KillDuring;
        const double what = chance();
        step.action = what < 0.6   ? event()
                      : what < 0.8 ? json{{"action", "tap"}, {"element", pick(kElements)}}
                                   : json{{"action", "network"}, {"state", state.networkDown ? "up" : "down"}};
        step.killAfter = std::chrono::milliseconds(between(0, 300));
    } else {
        step.action = {{"action", "dismiss"}};
    }
    return step;
}

std::vector<json> OTSoakScenario::preamble(double clockOffsetSeconds, bool networkDown) const {
    std::vector<json> actions{
        {{"action", "app"},
         {"pages", {{{"name", "DetailVC"}, {"properties", {"id"}}}}},
         {"tabs", {{"HomeVC"}, {"MineVC"}}}},
        {{"action", "observe"}, {"group", kGroup}},
        {{"action", "profile"}, {"profile", {{"xwho", user_}, {"calibration_time", 0}}}},
    };
    if (std::fabs(clockOffsetSeconds) > 0) actions.push_back({{"action", "clock"}, {"advance", clockOffsetSeconds}});
    actions.push_back({{"action", "start"}, {"config", {{"appKey", "soak-key"}, {"mainPage", kMainPage}}}});
    if (networkDown) actions.push_back({{"action", "network"}, {"state", "down"}});
    return actions;
}

std::int64_t OTSoakScenario::dailyCapOf(const std::filesystem::path& campaigns) {
    const auto text = OTFiles::readFile(campaigns / "rule.json");
    const auto rule = text ? json::parse(*text, nullptr, false) : json();
    const auto cap = rule.is_object() ? rule.value("dayDialogMaxCount", json()) : json();
    return cap.is_number_integer() ? cap.get<std::int64_t>() : 0;
}

std::map<std::string, std::int64_t> OTSoakScenario::campaignCountsOf(const json& lists) {
    std::map<std::string, std::int64_t> counts;
    for (const char* list : {"in_app", "subscribe"}) {
        for (const auto& campaign : lists.value(list, json::array())) {
            if (!campaign.is_object() || !campaign.contains("id") || !campaign["id"].is_string()) continue;
            const auto rules = campaign.value("dialogRule", json());
            if (rules.is_array() && !rules.empty()) continue;
            const auto count = campaign.value("count", json());
            if (count.is_number_integer()) counts[campaign["id"].get<std::string>()] = count.get<std::int64_t>();
        }
    }
    return counts;
}

json OTSoakScenario::offers() {
    const json window = {{"startTime", "2024-01-01 00:00:00"}, {"endTime", "2099-12-31 23:59:59"}};
    json offer = {{"id", "9001"},
                  {"style", 3},
                  {"type", 1},
                  {"count", 1000},
                  {"closeDialogType", 2},
                  {"preEvents", {{{"xwhat", "soak_offer"}}}},
                  {"event",
                   {{"xwhat", "soak_offer"},
                    {"rule", {{{"field", "level"}, {"dataType", "number"}, {"function", "GT"}, {"value", {"50"}}}}}}},
                  {"title", {{"text", "Offer"}}},
                  {"content", {{"text", "Level up for a gift."}}},
                  {"buttonLeft", {{"text", "No"}}},
                  {"buttonRight", {{"text", "Yes"}, {"clickEvent", "https://shop.example.com/offer"}}}};
    json daily = offer;
    daily["id"] = "9002";
    daily["preEvents"] = {{{"xwhat", "soak_daily"}}};
    daily["event"] = {{"xwhat", "soak_daily"}};
    daily["dialogRule"] = {
        {{"eventType", "click"}, {"type", 2}, {"count", 1}, {"intervalValue", 1}, {"intervalType", "hour"}},
        {{"eventType", "close"}, {"type", 1}, {"count", 50}}};
    offer.update(window);
    daily.update(window);
    return json::array({offer, daily});
}

double OTSoakScenario::longestDelayOf(const json& lists) {
    double longest = 0;
    for (const char* list : {"in_app", "subscribe"}) {
        for (const auto& campaign : lists.value(list, json::array())) {
            const auto event = campaign.is_object() ? campaign.value("event", json()) : json();
            const auto delay = event.is_object() ? event.value("delay", json()) : json();
            if (delay.is_number()) longest = std::max(longest, delay.get<double>());
        }
    }
    return longest;
}

}  // namespace corvane
