#include <gtest/gtest.h>

#include "model/OTEvent.h"
#include "server/OTEventReporter.h"
#include "server/OTLoginClient.h"
#include "server/OTNetwork.h"
#include "server/OTServerSession.h"
#include "services/OTDataArchiver.h"
#include "services/OTUserConfig.h"
#include "services/OTUserShare.h"
#include "support/OTTestEnvironment.h"

namespace corvane {

using nlohmann::json;

namespace {
// A platform HTTP stack as a host could plug in: records each request and answers from a script.
class ScriptedTransport final : public OTHTTPTransport {
public:
    void send(Request request, Completion completion) override {
        requests.push_back(request);
        if (request.url.find("/push/sdk/login") != std::string::npos) {
            completion(200, R"({"code":0,"token":"from-the-platform","rule":{}})", std::nullopt);
        } else {
            completion(0, "", Failure{-1009, "The Internet connection appears to be offline."});
        }
    }
    void shutdown() override { stopped = true; }

    std::vector<Request> requests;
    bool stopped = false;
};
}  // namespace

TEST(OTServerLink, RequestsGoThroughTheEnvironmentsTransport) {
    OTTestEnvironment test;
    auto transport = std::make_shared<ScriptedTransport>();
    test.setHTTPTransport(transport);
    auto session = std::make_shared<OTServerSession>(test.environment(), OTUserShare::share());
    session->network()->setConfig(OTNetworkConfig::withBaseURL("https://api.example.com"));
    session->setUserId("u1");
    auto login = std::make_shared<OTLoginClient>(session, OTUserConfig::defaultConfig());
    bool loggedIn = false;
    login->loginWithCompletion([&] { loggedIn = true; });
    EXPECT_TRUE(loggedIn);
    EXPECT_EQ(session->token(), "from-the-platform");
    ASSERT_EQ(transport->requests.size(), 1u);
    const auto& request = transport->requests[0];
    EXPECT_EQ(request.url, "https://api.example.com/push/sdk/login");
    EXPECT_EQ(request.method, "POST");
    EXPECT_EQ(request.timeout, OTNetwork::kDefaultTimeout);
    EXPECT_NE(std::find(request.headers.begin(), request.headers.end(),
                        std::make_pair(std::string("Content-Type"), std::string("application/json"))),
              request.headers.end());
    EXPECT_EQ(json::parse(request.body.value_or("null"))["userId"], "u1");

    // A report that the transport loses is queued on disk.
    auto reporter = std::make_shared<OTEventReporter>(session, login, OTUserConfig::defaultConfig());
    std::vector<std::string> fates;
    reporter->setReportListener([&](const json& record) {
        std::string fate = record["fate"].get<std::string>() + " " + record["queue"].get<std::string>();
        if (record.contains("report")) fate += " " + record["report"]["xwhat"].get<std::string>();
        for (const auto& gone : record.value("reports", json::array())) fate += " " + gone["xwhat"].get<std::string>();
        if (record.contains("written")) fate += record["written"].get<bool>() ? " written" : " unwritten";
        fates.push_back(fate);
    });
    auto event = std::make_shared<OTEvent>();
    event->setXwhat("$impDialog");
    reporter->_reportEvent(event);
    EXPECT_EQ(reporter->cachedOfflineWindowEvents().size(), 1u);
    EXPECT_EQ(transport->requests.back().url, "https://api.example.com/push/sdk/in_app/callback");
    // While the network stays away the queue keeps its newest reports, within its bound.
    reporter->setMaxQueuedReports(2);
    for (const char* name : {"$closeDialog", "$clickDialog"}) {
        auto more = std::make_shared<OTEvent>();
        more->setXwhat(name);
        reporter->_reportEvent(more);
    }
    const auto queued = OTDataArchiver::getObjectsForPath<OTEvent>(
        session->documentsPath(OTEventReporter::kOfflineWindowEventsFileName));
    ASSERT_TRUE(queued && queued->size() == 2u);
    EXPECT_EQ((*queued)[0]->xwhat(), "$closeDialog");
    EXPECT_EQ((*queued)[1]->xwhat(), "$clickDialog");
    EXPECT_EQ(reporter->droppedQueuedReports(), 1u);
    EXPECT_EQ(test.logCount("离线上报队列已满（2 条），丢弃最早的 1 条"), 1u);
    // The listener hears each report's fate, the dropped one included.
    EXPECT_EQ(fates, (std::vector<std::string>{"failed window $impDialog", "queued window $impDialog written",
                                               "failed window $closeDialog", "queued window $closeDialog written",
                                               "failed window $clickDialog", "dropped window $impDialog",
                                               "queued window $clickDialog written"}));

    test.restart();
    EXPECT_TRUE(transport->stopped);
}

}  // namespace corvane
