#pragma once

#include <functional>
#include <memory>

namespace corvane {

class OTEnvironment;
class OTServerSession;
class OTWindowData;
class OTWindowRecordTree;
class OTWindowRecordTreeNode;

// Whether a matched dialog campaign may be shown now: the daily cap, the campaign's date window
// and its usage record (counts, pauses after a click or a close). An eligible showing is counted
// on the record and on the daily counter.
class OTDisplayEligibility {
public:
    using TreeSource = std::function<std::shared_ptr<OTWindowRecordTree>()>;

    // `tree` gives the record tree in force; `saveTree` writes it after a count changes.
    OTDisplayEligibility(OTEnvironment& environment, std::shared_ptr<OTServerSession> session, TreeSource tree,
                         std::function<void()> saveTree);

    bool readyToShowWithData(const std::shared_ptr<const OTWindowData>& data);
    bool matchData(const std::shared_ptr<const OTWindowData>& data);
    // Campaigns without both usage rules: counts an eligible showing itself (so twice in all).
    bool matchOldRuleWithData(const std::shared_ptr<const OTWindowData>& data);
    bool matchNewRuleWithData(const std::shared_ptr<const OTWindowData>& data);
    void syncWithTreeNode(const std::shared_ptr<OTWindowRecordTreeNode>& node);

private:
    // The daily test and the date window shared by both rule sets.
    bool dailyTest() const;
    bool dateWindowTest(const OTWindowData& data) const;
    std::shared_ptr<OTWindowRecordTreeNode> nodeFor(const OTWindowData& data) const;

    OTEnvironment& environment_;
    std::shared_ptr<OTServerSession> session_;
    TreeSource tree_;
    std::function<void()> saveTree_;
};

}  // namespace corvane
