#include <gtest/gtest.h>

#include "model/OTBannerRecordTree.h"
#include "model/OTWindowRecordTree.h"
#include "services/OTDataArchiver.h"
#include "support/OTTestEnvironment.h"

namespace corvane {

namespace {
std::shared_ptr<OTWindowRecordTreeNode> windowNode(std::int64_t id, std::int64_t count = 10) {
    auto node = std::make_shared<OTWindowRecordTreeNode>();
    node->setNodeId(id);
    node->setCount(count);
    return node;
}

std::vector<std::int64_t> ids(const OTRecordTree& tree) {
    std::vector<std::int64_t> out;
    for (const auto& node : tree.allNodes()) out.push_back(node->nodeId());
    return out;
}
}  // namespace

TEST(OTRecordTree, NodeSettersClampCounts) {
    auto node = windowNode(1, 0);
    EXPECT_EQ(node->count(), 4294967295);
    node->setCount(-5);
    EXPECT_EQ(node->count(), 4294967295);
    node->setCount(3);
    node->setUsedCount(7);
    EXPECT_EQ(node->usedCount(), 3);
    node->setCount(10);
    EXPECT_EQ(node->usedCount(), 3);  // raising the limit does not raise what was used
    EXPECT_TRUE(node->isEqual(windowNode(1).get()));
    EXPECT_FALSE(node->isEqual(windowNode(2).get()));
    EXPECT_FALSE(node->isEqual(nullptr));
}

TEST(OTRecordTree, MergeSkipsTheNodeAfterARemovedOneThenAddsInOrder) {
    auto tree = OTWindowRecordTree::treeWithNodes({windowNode(1), windowNode(3), windowNode(4)});
    auto fresh = OTWindowRecordTree::treeWithNodes({windowNode(1), windowNode(2)});
    tree->updateWithTree(*fresh);
    EXPECT_EQ(ids(*tree), (std::vector<std::int64_t>{1, 4, 2}));
    // A second merge catches the survivor.
    tree->updateWithTree(*fresh);
    EXPECT_EQ(ids(*tree), (std::vector<std::int64_t>{1, 2}));

    // Adding an existing id refreshes in place; the list does not grow.
    auto first = tree->findWindowNodeById(1);
    EXPECT_TRUE(tree->addTreeNode(windowNode(1, 5)));
    EXPECT_EQ(ids(*tree), (std::vector<std::int64_t>{1, 2}));
    EXPECT_EQ(tree->findWindowNodeById(1), first);
    EXPECT_EQ(first->count(), 5);
    EXPECT_FALSE(tree->addTreeNode(nullptr));
    EXPECT_TRUE(tree->removeTreeNode(first));
    EXPECT_EQ(ids(*tree), (std::vector<std::int64_t>{2}));
    EXPECT_EQ(tree->findTreeNodeById(1), nullptr);
    EXPECT_TRUE(tree->removeAllTreeNodes());
    EXPECT_TRUE(tree->allNodes().empty());
    EXPECT_EQ(OTWindowRecordTree::defaultTree(), OTWindowRecordTree::defaultTree());
}

TEST(OTRecordTree, DialogRefreshKeepsDeviceCountersAndFollowsServerRules) {
    OTTestEnvironment test;
    auto kept = windowNode(1, 5);
    kept->setUsedCount(4);
    kept->setClickCount(2);
    kept->setCloseCount(1);
    kept->setActivated(true);
    kept->setForbidden(true);
    kept->setStartTime("2024-01-01 00:00:00");
    kept->setLastEventType("$clickDialog");
    kept->setClickRule(std::make_shared<OTWindowRule>());
    kept->setLastPopTime(test.clock().now());
    auto tree = OTWindowRecordTree::treeWithNodes({kept});

    auto fresh = windowNode(1, 3);  // a lower limit from the server clamps nothing already used
    fresh->setStartTime("");
    fresh->setEndTime("2024-12-31 00:00:00");
    fresh->setCloseDialogType(2);
    tree->addTreeNode(fresh);
    EXPECT_EQ(kept->count(), 3);
    EXPECT_EQ(kept->usedCount(), 4);  // zeros of a fresh node are skipped
    EXPECT_EQ(kept->clickCount(), 2);
    EXPECT_EQ(kept->closeCount(), 1);
    EXPECT_EQ(kept->startTime(), "2024-01-01 00:00:00");
    EXPECT_EQ(kept->endTime(), "2024-12-31 00:00:00");
    EXPECT_EQ(kept->closeDialogType(), 2);
    EXPECT_EQ(kept->clickRule(), nullptr);  // an empty rule clears the kept one
    EXPECT_TRUE(kept->activated());
    EXPECT_TRUE(kept->forbidden());
    EXPECT_EQ(kept->lastEventType(), "$clickDialog");
    EXPECT_EQ(kept->lastPopTime(), test.clock().now());

    fresh->setUsedCount(2);
    fresh->setClickCount(9);
    tree->addTreeNode(fresh);
    EXPECT_EQ(kept->usedCount(), 2);
    EXPECT_EQ(kept->clickCount(), 9);
}

TEST(OTRecordTree, BannerRefreshDisarmsOnANewDigest) {
    auto node = std::make_shared<OTBannerRecordTreeNode>();
    node->setNodeId(8);
    node->setDataMD5("A");
    node->setActivated(true);
    auto tree = OTBannerRecordTree::treeWithNodes({node});
    auto same = std::make_shared<OTBannerRecordTreeNode>();
    same->setNodeId(8);
    same->setDataMD5("A");
    tree->addTreeNode(same);
    EXPECT_TRUE(node->activated());
    auto changed = std::make_shared<OTBannerRecordTreeNode>();
    changed->setNodeId(8);
    changed->setDataMD5("Nan");
    tree->addTreeNode(changed);
    EXPECT_FALSE(node->activated());  // armed by "Nan", then disarmed by the new digest
    EXPECT_EQ(node->dataMD5(), "Nan");
    tree->addTreeNode(changed);
    EXPECT_TRUE(node->activated());  // "Nan" after "Nan" stays armed
}

TEST(OTRecordTree, NodesArchiveWithTheirKeys) {
    OTTestEnvironment test;
    auto node = windowNode(42, 6);
    node->setUsedCount(2);
    node->setClickCount(1);
    node->setCloseCount(3);
    node->setActivated(true);
    node->setForbidden(true);
    node->setForbiddenStartTime(test.clock().now() + std::chrono::seconds(4294967295LL));
    node->setCloseDialogType(1);
    auto rule = std::make_shared<OTWindowRule>();
    rule->setModelWithDic(nlohmann::json{{"eventType", "$closeDialog"}, {"type", 2}, {"count", 4}});
    node->setCloseRule(rule);
    node->setLastPopTime(test.clock().now());
    node->setLastEventType("$closeDialog");
    node->setEndTime("2024-12-31 00:00:00");
    const auto path = test.documents() / "OTWindowRecordTreeData.plist";
    ASSERT_TRUE(OTDataArchiver::setData(std::vector<std::shared_ptr<OTWindowRecordTreeNode>>{node}, path));
    auto back = OTDataArchiver::getObjectsForPath<OTWindowRecordTreeNode>(path);
    ASSERT_TRUE(back.has_value());
    const auto& r = *(*back)[0];
    EXPECT_EQ(r.nodeId(), 42);
    EXPECT_EQ(r.description(), node->description());
    EXPECT_EQ(r.forbiddenStartTime(), node->forbiddenStartTime());
    EXPECT_TRUE(r.activated());
    EXPECT_TRUE(r.forbidden());
    EXPECT_EQ(r.endTime(), "2024-12-31 00:00:00");
    EXPECT_EQ(node->description(),
              "count:6,usedCount:2,clickCount:1,closeCount:3,closeDialogType:1,clickRule:(null),"
              "closeRule:eventType:$closeDialog,type:2,count:4,intervalValue:0,intervalType:,"
              "lastPopTime:2024-05-01 00:00:00 +0000,lastEventType:$closeDialog");
}

}  // namespace corvane
