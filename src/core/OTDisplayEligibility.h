#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <memory>
#include <nlohmann/json_fwd.hpp>
#include <optional>
#include <string>

namespace corvane {

class OTEnvironment;
class OTServerSession;
class OTUserConfig;
class OTWindowData;
class OTWindowRecordTree;
class OTWindowRecordTreeNode;

// Whether a matched dialog campaign may be shown now: the daily cap, the campaign's date window
// and its usage record (counts, pauses after a click or a close). An eligible showing is counted
// on the record and on the daily counter.
class OTDisplayEligibility {
public:
    using TreeSource = std::function<std::shared_ptr<OTWindowRecordTree>()>;
    using Date = std::chrono::system_clock::time_point;

    // Why a campaign may not be shown now: the first test that failed, with what decided it.
    struct Refusal {
        enum class Reason { DailyCap, UsedUp, DateWindow, ShownBefore, Pause, ReactionCount, NoRuleForReaction };
        Reason reason = Reason::DailyCap;
        // dailyCap: the day's count and its cap; usedUp: used and allowed; reactionCount: the
        // counted reactions and the rule's number.
        std::int64_t count = 0;
        std::int64_t max = 0;
        // pause and reactionCount: "click" or "close"; noRuleForReaction: the last reaction.
        std::optional<std::string> rule{};
        std::optional<std::int64_t> ruleType{};  // noRuleForReaction: a rule of an unknown type
        std::optional<Date> until{};             // pause: when it ends
        std::optional<std::string> start{};      // dateWindow: as the campaign gives them
        std::optional<std::string> end{};
        Date today{};
        // {"reason": name, ...values}.
        nlohmann::json describe() const;
    };

    // `tree` gives the record tree in force; `saveTree` writes it after a count changes; `settings`
    // keep the daily counter and its cap.
    OTDisplayEligibility(OTEnvironment& environment, std::shared_ptr<OTServerSession> session,
                         std::shared_ptr<OTUserConfig> settings, TreeSource tree, std::function<void()> saveTree);

    // Nothing when the campaign may be shown; the showing is then counted.
    std::optional<Refusal> refusalToShow(const std::shared_ptr<const OTWindowData>& data);
    bool readyToShowWithData(const std::shared_ptr<const OTWindowData>& data) { return !refusalToShow(data); }
    std::optional<Refusal> refusal(const std::shared_ptr<const OTWindowData>& data);
    bool matchData(const std::shared_ptr<const OTWindowData>& data) { return !refusal(data); }
    // Campaigns without both usage rules: counts an eligible showing itself (so twice in all).
    std::optional<Refusal> refusalByOldRule(const std::shared_ptr<const OTWindowData>& data);
    bool matchOldRuleWithData(const std::shared_ptr<const OTWindowData>& data) { return !refusalByOldRule(data); }
    std::optional<Refusal> refusalByNewRule(const std::shared_ptr<const OTWindowData>& data);
    bool matchNewRuleWithData(const std::shared_ptr<const OTWindowData>& data) { return !refusalByNewRule(data); }
    void syncWithTreeNode(const std::shared_ptr<OTWindowRecordTreeNode>& node);

private:
    // The daily test and the date window shared by both rule sets, in that order.
    std::optional<Refusal> dailyAndDateWindow(const OTWindowData& data) const;
    std::optional<Refusal> dateWindow(const OTWindowData& data) const;
    std::shared_ptr<OTWindowRecordTreeNode> nodeFor(const OTWindowData& data) const;

    OTEnvironment& environment_;
    std::shared_ptr<OTServerSession> session_;
    std::shared_ptr<OTUserConfig> settings_;
    TreeSource tree_;
    std::function<void()> saveTree_;
};

}  // namespace corvane
