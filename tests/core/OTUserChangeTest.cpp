#include <gtest/gtest.h>

#include "core/OTCampaignStore.h"
#include "core/OTSDKManager.h"
#include "model/OTWindowData.h"
#include "model/OTWindowRecordTree.h"
#include "model/OTWindowRecordTreeNode.h"
#include "platform/OTSandbox.h"
#include "server/OTNetwork.h"
#include "services/OTLogger.h"
#include "support/OTHeldEngine.h"

namespace corvane {

using nlohmann::json;

namespace {

std::string listAnswer(int id) {
    return json{
        {"code", 0},
        {"data", {{{"id", std::to_string(id)}, {"type", 1}, {"count", 3}, {"preEvents", {{{"xwhat", "buy"}}}}}}}}
        .dump();
}

// The engine with held requests, and the ids of its usage records.
struct UserChange : OTHeldEngine {
    std::vector<std::int64_t> nodeIds() const {
        std::vector<std::int64_t> ids;
        for (const auto& node : engine->campaigns().windowRecordTree()->allNodes()) ids.push_back(node->nodeId());
        return ids;
    }
};
}  // namespace

TEST(OTUserChange, AListAnsweredForAPreviousUserIsDiscardedWhicheverArrivesFirst) {
    for (const bool previousFirst : {true, false}) {
        SCOPED_TRACE(previousFirst ? "alice's answer first" : "bob's answer first");
        UserChange c;
        // Alice's list is asked for before bob comes.
        c.engine->onUserProfile(json{{"xwho", "alice"}});
        c.test.scheduler().runUntilIdle();
        c.engine->onUserProfile(json{{"xwho", "bob"}});
        c.test.scheduler().runUntilIdle();
        const auto answerFor = [&](const char* user, int id) {
            EXPECT_TRUE(c.transport->answer(OTHeldTransport::kInAppPath, user, listAnswer(id))) << user;
        };
        if (previousFirst) {
            answerFor("alice", 1);
            answerFor("bob", 2);
        } else {
            answerFor("bob", 2);
            answerFor("alice", 1);
        }
        c.test.scheduler().runUntilIdle();
        EXPECT_EQ(c.campaignIds(), std::vector<std::string>{"2"});
        EXPECT_EQ(c.nodeIds(), std::vector<std::int64_t>{2});
        const auto log = c.log();
        EXPECT_NE(log.find("用户已切换，丢弃用户 alice 的列表：/push/sdk/in_app"), std::string::npos);
        EXPECT_EQ(log.find("丢弃用户 bob"), std::string::npos);
    }
}

TEST(OTUserChange, TheOldUsersRecordsAreWipedBeforeTheNewUsersListCanBeMerged) {
    for (const bool atOnce : {true, false}) {
        SCOPED_TRACE(atOnce ? "answered inside the request" : "answered later");
        UserChange c;
        auto old = std::make_shared<OTWindowRecordTreeNode>();
        old->setNodeId(9);
        c.engine->campaigns().windowRecordTree()->addTreeNode(old);
        if (atOnce) {
            c.transport->setAnswerAtOnce([](const OTHeldTransport::Held& held) {
                return held.isFor(OTHeldTransport::kInAppPath) ? listAnswer(5) : std::string(R"({"code":0})");
            });
        }
        c.engine->onUserProfile(json{{"xwho", "bob"}});
        c.test.scheduler().runUntilIdle();
        if (!atOnce) {
            EXPECT_TRUE(c.transport->answer(OTHeldTransport::kInAppPath, "bob", listAnswer(5)));
        }
        c.test.scheduler().runUntilIdle();
        EXPECT_EQ(c.campaignIds(), std::vector<std::string>{"5"});
        EXPECT_EQ(c.nodeIds(), std::vector<std::int64_t>{5});
    }
}

}  // namespace corvane
