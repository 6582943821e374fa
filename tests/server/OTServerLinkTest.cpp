#include <gtest/gtest.h>

#include <mutex>

#include "OTDevServer.h"
#include "model/OTEvent.h"
#include "server/OTCampaignDownloader.h"
#include "server/OTEventReporter.h"
#include "server/OTLoginClient.h"
#include "server/OTNetwork.h"
#include "server/OTServerSession.h"
#include "services/OTUserConfig.h"
#include "support/OTTestEnvironment.h"

namespace corvane {

using nlohmann::json;
using namespace std::chrono_literals;

namespace {
// The server link alone, no engine: one session, its login and downloads, pointed at the
// dev server with the sample campaigns.
struct ServerLink {
    ServerLink() {
        EXPECT_TRUE(server.start());
        OTNetwork::configEnvironment(OTNetworkConfig::withBaseURL(server.baseURL() + "/"));
        auto config = std::make_shared<CorvaneOtConfig>();
        config->setAppKey("app-key");
        // The group's settings carry the environment and the custom base URL, as at start-up.
        config->setApplicationGroupIdentifier("group.demo");
        config->setUrl(server.baseURL() + "/");
        session->setConfiguration(config);
        session->setGroupIdentifier("group.demo");
        session->setUserId("user-9");
    }
    // Where the lists go: kept as they came.
    OTCampaignDownloader::Receivers receivers() {
        return {[this](OTCampaignDownloader::Campaigns campaigns) {
                    std::lock_guard lock(mutex);
                    inApp.push_back(std::move(campaigns));
                },
                [this](OTCampaignDownloader::Campaigns campaigns) {
                    std::lock_guard lock(mutex);
                    subscribe.push_back(std::move(campaigns));
                },
                {}};
    }
    bool waitFor(const std::function<bool()>& done) { return test.scheduler().runUntil(done, 10s); }

    OTTestEnvironment test;
    OTDevServer server{{OT_SAMPLE_CAMPAIGNS}};
    std::shared_ptr<OTServerSession> session = std::make_shared<OTServerSession>(test.environment());
    std::shared_ptr<OTLoginClient> login = std::make_shared<OTLoginClient>(session);
    std::shared_ptr<OTCampaignDownloader> downloader = std::make_shared<OTCampaignDownloader>(session, login);
    std::mutex mutex;
    std::vector<OTCampaignDownloader::Campaigns> inApp;
    std::vector<OTCampaignDownloader::Campaigns> subscribe;
};
}  // namespace

TEST(OTServerLink, LoginAndBothListsWithoutTheEngine) {
    ServerLink link;
    std::atomic<bool> loggedIn{false};
    link.login->loginWithCompletion([&] { loggedIn = true; });
    ASSERT_TRUE(link.waitFor([&] { return loggedIn.load(); }));
    EXPECT_EQ(link.session->token(), "token-1");
    EXPECT_EQ(OTUserConfig::defaultConfig()->configWithGroupIdentifier(std::string("group.demo"))->token(), "token-1");

    link.downloader->getListData(false, link.receivers());
    ASSERT_TRUE(link.waitFor([&] {
        std::lock_guard lock(link.mutex);
        return link.inApp.size() == 1 && link.subscribe.size() == 1;
    }));
    {
        std::lock_guard lock(link.mutex);
        ASSERT_EQ(link.inApp[0].size(), 4u);
        EXPECT_EQ(link.inApp[0][0]->windowId(), "101");
    }
    EXPECT_EQ(link.server.requestsTo("/push/sdk/in_app").at(0).body["userId"], "user-9");
    EXPECT_FALSE(link.downloader->isPullingData());
}

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
    OTNetwork::configEnvironment(OTNetworkConfig::withBaseURL("https://api.example.com"));
    auto session = std::make_shared<OTServerSession>(test.environment());
    session->setUserId("u1");
    auto login = std::make_shared<OTLoginClient>(session);
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
    auto reporter = std::make_shared<OTEventReporter>(session, login);
    auto event = std::make_shared<OTEvent>();
    event->setXwhat("$impDialog");
    reporter->_reportEvent(event);
    EXPECT_EQ(reporter->cachedOfflineWindowEvents().size(), 1u);
    EXPECT_EQ(transport->requests.back().url, "https://api.example.com/push/sdk/in_app/callback");

    test.restart();
    EXPECT_TRUE(transport->stopped);
}

}  // namespace corvane
