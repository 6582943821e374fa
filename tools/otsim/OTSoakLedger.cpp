#include "OTSoakLedger.h"

#include <cmath>
#include <cstdint>

#include "foundation/OTFiles.h"
#include "foundation/OTPropertyList.h"

namespace corvane {

namespace fs = std::filesystem;

OTSoakLedger::OTSoakLedger(std::int64_t dailyCap, std::map<std::string, std::int64_t> campaignCounts,
                           double answerWithin)
    : dailyCap_(dailyCap), campaignCounts_(std::move(campaignCounts)), answerWithin_(answerWithin) {}

namespace {
// The server reads whole numbers as integers where the app holds doubles (90 for 90.0): a report
// is the same report either way.
nlohmann::json canonical(const nlohmann::json& value) {
    if (value.is_number_float()) {
        const double number = value.get<double>();
        if (std::isfinite(number) && std::trunc(number) == number && std::fabs(number) < 9.0e15) {
            return static_cast<std::int64_t>(number);
        }
        return value;
    }
    if (value.is_number_unsigned() && value.get<std::uint64_t>() <= INT64_MAX) {
        return static_cast<std::int64_t>(value.get<std::uint64_t>());
    }
    if (!value.is_structured()) return value;
    auto copy = value;
    for (auto& element : copy) element = canonical(element);
    return copy;
}
}  // namespace

std::string OTSoakLedger::keyOf(const nlohmann::json& report) { return canonical(report).dump(); }

OTSoakLedger::Report& OTSoakLedger::note(std::size_t step, const nlohmann::json& report) {
    const auto [it, added] = reports_.try_emplace(keyOf(report));
    if (added) {
        it->second.firstStep = step;
        const auto context = report.value("xcontext", nlohmann::json::object());
        it->second.label = report.value("xwhat", std::string("?")) + " of campaign " +
                           (context.is_object() ? context.value("activityId", std::string("?")) : std::string("?"));
    }
    return it->second;
}

void OTSoakLedger::lifeBegan(std::size_t step, const Queues& onDisk) {
    atStart_ = onDisk;
    loaded_.clear();
    overwrote_.clear();
    active_.clear();
    for (const auto& [queue, reports] : onDisk) {
        for (const auto& report : reports) note(step, report);
    }
}

void OTSoakLedger::reportObserved(std::size_t step, double now, const nlohmann::json& observation) {
    const std::string fate = observation.value("fate", "");
    const std::string queue = observation.value("queue", "");
    if (fate == "dropped") {
        for (const auto& report : observation.value("reports", nlohmann::json::array()))
            note(step, report).dropped = true;
        return;
    }
    if (fate == "loaded") {
        loaded_.insert(queue);
        if (const auto it = atStart_.find(queue); it != atStart_.end()) {
            for (const auto& report : it->second) active_[keyOf(report)] = {now, false, false};
        }
        return;
    }
    if (!observation.contains("report")) return;
    note(step, observation["report"]);
    const auto [it, added] = active_.try_emplace(keyOf(observation["report"]), Active{now, false, false});
    auto& active = it->second;
    if (fate == "made") {
        active = {now, false, false};
    } else if (fate == "sent" || fate == "refused") {
        active.answered = true;
    } else if (fate == "failed") {
        active.failed = true;
    } else if (fate == "queued") {
        active.answered = observation.value("written", false);
        // Written before this life read its queue file back: whatever that file held is gone.
        if (!loaded_.count(queue)) overwrote_.insert(queue);
    }
}

void OTSoakLedger::serverReceived(const nlohmann::json& report, bool refused) {
    auto& entry = note(0, report);
    ++entry.received;
    if (refused) entry.refused = true;
    else entry.sent = true;
}

std::vector<std::string> OTSoakLedger::dialogShown(const std::string& campaign, std::int64_t period, std::int64_t day,
                                                   std::int64_t user) {
    std::vector<std::string> broken;
    const auto today = ++shownPerDay_[{period, day}];
    if (dailyCap_ > 0 && today > dailyCap_) {
        broken.push_back("dialog " + campaign + " makes " + std::to_string(today) +
                         " shown on one calendar day, over the daily cap of " + std::to_string(dailyCap_));
    }
    const auto count = campaignCounts_.find(campaign);
    const auto shown = ++shownPerUser_[{user, campaign}];
    if (count != campaignCounts_.end() && count->second > 0 && shown > count->second) {
        broken.push_back("dialog " + campaign + " shown " + std::to_string(shown) +
                         " times to one user, over its count of " + std::to_string(count->second));
    }
    return broken;
}

void OTSoakLedger::lifeEnded(std::size_t step, double now, End end, const Queues& onDisk) {
    std::set<std::string> kept;
    for (const auto& [queue, reports] : onDisk) {
        for (const auto& report : reports) {
            note(step, report);
            kept.insert(keyOf(report));
        }
    }
    for (auto& [key, report] : reports_) report.onDisk = kept.count(key) > 0;
    // A queue file that this life wrote before reading it back lost what it held: known by the
    // write, or by the file itself when the life died in the very write that replaced it.
    for (const auto& [queue, reports] : atStart_) {
        if (loaded_.count(queue) && !overwrote_.count(queue)) continue;
        for (const auto& report : reports) {
            if (!kept.count(keyOf(report))) reports_[keyOf(report)].overwritten = true;
        }
    }
    // What the app still held in memory when it ended: waiting for an answer that had not had
    // time to come, or lost in transport and killed before it was queued.
    for (const auto& [key, active] : active_) {
        auto& report = reports_[key];
        if (report.onDisk || report.received > 0 || active.answered || end == End::Drained) continue;
        const bool waiting = !active.failed && now - active.since < answerWithin_;
        if (waiting || (active.failed && end == End::Killed)) report.inFlight = true;
    }
    atStart_.clear();
    active_.clear();
}

std::vector<OTSoakLedger::Breach> OTSoakLedger::lostReports() const {
    std::vector<Breach> all;
    for (const auto& [key, report] : reports_) {
        const bool accounted =
            report.received > 0 || report.onDisk || report.dropped || report.overwritten || report.inFlight;
        if (!accounted) all.push_back({report.firstStep, "report lost: " + report.label + ": " + key});
    }
    return all;
}

OTSoakLedger::Totals OTSoakLedger::totals() const {
    Totals totals;
    for (const auto& [key, report] : reports_) {
        ++totals.made;
        if (report.received > 1) totals.duplicates += report.received - 1;
        if (report.sent) ++totals.sent;
        else if (report.refused) ++totals.refused;
        else if (report.onDisk) ++totals.queued;
        else if (report.dropped) ++totals.droppedByBound;
        else if (report.overwritten) ++totals.lostByOverwrite;
        else if (report.inFlight) ++totals.inFlightAtEnd;
        else ++totals.lostOtherwise;
    }
    return totals;
}

std::vector<fs::path> OTSoakLedger::unreadableFiles(const fs::path& folder) {
    std::vector<fs::path> bad;
    std::error_code ec;
    for (fs::recursive_directory_iterator it(folder, ec), end; !ec && it != end; it.increment(ec)) {
        const auto& path = it->path();
        if (!it->is_regular_file(ec) || path.extension() != ".plist") continue;
        if (OTFiles::isTemporaryName(path.filename().string())) continue;
        const auto bytes = OTFiles::readFile(path);
        // A file that went away meanwhile is absent, which is fine.
        if (!bytes && !fs::exists(path, ec)) continue;
        if (!bytes || !OTPropertyList::fromBinary(*bytes)) bad.push_back(path);
    }
    return bad;
}

}  // namespace corvane
