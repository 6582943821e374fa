#include "OTSimulatorDecisions.h"

#include <map>

#include "OTSimulatorTranscript.h"

namespace corvane {

using nlohmann::json;

namespace {
std::string text(const json& value) { return OTSimulatorTranscript::text(value); }

std::string field(const json& decision, const char* key) {
    return decision.contains(key) ? text(decision[key]) : std::string("?");
}

// A rule's operands as one text: a single one as it is, more as a list.
std::string operands(const json& expected) {
    if (expected.is_array() && expected.size() == 1) return text(expected[0]);
    return text(expected);
}

std::string propertyRule(const json& d) {
    static const std::map<std::string, std::string> kSymbols = {{"EQ", "="},   {"NOT_EQ", "!="}, {"GT", ">"},
                                                                {"GTE", ">="}, {"LT", "<"},      {"LTE", "<="}};
    if (!d.contains("field")) return "no rule can hold under the relation " + field(d, "relation");
    const std::string op = d["operator"].is_string() ? d["operator"].get<std::string>() : text(d["operator"]);
    const auto symbol = kSymbols.count(op) ? kSymbols.at(op) : op;
    const auto name = field(d, "field");
    if (d["actual"].is_null()) return name + " is missing (needs " + symbol + " " + operands(d["expected"]) + ")";
    return name + " " + text(d["actual"]) + " is not " + symbol + " " + operands(d["expected"]);
}

std::string firstPageView(const json& d) {
    const std::string c = field(d, "case");
    if (c == "notPageView") return "first page view: the event is not a page view";
    if (c == "urlDiffers") {
        if (!d["expected"].is_null() && d["expected"] != d["url"])
            return "first page view: page " + field(d, "url") + " is not " + field(d, "expected");
        return "first page view: page " + field(d, "url") + " is not the page on screen";
    }
    if (c == "notMainPage") return "first page view: page " + field(d, "url") + " is not the main page";
    if (c == "mainPageSeenBefore") return "first page view: the main page was seen before";
    if (c == "mainPageCovered") return "first page view: the main page is covered; kept for when the cover goes";
    return "first page view: " + c;
}
}  // namespace

std::string OTSimulatorDecisions::because(const json& d) {
    std::string reason = d.value("reason", "");
    if (reason == "eventName") {
        if (d["expected"].is_null()) return "the campaign has no trigger event";
        return "event " + field(d, "actual") + " is not " + field(d, "expected");
    }
    if (reason == "propertyRule") return propertyRule(d);
    if (reason == "sequenceStep")
        return "waits for " + field(d, "expected") + " first (step " + field(d, "step") + " of " + field(d, "of") + ")";
    if (reason == "firstPageView") return firstPageView(d);
    if (reason == "dailyCap") return "daily cap " + field(d, "count") + " of " + field(d, "max");
    if (reason == "usedUp") return "used " + field(d, "used") + " of " + field(d, "count") + " showings";
    if (reason == "dateWindow")
        return "runs " + field(d, "start") + " to " + field(d, "end") + ", today is " + field(d, "today");
    if (reason == "shownBefore") return "already shown (a campaign without reaction rules shows once)";
    if (reason == "pause") return "paused after a " + field(d, "rule") + " until " + field(d, "until");
    if (reason == "reactionCount")
        return field(d, "count") + " " + field(d, "rule") + "s of " + field(d, "max") + " allowed";
    if (reason == "noRuleForReaction") return "no rule for the last reaction " + field(d, "lastEventType");
    if (reason == "dialogOnScreen") return "dialog " + field(d, "id") + " is on screen";
    if (reason == "dialogScheduled") return "dialog " + field(d, "id") + " is waiting for its delay";
    if (reason == "dialogsHidden") return "dialogs are hidden (setDialogVisible false)";
    if (reason == "bannersClosed") return "banners are closed";
    if (reason == "noRecord") return "the banner has no record";
    if (reason == "noCampaignsYet") {
        std::string line = "no campaigns yet (" + field(d, "waiting") + " of " + field(d, "max") + " waiting)";
        if (d.contains("discarded")) line += ", discarded: " + field(d, "discarded");
        return line;
    }
    if (reason == "passEnded") return "the pass ended at " + field(d, "endedBy") + " (" + field(d, "because") + ")";
    return reason;
}

std::string OTSimulatorDecisions::line(const json& d) {
    const std::string verdict = d.value("verdict", "");
    static const std::map<std::string, std::string> kVerdicts = {
        {"notMatched", "not matched"},   {"notEligible", "not eligible"},   {"heldBack", "held back"},
        {"notExamined", "not examined"}, {"notActivated", "not activated"}, {"waiting", "waiting"},
        {"dropped", "dropped"}};
    std::string subject = d.contains("id") ? text(d["id"]) + " " : std::string();
    if (verdict == "advanced") return subject + "advanced its sequence: " + field(d, "next") + " comes next";
    if (verdict == "scheduled" && d.value("presented", true) == false) return subject + "not presented: no presenter";
    const auto it = kVerdicts.find(verdict);
    if (it == kVerdicts.end()) return "";
    return subject + it->second + ": " + because(d);
}

bool OTSimulatorDecisions::print(std::ostream& out, const std::string& at, const json& o) {
    if (o["type"] != "decision") return false;
    const std::string indent(at.size() + 2, ' ');
    if (const auto pass = o.value("pass", std::string("event")); pass != "event") {
        out << indent << "(" << pass << ", from campaign position " << o.value("startIndex", 0) << ")\n";
    }
    if (o.contains("verdict")) out << indent << line(o) << "\n";
    for (const auto& campaign : o.value("campaigns", json::array())) {
        if (const auto text = line(campaign); !text.empty()) out << indent << text << "\n";
    }
    for (const auto& [kind, verdicts] : o.value("omitted", json::object()).items()) {
        for (const auto& [verdict, count] : verdicts.items())
            out << indent << "... and " << count << " more " << kind << " campaigns " << verdict << "\n";
    }
    return true;
}

}  // namespace corvane
