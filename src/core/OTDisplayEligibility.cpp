#include "core/OTDisplayEligibility.h"

#include <nlohmann/json.hpp>
#include <span>

#include "foundation/OTLogFormatter.h"
#include "model/OTWindowData.h"
#include "model/OTWindowRecordTree.h"
#include "model/OTWindowRecordTreeNode.h"
#include "model/OTWindowRule.h"
#include "platform/OTEnvironment.h"
#include "server/OTServerSession.h"
#include "services/OTUserConfig.h"
#include "services/OTUtils.h"

namespace corvane {

OTDisplayEligibility::OTDisplayEligibility(OTEnvironment& environment, std::shared_ptr<OTServerSession> session,
                                           std::shared_ptr<OTUserConfig> settings, TreeSource tree,
                                           std::function<void()> saveTree)
    : environment_(environment),
      session_(std::move(session)),
      settings_(std::move(settings)),
      tree_(std::move(tree)),
      saveTree_(std::move(saveTree)) {}

std::shared_ptr<OTWindowRecordTreeNode> OTDisplayEligibility::nodeFor(const OTWindowData& data) const {
    const auto tree = tree_();
    return tree ? tree->findWindowNodeById(data.windowIdIntegerValue()) : nullptr;
}

nlohmann::json OTDisplayEligibility::Refusal::describe() const {
    const auto text = [](const std::optional<std::string>& value) {
        return value ? nlohmann::json(*value) : nlohmann::json();
    };
    switch (reason) {
        case Reason::DailyCap: return {{"reason", "dailyCap"}, {"count", count}, {"max", max}};
        case Reason::UsedUp: return {{"reason", "usedUp"}, {"used", count}, {"count", max}};
        case Reason::DateWindow:
            return {{"reason", "dateWindow"},
                    {"start", text(start)},
                    {"end", text(end)},
                    {"today", text(OTUtils::stringFromDate(today, std::string("yyyy-MM-dd")))}};
        case Reason::ShownBefore: return {{"reason", "shownBefore"}};
        case Reason::Pause:
            return {{"reason", "pause"}, {"rule", text(rule)}, {"until", text(OTUtils::stringFromDate(until))}};
        case Reason::ReactionCount:
            return {{"reason", "reactionCount"}, {"rule", text(rule)}, {"count", count}, {"max", max}};
        case Reason::NoRuleForReaction: {
            nlohmann::json values = {{"reason", "noRuleForReaction"}, {"lastEventType", text(rule)}};
            if (ruleType) values["ruleType"] = *ruleType;
            return values;
        }
    }
    return nullptr;
}

std::optional<OTDisplayEligibility::Refusal> OTDisplayEligibility::dailyAndDateWindow(const OTWindowData& data) const {
    auto settings = settings_->configWithGroupIdentifier(session_->groupIdentifier());
    const auto count = static_cast<std::int64_t>(settings->dailyPopWindowCount());
    const auto max = static_cast<std::int64_t>(settings->maxDailyPopWindowCount());
    if (count >= max) return Refusal{.reason = Refusal::Reason::DailyCap, .count = count, .max = max};
    return dateWindow(data);
}

std::optional<OTDisplayEligibility::Refusal> OTDisplayEligibility::dateWindow(const OTWindowData& data) const {
    // Calendar days only: each instant is taken back to the start of its local day.
    const auto day = [](const std::optional<OTUtils::Date>& when) -> std::optional<OTUtils::Date> {
        if (!when) return std::nullopt;
        return OTUtils::dateFromString(OTUtils::stringFromDate(when, std::string("yyyy-MM-dd")),
                                       std::string("yyyy-MM-dd"));
    };
    const auto now = environment_.clock().now();
    const auto today = day(now);
    if (OTUtils::compareOneDay(today, day(OTUtils::dateFromString(data.startTime()))) >= 0 &&
        OTUtils::compareOneDay(today, day(OTUtils::dateFromString(data.endTime()))) <= 0) {
        return std::nullopt;
    }
    return Refusal{
        .reason = Refusal::Reason::DateWindow, .start = data.startTime(), .end = data.endTime(), .today = now};
}

std::optional<OTDisplayEligibility::Refusal> OTDisplayEligibility::refusalToShow(
    const std::shared_ptr<const OTWindowData>& data) {
    // Whatever the decision counts reaches the files in one step.
    OTFileSystem::Batch batch(environment_.files());
    auto refused = data ? refusal(data) : std::optional<Refusal>(Refusal{.reason = Refusal::Reason::NoRuleForReaction});
    const bool ready = !refused;
    if (ready && tree_()) syncWithTreeNode(nodeFor(*data));
    batch.commit();
    const OTLogArgument arguments[] = {ready};
    environment_.console().print(OTLogFormatter::format("readyToShowWithData:%d", arguments));
    return refused;
}

std::optional<OTDisplayEligibility::Refusal> OTDisplayEligibility::refusal(
    const std::shared_ptr<const OTWindowData>& data) {
    const OTLogArgument arguments[] = {data};
    environment_.console().print(OTLogFormatter::format("matchData:%@", arguments));
    if (data->clickRule() && data->closeRule()) return refusalByNewRule(data);
    return refusalByOldRule(data);
}

std::optional<OTDisplayEligibility::Refusal> OTDisplayEligibility::refusalByOldRule(
    const std::shared_ptr<const OTWindowData>& data) {
    auto& console = environment_.console();
    const OTLogArgument dataArgument[] = {data};
    console.print(OTLogFormatter::format("matchOldRuleWithData:%@", dataArgument));
    const auto node = nodeFor(*data);
    auto settings = settings_->configWithGroupIdentifier(session_->groupIdentifier());
    const OTLogArgument counts[] = {settings->dailyPopWindowCount(), settings->maxDailyPopWindowCount()};
    console.print(
        OTLogFormatter::format("matchOldRuleWithData:dailyPopWindowCount->%ld,maxDailyPopWindowCount->%ld", counts));
    const std::int64_t used = node ? node->usedCount() : 0;
    const std::int64_t allowed = node ? node->count() : 0;
    // The daily test comes first, then the usage count, the date window and the activation.
    auto refused = dailyAndDateWindow(*data);
    const bool capped = refused && refused->reason == Refusal::Reason::DailyCap;
    if (!capped && used >= allowed) {
        refused = Refusal{.reason = Refusal::Reason::UsedUp, .count = used, .max = allowed};
    } else if (!refused && node && node->activated()) {
        refused = Refusal{.reason = Refusal::Reason::ShownBefore};
    }
    if (!refused) syncWithTreeNode(node);
    const OTLogArgument result[] = {!refused};
    console.print(OTLogFormatter::format("matchOldRuleWithData:match->%d", result));
    return refused;
}

std::optional<OTDisplayEligibility::Refusal> OTDisplayEligibility::refusalByNewRule(
    const std::shared_ptr<const OTWindowData>& data) {
    auto& console = environment_.console();
    auto print = [&](const char* format, std::initializer_list<OTLogArgument> arguments) {
        console.print(
            OTLogFormatter::format(format, std::span<const OTLogArgument>(arguments.begin(), arguments.size())));
    };
    print("matchNewRuleWithData->windowData:%@", {data});
    const auto node = nodeFor(*data);
    print("matchNewRuleWithData:->OTWindowRecordTreeNode:%@", {node});
    auto settings = settings_->configWithGroupIdentifier(session_->groupIdentifier());
    print("matchNewRuleWithData:%d,maxDailyPopWindowCount->%d",
          {settings->dailyPopWindowCount(), settings->maxDailyPopWindowCount()});
    const std::int64_t used = node ? node->usedCount() : 0;
    const auto lastEventType = node ? node->lastEventType() : std::nullopt;
    print("matchNewRuleWithData->usedCount:%d,lastEventType:%@", {used, lastEventType});

    if (used < 1 || !lastEventType || lastEventType->empty()) {
        print("matchNewRuleWithData->11111", {});
        auto refused = dailyAndDateWindow(*data);
        if (!refused) print("matchNewRuleWithData->22222", {});
        return refused;
    }
    // The node's rules tell which reaction came last; the campaign's rule gives the limits.
    std::shared_ptr<OTWindowRule> rule;
    const char* which = "click";
    const auto nodeClick = node->clickRule();
    const auto nodeClose = node->closeRule();
    if (nodeClick && nodeClick->eventType() == lastEventType) {
        rule = data->clickRule();
    } else if (nodeClose && nodeClose->eventType() == lastEventType) {
        rule = data->closeRule();
        which = "close";
    }
    if (!rule) return Refusal{.reason = Refusal::Reason::NoRuleForReaction, .rule = lastEventType};

    const auto pauseRefusal = [&]() -> std::optional<Refusal> {
        const std::int64_t factor = rule->intervalType() == "day" ? 24 : 1;
        // In floating point: a hostile interval must not overflow the multiplication.
        const double pause = static_cast<double>(factor) * static_cast<double>(rule->intervalValue()) * 3600.0;
        const auto last = node->lastPopTime().value_or(OTUtils::Date{});
        if (std::chrono::duration<double>(environment_.clock().now() - last).count() > pause) return std::nullopt;
        Refusal refused{.reason = Refusal::Reason::Pause, .rule = which};
        // A pause beyond what a date can hold has no end worth naming.
        if (pause < 3.0e9) {
            refused.until =
                last + std::chrono::duration_cast<OTUtils::Date::duration>(std::chrono::duration<double>(pause));
        }
        return refused;
    };
    const auto numberRefusal = [&]() -> std::optional<Refusal> {
        const bool clicks = rule->eventType() == "click";
        const std::int64_t counted = clicks ? node->clickCount() : node->closeCount();
        if (counted < rule->count()) return std::nullopt;
        return Refusal{.reason = Refusal::Reason::ReactionCount,
                       .count = counted,
                       .max = rule->count(),
                       .rule = clicks ? "click" : "close"};
    };
    std::optional<Refusal> refused;
    switch (rule->type()) {
        case 3: return (refused = dailyAndDateWindow(*data)) ? refused : pauseRefusal();
        case 2:
            if ((refused = dailyAndDateWindow(*data)) || (refused = pauseRefusal())) return refused;
            return numberRefusal();
        case 1: return (refused = dailyAndDateWindow(*data)) ? refused : numberRefusal();
        default:
            return Refusal{
                .reason = Refusal::Reason::NoRuleForReaction, .rule = lastEventType, .ruleType = rule->type()};
    }
}

void OTDisplayEligibility::syncWithTreeNode(const std::shared_ptr<OTWindowRecordTreeNode>& node) {
    if (node) {
        node->setUsedCount(node->usedCount() + 1);
        node->setActivated(true);
    }
    // The day's count (settings) and the campaign's use (record tree) land together or not at all.
    OTFileSystem::Batch batch(environment_.files());
    auto settings = settings_->configWithGroupIdentifier(session_->groupIdentifier());
    settings->setDailyPopWindowCount(settings->dailyPopWindowCount() + 1);
    saveTree_();
    batch.commit();
}

}  // namespace corvane
