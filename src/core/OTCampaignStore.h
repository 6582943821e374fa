#pragma once

#include <memory>
#include <string>
#include <vector>

#include "platform/OTClock.h"

namespace corvane {

class OTServerSession;
class OTWindowData;
class OTWindowRecordTree;

// The engine's dialog campaigns and their usage records, with the files that keep them between
// runs: the in-app and subscribe lists and the dialog record tree. Plain data of the engine's event
// queue: read and written there only (or before the engine is shared, or once it is idle).
class OTCampaignStore {
public:
    using Campaign = std::shared_ptr<const OTWindowData>;
    using Campaigns = std::vector<Campaign>;

    static constexpr const char* kInAppFileName = "OTInAppWindowData.plist";
    static constexpr const char* kSubscribeFileName = "OTSubscribeWindowData.plist";
    static constexpr const char* kRecordTreeFileName = "OTWindowRecordTreeData.plist";

    explicit OTCampaignStore(std::shared_ptr<OTServerSession> session);

    // The in-app list as one shared snapshot: a walk over thousands of campaigns reads it without
    // copying it.
    std::shared_ptr<const Campaigns> inAppCampaigns() const { return inAppDataArray_; }
    Campaigns inAppDataArray() const { return *inAppDataArray_; }
    void setInAppDataArray(Campaigns value) { inAppDataArray_ = std::make_shared<const Campaigns>(std::move(value)); }
    Campaigns subscribeDataArray() const { return subscribeDataArray_; }
    void setSubscribeDataArray(Campaigns value) { subscribeDataArray_ = std::move(value); }
    std::shared_ptr<OTWindowRecordTree> windowRecordTree() const { return windowRecordTree_; }
    void setWindowRecordTree(std::shared_ptr<OTWindowRecordTree> value) { windowRecordTree_ = std::move(value); }
    bool treeNodesInit() const { return treeNodesInit_; }
    void setTreeNodesInit(bool value) { treeNodesInit_ = value; }

    // Reads the lists and the record tree back from their files; no dialog counts as armed then.
    void restore(OTClock::TimePoint now);
    // A downloaded in-app list replaces the list; the tree takes a node per campaign, keeping the
    // counts of the campaigns it knew.
    void mergeInAppList(const Campaigns& campaigns, OTClock::TimePoint now);
    // Moves each of `met` (campaigns of the walk's snapshot whose first pre-event the event met) one
    // step along its sequence, as a copy put into a new list: a walk still reading the old snapshot
    // keeps it. A campaign that a download has replaced in the meantime is left alone.
    void advanceSequences(const Campaigns& met);
    // Armed states are cleared and expired forbidden states lifted, once per run.
    void clearTreeNodeActivateState(OTClock::TimePoint now);
    // A reaction to campaign `data` forbids it as its close rule says (not, for the day, for good).
    void handleNodeForbiddenState(const OTWindowData& data, OTClock::TimePoint now);

    void syncInAppData();
    void syncSubscribeData();
    void syncRecordTree();

private:
    std::string pathOf(const char* fileName) const;
    Campaigns readCampaigns(const char* fileName) const;

    std::shared_ptr<OTServerSession> session_;
    std::shared_ptr<const Campaigns> inAppDataArray_ = std::make_shared<const Campaigns>();
    Campaigns subscribeDataArray_;
    std::shared_ptr<OTWindowRecordTree> windowRecordTree_;
    bool treeNodesInit_ = false;
};

}  // namespace corvane
