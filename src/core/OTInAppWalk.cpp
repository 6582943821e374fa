#include "core/OTInAppWalk.h"

#include <nlohmann/json.hpp>
#include <optional>
#include <utility>

#include "core/OTCampaignStore.h"
#include "core/OTDecisionTrace.h"
#include "core/OTDialogFlow.h"
#include "core/OTSDKManager.h"
#include "model/OTEvent.h"
#include "model/OTWindowData.h"
#include "platform/OTEnvironment.h"
#include "services/OTLogger.h"

namespace corvane {

namespace {
using Kind = OTDecisionTrace::Kind;

nlohmann::json xwhatOf(const std::shared_ptr<OTEvent>& event) {
    return event && event->xwhat() ? nlohmann::json(*event->xwhat()) : nlohmann::json();
}
}  // namespace

void OTInAppWalk::run(const std::shared_ptr<OTEvent>& event, std::uint64_t startIndex, const char* pass) {
    if (active_) {
        next_ = std::make_pair(event, startIndex);
        return;
    }
    // A walk that no traced pass started traces itself.
    std::shared_ptr<OTDecisionTrace> own;
    if (engine_.currentTrace() == nullptr && event) own = engine_.makeTrace(*event, std::nullopt, pass, startIndex);
    OTSDKManager::TraceScope scope(engine_, own ? own.get() : engine_.currentTrace());

    active_ = true;
    std::optional<Step> step = std::make_pair(event, startIndex);
    while (step) {
        next_.reset();
        // Named copies, not a structured binding: what they start may outlive the step.
        const auto current = step->first;
        const auto index = step->second;
        examine(current, index);
        step = next_;
    }
    auto list = std::exchange(lastList_, nullptr);
    const auto last = std::exchange(lastIndex_, std::nullopt);
    next_.reset();
    active_ = false;

    if (auto* trace = engine_.currentTrace(); trace != nullptr && list && last && *last + 1 < list->size()) {
        trace->notExamined(Kind::InApp, list->size() - *last - 1, [&list, from = *last + 1](std::size_t i) {
            const auto& data = (*list)[from + i];
            return data ? data->windowId() : std::nullopt;
        });
    }
    if (own) own->close();
}

void OTInAppWalk::goNext(const std::shared_ptr<OTEvent>& event, std::uint64_t index) {
    engine_.triggerEventMatchInApp(event, index + 1);
}

void OTInAppWalk::examine(const std::shared_ptr<OTEvent>& current, std::uint64_t index) {
    const auto list = engine_.campaigns_->inAppCampaigns();
    const auto& campaigns = *list;
    OTLog(OTLogger::kLevelLog, "corvane->triggerEventMatchInApp:event->%@,startIndex:%d,inAppDataArray:%d", current,
          index, campaigns.size());
    if (!current) return;
    if (campaigns.empty()) {
        keepWaiting(current);
        return;
    }
    if (index >= campaigns.size()) return;
    lastIndex_ = index;
    if (lastList_ != list) lastList_ = list;
    engine_.currentMatchEventIndex_ = static_cast<std::int64_t>(index);
    const auto& data = campaigns[index];
    const auto mainPage = engine_.mainPage();
    OTLog(OTLogger::kLevelLog, "corvane->triggerEventMatchInApp:%@", data);
    OTLog(OTLogger::kLevelLog, "corvane->triggerEventMatchInApp:windowData.type=%d,preEvent=%d",
          data ? data->type() : 0, data ? data->preEvents().size() : 0);
    OTLog(OTLogger::kLevelLog, "corvane->triggerEventMatchInApp->mainPage:%@", mainPage);
    if (!data) {
        goNext(current, index);
    } else if (data->type() != 0) {
        const auto& preEvents = data->preEvents();
        if (preEvents.size() == 1) {
            handleEvent(current, data, index);
        } else if (preEvents.empty() || !current->matches(preEvents.front())) {
            if (auto* trace = engine_.currentTrace()) {
                trace->add(Kind::InApp, data->windowId(), "notMatched", [&] {
                    return OTDecisionTrace::reason(
                        "sequenceStep", {{"step", preEvents.empty() ? 0 : 1},
                                         {"of", preEvents.size()},
                                         {"expected", preEvents.empty() ? nullptr : xwhatOf(preEvents.front())}});
                });
            }
            goNext(current, index);
        } else {
            advanceSequences(current, campaigns, index);
        }
    } else if (mainPage && !mainPage->empty()) {
        OTLog(OTLogger::kLevelLog, "corvane->triggerEventMatchInApp->firstPVWithMainPage:event");
        firstPVWithMainPage(current, data, index);
    } else {
        OTLog(OTLogger::kLevelLog, "corvane->triggerEventMatchInApp->firstPVWithoutMainPage:event ");
        firstPVWithoutMainPage(current, data, index);
    }
}

void OTInAppWalk::advanceSequences(const std::shared_ptr<OTEvent>& event, const OTCampaignStore::Campaigns& campaigns,
                                   std::uint64_t index) {
    // The event only advances sequences: every campaign waiting on it moves on, and the pass ends.
    OTCampaignStore::Campaigns met;
    for (const auto& other : campaigns) {
        if (!other) continue;
        const auto& waiting = other->preEvents();
        if (waiting.size() >= 2 && event->matches(waiting.front())) met.push_back(other);
    }
    engine_.campaigns_->advanceSequences(met);
    if (auto* trace = engine_.currentTrace()) {
        nlohmann::json moved = nlohmann::json::array();
        for (const auto& campaign : met) moved.push_back(campaign->windowId() ? *campaign->windowId() : "");
        const auto& data = campaigns[index];
        const auto& steps = data->preEvents();
        trace->end(Kind::InApp, data->windowId(), "advanced",
                   {{"step", 1}, {"of", steps.size()}, {"next", xwhatOf(steps[1])}, {"moved", std::move(moved)}});
    }
}

void OTInAppWalk::handleEvent(const std::shared_ptr<OTEvent>& event, const std::shared_ptr<const OTWindowData>& data,
                              std::uint64_t index) {
    OTLog(OTLogger::kLevelLog, "corvane->handleEvent:event->%@,windowData->%@", event, data);
    if (event->matches(data->event())) {
        OTLog(OTLogger::kLevelLog, "corvane->handleEvent-->maches");
        engine_.dialogFlow().prepareForPopWindowWithData(data, event, index);
        return;
    }
    OTLog(OTLogger::kLevelLog, "corvane->handleEvent-->nomaches");
    if (auto* trace = engine_.currentTrace()) {
        trace->add(Kind::InApp, data->windowId(), "notMatched", [&] { return event->mismatch(data->event().get()); });
    }
    goNext(event, index);
}

void OTInAppWalk::firstPVWithoutMainPage(const std::shared_ptr<OTEvent>& event,
                                         const std::shared_ptr<const OTWindowData>& data, std::uint64_t index) {
    auto& environment = engine_.environment();
    const auto page = OTFirstPageViewRules::visiblePage(environment, nullptr);
    followFirstPageView(
        OTFirstPageViewRules::withoutMainPage(event, data, engine_.pvCount(), page, environment.console()), event, data,
        index, page);
}

void OTInAppWalk::firstPVWithMainPage(const std::shared_ptr<OTEvent>& event,
                                      const std::shared_ptr<const OTWindowData>& data, std::uint64_t index) {
    const std::string mainPage = engine_.mainPage().value_or("");
    const auto page = OTFirstPageViewRules::visiblePage(engine_.environment(), engine_.mainPageController());
    followFirstPageView(OTFirstPageViewRules::withMainPage(event, data, mainPage, engine_.mainPagePVCount(), page),
                        event, data, index, page);
}

void OTInAppWalk::followFirstPageView(OTFirstPageViewRules::Decision decision, const std::shared_ptr<OTEvent>& event,
                                      const std::shared_ptr<const OTWindowData>& data, std::uint64_t index,
                                      const OTFirstPageViewRules::Page& page) {
    auto* trace = engine_.currentTrace();
    const auto reason = [&] {
        const auto url = OTFirstPageViewRules::pageUrl(event);
        const auto mainPage = engine_.mainPage();
        nlohmann::json values = {{"case", OTFirstPageViewRules::caseName(decision.why)},
                                 {"url", url ? nlohmann::json(*url) : nlohmann::json()},
                                 {"expected", nullptr}};
        if (const auto expected = OTFirstPageViewRules::pageUrl(data->event())) values["expected"] = *expected;
        if (mainPage && !mainPage->empty()) {
            values["mainPage"] = *mainPage;
            values["visiblePage"] = page.visibleName;
            values["mainPageViews"] = engine_.mainPagePVCount();
        }
        return OTDecisionTrace::reason("firstPageView", std::move(values));
    };
    switch (decision.outcome) {
        case OTFirstPageViewRules::Outcome::Show:
            engine_.dialogFlow().prepareForPopWindowWithData(data, event, index);
            return;
        case OTFirstPageViewRules::Outcome::GoNext:
            if (trace != nullptr) trace->add(Kind::InApp, data->windowId(), "notMatched", reason);
            goNext(event, index);
            return;
        case OTFirstPageViewRules::Outcome::Defer:
            // The window observation replays it once the cover is removed.
            engine_.cachedFirstPVEventOfMainPage_ = event;
            engine_.mainPagePVCount_ = 0;
            if (trace != nullptr) {
                auto values = reason();
                values["kept"] = true;
                trace->end(Kind::InApp, data->windowId(), "heldBack", std::move(values));
            }
            return;
    }
}

void OTInAppWalk::keepWaiting(const std::shared_ptr<OTEvent>& event) {
    const auto kept = engine_.addWaitingEvent(event);
    auto* trace = engine_.currentTrace();
    if (trace == nullptr) return;
    nlohmann::json values = {{"waiting", engine_.waitingEvents().size()}, {"max", engine_.maxWaitingEventsCount()}};
    switch (kept) {
        case OTSDKManager::Waiting::Kept:
        case OTSDKManager::Waiting::NoEvent: break;
        case OTSDKManager::Waiting::ListFull: values["discarded"] = "listFull"; break;
        case OTSDKManager::Waiting::AlreadyWaiting: values["discarded"] = "alreadyWaiting"; break;
    }
    trace->setOutcome(kept == OTSDKManager::Waiting::Kept ? "waiting" : "dropped",
                      OTDecisionTrace::reason("noCampaignsYet", std::move(values)));
}

}  // namespace corvane
