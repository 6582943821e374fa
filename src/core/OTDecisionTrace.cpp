#include "core/OTDecisionTrace.h"

#include <utility>

#include "model/OTEvent.h"

namespace corvane {

namespace {
nlohmann::json idValue(const std::optional<std::string>& id) { return id ? nlohmann::json(*id) : nlohmann::json(); }

// Adds `values` (an object) to `item`; the item's own names come first and are never overwritten.
void addValues(nlohmann::json& item, nlohmann::json values) {
    if (!values.is_object()) return;
    for (auto& [key, value] : values.items()) item.emplace(key, std::move(value));
}
}  // namespace

OTDecisionTrace::OTDecisionTrace(const OTEvent& event, std::optional<std::int64_t> source, std::string pass,
                                 std::uint64_t startIndex, Deliver deliver)
    : deliver_(std::move(deliver)) {
    record_ = {
        {"event", {{"xwhat", idValue(event.xwhat())}, {"source", source ? nlohmann::json(*source) : nlohmann::json()}}},
        {"pass", std::move(pass)}};
    if (startIndex > 0) record_["startIndex"] = startIndex;
    record_["campaigns"] = nlohmann::json::array();
}

const char* OTDecisionTrace::kindName(Kind kind) {
    switch (kind) {
        case Kind::InApp: return "inApp";
        case Kind::Subscribe: return "subscribe";
        case Kind::Banner: return "banner";
    }
    return "";
}

nlohmann::json OTDecisionTrace::reason(const char* reason, nlohmann::json values) {
    if (!values.is_object()) values = nlohmann::json::object();
    values["reason"] = reason;
    return values;
}

nlohmann::json OTDecisionTrace::entry(Kind kind, const std::optional<std::string>& id, const char* verdict) const {
    return {{"id", idValue(id)}, {"kind", kindName(kind)}, {"verdict", verdict}};
}

void OTDecisionTrace::count(Kind kind, const char* verdict) { ++omitted_[static_cast<std::size_t>(kind)][verdict]; }

void OTDecisionTrace::add(Kind kind, const std::optional<std::string>& id, const char* verdict,
                          const Explain& explain) {
    std::lock_guard lock(mutex_);
    if (listed_ >= kMaxListed) {
        count(kind, verdict);
        return;
    }
    auto item = entry(kind, id, verdict);
    if (explain) addValues(item, explain());
    record_["campaigns"].push_back(std::move(item));
    ++listed_;
}

void OTDecisionTrace::end(Kind kind, const std::optional<std::string>& id, const char* verdict, nlohmann::json values) {
    std::lock_guard lock(mutex_);
    auto item = entry(kind, id, verdict);
    addValues(item, std::move(values));
    auto& campaigns = record_["campaigns"];
    campaigns.push_back(std::move(item));
    ++listed_;
    ended_[static_cast<std::size_t>(kind)] = Ended{campaigns.size() - 1, id, verdict};
}

void OTDecisionTrace::notExamined(Kind kind, std::size_t count,
                                  const std::function<std::optional<std::string>(std::size_t)>& idAt) {
    std::lock_guard lock(mutex_);
    const auto& ended = ended_[static_cast<std::size_t>(kind)];
    std::size_t i = 0;
    for (; i < count && listed_ < kMaxListed; ++i, ++listed_) {
        auto item = entry(kind, idAt(i), "notExamined");
        item["reason"] = "passEnded";
        item["endedBy"] = ended ? idValue(ended->id) : nlohmann::json();
        item["because"] = ended ? nlohmann::json(ended->verdict) : nlohmann::json();
        record_["campaigns"].push_back(std::move(item));
    }
    if (i < count) omitted_[static_cast<std::size_t>(kind)]["notExamined"] += count - i;
}

void OTDecisionTrace::setOutcome(const char* verdict, nlohmann::json reasonAndValues) {
    std::lock_guard lock(mutex_);
    record_["verdict"] = verdict;
    if (reasonAndValues.is_object()) {
        for (auto& [key, value] : reasonAndValues.items()) record_[key] = std::move(value);
    }
}

void OTDecisionTrace::holdForShowing() {
    std::lock_guard lock(mutex_);
    held_ = true;
}

void OTDecisionTrace::shown() { settle("shown", true); }

void OTDecisionTrace::notPresented() { settle("scheduled", false); }

void OTDecisionTrace::settle(const char* verdict, bool presented) {
    std::unique_lock lock(mutex_);
    if (const auto& ended = ended_[static_cast<std::size_t>(Kind::InApp)]) {
        auto& item = record_["campaigns"][ended->entry];
        item["verdict"] = verdict;
        if (!presented) item["presented"] = false;
    }
    held_ = false;
    deliverIfDone(lock);
}

void OTDecisionTrace::close() {
    std::unique_lock lock(mutex_);
    closed_ = true;
    deliverIfDone(lock);
}

void OTDecisionTrace::deliverIfDone(std::unique_lock<std::mutex>& lock) {
    if (!closed_ || held_ || delivered_) return;
    delivered_ = true;
    nlohmann::json omitted = nlohmann::json::object();
    for (std::size_t kind = 0; kind < omitted_.size(); ++kind) {
        if (!omitted_[kind].empty()) omitted[kindName(static_cast<Kind>(kind))] = omitted_[kind];
    }
    if (!omitted.empty()) record_["omitted"] = std::move(omitted);
    auto record = std::move(record_);
    auto deliver = std::move(deliver_);
    lock.unlock();
    if (deliver) deliver(std::move(record));
}

}  // namespace corvane
