#include "core/OTDecisionTrace.h"

#include <utility>

#include "model/OTEvent.h"

namespace corvane {

namespace {
nlohmann::json idValue(const std::optional<std::string>& id) { return id ? nlohmann::json(*id) : nlohmann::json(); }
}  // namespace

OTDecisionTrace::OTDecisionTrace(const OTEvent& event, std::optional<std::int64_t> source, std::string pass,
                                 std::uint64_t startIndex, Deliver deliver)
    : deliver_(std::move(deliver)) {
    record_ = {
        {"event", {{"xwhat", idValue(event.xwhat())}, {"source", source ? nlohmann::json(*source) : nlohmann::json()}}},
        {"pass", std::move(pass)}};
    if (startIndex > 0) record_["startIndex"] = startIndex;
    campaigns_.reserve(kMaxListed);
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

// An entry's own names go in last, over any of the values that has one of them. Built in place:
// a listened walk makes one entry per campaign.
void OTDecisionTrace::list(nlohmann::json values, Kind kind, const std::optional<std::string>& id,
                           const char* verdict) {
    if (!values.is_object()) values = nlohmann::json::object();
    auto& item = values.get_ref<nlohmann::json::object_t&>();
    item.insert_or_assign("id", idValue(id));
    item.insert_or_assign("kind", kindName(kind));
    item.insert_or_assign("verdict", verdict);
    campaigns_.push_back(std::move(values));
    ++listed_;
}

void OTDecisionTrace::omit(Kind kind, std::string_view verdict, std::size_t campaigns) {
    auto& counts = omitted_[static_cast<std::size_t>(kind)];
    if (const auto it = counts.find(verdict); it != counts.end()) it->second += campaigns;
    else counts.emplace(verdict, campaigns);
}

void OTDecisionTrace::add(Kind kind, const std::optional<std::string>& id, const char* verdict,
                          const Explain& explain) {
    std::lock_guard lock(mutex_);
    if (listed_ >= kMaxListed) {
        omit(kind, verdict, 1);
        return;
    }
    list(explain ? explain() : nlohmann::json(), kind, id, verdict);
}

void OTDecisionTrace::end(Kind kind, const std::optional<std::string>& id, const char* verdict, nlohmann::json values) {
    std::lock_guard lock(mutex_);
    list(std::move(values), kind, id, verdict);
    ended_[static_cast<std::size_t>(kind)] = Ended{campaigns_.size() - 1, id, verdict};
}

void OTDecisionTrace::notExamined(Kind kind, std::size_t count,
                                  const std::function<std::optional<std::string>(std::size_t)>& idAt) {
    std::lock_guard lock(mutex_);
    const auto& ended = ended_[static_cast<std::size_t>(kind)];
    std::size_t i = 0;
    for (; i < count && listed_ < kMaxListed; ++i) {
        nlohmann::json values = nlohmann::json::object();
        values["reason"] = "passEnded";
        values["endedBy"] = ended ? idValue(ended->id) : nlohmann::json();
        values["because"] = ended ? nlohmann::json(ended->verdict) : nlohmann::json();
        list(std::move(values), kind, idAt(i), "notExamined");
    }
    if (i < count) omit(kind, "notExamined", count - i);
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
        auto& item = campaigns_[ended->entry];
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
    record_["campaigns"] = std::move(campaigns_);
    auto record = std::move(record_);
    auto deliver = std::move(deliver_);
    lock.unlock();
    if (deliver) deliver(std::move(record));
}

}  // namespace corvane
