#include "core/OTDisplayEligibility.h"

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
                                           TreeSource tree, std::function<void()> saveTree)
    : environment_(environment), session_(std::move(session)), tree_(std::move(tree)), saveTree_(std::move(saveTree)) {}

std::shared_ptr<OTWindowRecordTreeNode> OTDisplayEligibility::nodeFor(const OTWindowData& data) const {
    const auto tree = tree_();
    return tree ? tree->findWindowNodeById(data.windowIdIntegerValue()) : nullptr;
}

bool OTDisplayEligibility::dailyTest() const {
    auto settings = OTUserConfig::defaultConfig()->configWithGroupIdentifier(session_->groupIdentifier());
    return static_cast<std::int64_t>(settings->dailyPopWindowCount()) <
           static_cast<std::int64_t>(settings->maxDailyPopWindowCount());
}

bool OTDisplayEligibility::dateWindowTest(const OTWindowData& data) const {
    // Calendar days only: each instant is taken back to the start of its local day.
    const auto day = [](const std::optional<OTUtils::Date>& when) -> std::optional<OTUtils::Date> {
        if (!when) return std::nullopt;
        return OTUtils::dateFromString(OTUtils::stringFromDate(when, std::string("yyyy-MM-dd")),
                                       std::string("yyyy-MM-dd"));
    };
    const auto today = day(environment_.clock().now());
    if (OTUtils::compareOneDay(today, day(OTUtils::dateFromString(data.startTime()))) < 0) return false;
    if (OTUtils::compareOneDay(today, day(OTUtils::dateFromString(data.endTime()))) > 0) return false;
    return true;
}

bool OTDisplayEligibility::readyToShowWithData(const std::shared_ptr<const OTWindowData>& data) {
    const bool ready = data && matchData(data);
    if (ready && tree_()) syncWithTreeNode(nodeFor(*data));
    const OTLogArgument arguments[] = {ready};
    environment_.console().print(OTLogFormatter::format("readyToShowWithData:%d", arguments));
    return ready;
}

bool OTDisplayEligibility::matchData(const std::shared_ptr<const OTWindowData>& data) {
    const OTLogArgument arguments[] = {data};
    environment_.console().print(OTLogFormatter::format("matchData:%@", arguments));
    if (data->clickRule() && data->closeRule()) return matchNewRuleWithData(data);
    return matchOldRuleWithData(data);
}

bool OTDisplayEligibility::matchOldRuleWithData(const std::shared_ptr<const OTWindowData>& data) {
    auto& console = environment_.console();
    const OTLogArgument dataArgument[] = {data};
    console.print(OTLogFormatter::format("matchOldRuleWithData:%@", dataArgument));
    const auto node = nodeFor(*data);
    auto settings = OTUserConfig::defaultConfig()->configWithGroupIdentifier(session_->groupIdentifier());
    const OTLogArgument counts[] = {settings->dailyPopWindowCount(), settings->maxDailyPopWindowCount()};
    console.print(
        OTLogFormatter::format("matchOldRuleWithData:dailyPopWindowCount->%ld,maxDailyPopWindowCount->%ld", counts));
    const std::int64_t used = node ? node->usedCount() : 0;
    const std::int64_t allowed = node ? node->count() : 0;
    const bool match = dailyTest() && used < allowed && dateWindowTest(*data) && !(node && node->activated());
    if (match) syncWithTreeNode(node);
    const OTLogArgument result[] = {match};
    console.print(OTLogFormatter::format("matchOldRuleWithData:match->%d", result));
    return match;
}

bool OTDisplayEligibility::matchNewRuleWithData(const std::shared_ptr<const OTWindowData>& data) {
    auto& console = environment_.console();
    auto print = [&](const char* format, std::initializer_list<OTLogArgument> arguments) {
        console.print(
            OTLogFormatter::format(format, std::span<const OTLogArgument>(arguments.begin(), arguments.size())));
    };
    print("matchNewRuleWithData->windowData:%@", {data});
    const auto node = nodeFor(*data);
    print("matchNewRuleWithData:->OTWindowRecordTreeNode:%@", {node});
    auto settings = OTUserConfig::defaultConfig()->configWithGroupIdentifier(session_->groupIdentifier());
    print("matchNewRuleWithData:%d,maxDailyPopWindowCount->%d",
          {settings->dailyPopWindowCount(), settings->maxDailyPopWindowCount()});
    const std::int64_t used = node ? node->usedCount() : 0;
    const auto lastEventType = node ? node->lastEventType() : std::nullopt;
    print("matchNewRuleWithData->usedCount:%d,lastEventType:%@", {used, lastEventType});

    if (used < 1 || !lastEventType || lastEventType->empty()) {
        print("matchNewRuleWithData->11111", {});
        const bool first = dailyTest() && dateWindowTest(*data);
        if (first) print("matchNewRuleWithData->22222", {});
        return first;
    }
    // The node's rules tell which reaction came last; the campaign's rule gives the limits.
    std::shared_ptr<OTWindowRule> rule;
    const auto nodeClick = node->clickRule();
    const auto nodeClose = node->closeRule();
    if (nodeClick && nodeClick->eventType() == lastEventType) rule = data->clickRule();
    else if (nodeClose && nodeClose->eventType() == lastEventType) rule = data->closeRule();
    if (!rule) return false;

    const auto pauseTest = [&] {
        const std::int64_t factor = rule->intervalType() == "day" ? 24 : 1;
        // In floating point: a hostile interval must not overflow the multiplication.
        const double pause = static_cast<double>(factor) * static_cast<double>(rule->intervalValue()) * 3600.0;
        const auto last = node->lastPopTime().value_or(OTUtils::Date{});
        return std::chrono::duration<double>(environment_.clock().now() - last).count() > pause;
    };
    const auto numberTest = [&] {
        const std::int64_t counted = rule->eventType() == "click" ? node->clickCount() : node->closeCount();
        return counted < rule->count();
    };
    switch (rule->type()) {
        case 3: return dailyTest() && dateWindowTest(*data) && pauseTest();
        case 2: return dailyTest() && dateWindowTest(*data) && pauseTest() && numberTest();
        case 1: return dailyTest() && dateWindowTest(*data) && numberTest();
        default: return false;
    }
}

void OTDisplayEligibility::syncWithTreeNode(const std::shared_ptr<OTWindowRecordTreeNode>& node) {
    if (node) {
        node->setUsedCount(node->usedCount() + 1);
        node->setActivated(true);
    }
    auto settings = OTUserConfig::defaultConfig()->configWithGroupIdentifier(session_->groupIdentifier());
    settings->setDailyPopWindowCount(settings->dailyPopWindowCount() + 1);
    saveTree_();
}

}  // namespace corvane
