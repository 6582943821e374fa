#include <gtest/gtest.h>

#include "OTDevServer.h"
#include "server/OTNetwork.h"
#include "support/OTTestEnvironment.h"

namespace corvane {

using namespace std::chrono_literals;
using nlohmann::json;

namespace {
struct Call {
    std::atomic<bool> done{false};
    long status = 0;
    json answer;
    std::optional<OTNetwork::Error> error;
};

void post(OTTestEnvironment& test, OTDevServer& server, const std::string& path, const json& body, Call& call) {
    OTNetwork::network()->postRequestWithRelativeURLStr(
        server.baseURL() + path, nullptr, body,
        [&](const OTNetwork::Response& response, const std::string& data) {
            call.status = response.statusCode;
            call.answer = json::parse(data, nullptr, false);
            call.done = true;
        },
        [&](const OTNetwork::Error& error) {
            call.error = error;
            call.done = true;
        });
    ASSERT_TRUE(test.scheduler().runUntil([&] { return call.done.load(); }, 10s));
}
}  // namespace

TEST(OTDevServer, ServesTheSampleCampaignsBehindALoginToken) {
    OTTestEnvironment test;
    OTDevServer server({OT_SAMPLE_CAMPAIGNS});
    ASSERT_TRUE(server.start());
    EXPECT_GT(server.port(), 0);

    Call login;
    post(test, server, "/push/sdk/login", json{{"appKey", "k"}}, login);
    EXPECT_EQ(login.answer["code"], 0);
    EXPECT_EQ(login.answer["rule"]["dayDialogMaxCount"], 5);
    const std::string token = login.answer["token"];

    Call list;
    post(test, server, "/push/sdk/in_app", json{{"token", token}}, list);
    ASSERT_EQ(list.answer["data"].size(), 4u);
    EXPECT_EQ(list.answer["data"][0]["id"], "101");  // file-name order
    EXPECT_EQ(list.answer["data"][3]["style"], 4);

    Call stale;
    server.expireTokens();
    post(test, server, "/push/sdk/event/subscribe", json{{"token", token}}, stale);
    EXPECT_EQ(stale.answer["code"], 10001);

    const auto recorded = server.requests();
    ASSERT_EQ(recorded.size(), 3u);
    EXPECT_EQ(recorded[1].path, "/push/sdk/in_app");
    EXPECT_EQ(recorded[1].body["token"], token);
    EXPECT_EQ(server.requestsTo("/push/sdk/login").size(), 1u);
}

TEST(OTDevServer, InjectedFaultsLastForTheirCount) {
    OTTestEnvironment test;
    OTDevServer server({OT_SAMPLE_CAMPAIGNS});
    ASSERT_TRUE(server.start());
    OTDevServer::Fault codes;
    codes.count = 2;
    codes.code = 10001;
    server.injectFault("/push/sdk/login", codes);
    for (int i = 0; i < 3; ++i) {
        Call call;
        post(test, server, "/push/sdk/login", json::object(), call);
        EXPECT_EQ(call.answer["code"], i < 2 ? 10001 : 0);
    }
    OTDevServer::Fault status;
    status.httpStatus = 503;
    server.injectFault("/push/sdk/token", status);
    Call unavailable;
    post(test, server, "/push/sdk/token", json::object(), unavailable);
    EXPECT_EQ(unavailable.status, 503);

    OTDevServer::Fault malformed;
    malformed.malformedBody = true;
    server.injectFault("/push/sdk/alias", malformed);
    Call broken;
    post(test, server, "/push/sdk/alias", json::object(), broken);
    EXPECT_TRUE(broken.answer.is_discarded());

    OTDevServer::Fault drop;
    drop.dropConnection = true;
    server.injectFault("/push/sdk/in_app/callback", drop);
    Call dropped;
    post(test, server, "/push/sdk/in_app/callback", json::object(), dropped);
    EXPECT_TRUE(dropped.error.has_value());
}

}  // namespace corvane
