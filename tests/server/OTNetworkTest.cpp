#include <gtest/gtest.h>

#include <httplib.h>

#include <atomic>
#include <thread>

#include "server/OTNetwork.h"
#include "services/OTUserShare.h"
#include "support/OTTestEnvironment.h"

namespace corvane {

using namespace std::chrono_literals;

namespace {
// A loopback server that answers {"code":0} and keeps what it received.
struct LoopbackServer {
    struct Received {
        std::string method, path, query, contentType, body;
    };
    httplib::Server server;
    int port = 0;
    std::thread thread;
    std::mutex mutex;
    std::vector<Received> received;

    LoopbackServer() {
        auto record = [this](const httplib::Request& request, httplib::Response& response) {
            std::string query;
            for (const auto& [key, value] : request.params) query += (query.empty() ? "" : "&") + key + "=" + value;
            {
                std::lock_guard lock(mutex);
                received.push_back(
                    {request.method, request.path, query, request.get_header_value("Content-Type"), request.body});
            }
            response.status = request.path == "/missing" ? 404 : 200;
            response.set_content(R"({"code":0})", "application/json");
        };
        server.Get(".*", record);
        server.Post(".*", record);
        // One request per connection, so that stopping never waits for an idle keep-alive.
        server.set_keep_alive_max_count(1);
        port = server.bind_to_any_port("127.0.0.1");
        thread = std::thread([this] { server.listen_after_bind(); });
        // stop() only reaches a server that is already running.
        while (!server.is_running()) std::this_thread::yield();
    }
    ~LoopbackServer() {
        server.stop();
        thread.join();
    }
    std::string base() const { return "http://127.0.0.1:" + std::to_string(port); }
};

struct Reply {
    std::atomic<bool> done{false};
    long status = 0;
    std::string data;
    std::optional<OTNetwork::Error> error;
    bool onMainQueue = true;

    OTNetwork::Success success() {
        return [this](const OTNetwork::Response& response, const std::string& body) {
            status = response.statusCode;
            data = body;
            onMainQueue = OTEnvironment::current()->mainQueue()->isCurrent();
            done = true;
        };
    }
    OTNetwork::Failure failure() {
        return [this](const OTNetwork::Error& e) {
            error = e;
            done = true;
        };
    }
};
}  // namespace

TEST(OTNetwork, UrlsFollowTheCustomBaseOrTheEnvironment) {
    OTTestEnvironment test;
    auto network = OTNetwork::networkWithGroupIdentifier("group.demo");
    OTNetwork::configEnvironment(
        OTNetworkConfig{"https://dev:38088", "https://test:28088", "https://dist:8088", "https://demo:58088"});
    EXPECT_EQ(network->getHttpURLWithRelativeUrl("/push/sdk/login", {}), "https://dist:8088/push/sdk/login");
    auto share = OTUserShare::share();
    const std::pair<int, const char*> environments[] = {
        {1, "https://test:28088"}, {2, "https://dev:38088"}, {3, "https://demo:58088"}, {7, "(null)"}};
    for (const auto& [env, base] : environments) {
        share->setInteger(env, "group_info_key_env", "group.demo");
        EXPECT_EQ(network->getHttpURLWithRelativeUrl("/p", {}), std::string(base) + "/p");
    }
    EXPECT_EQ(network->getHttpURLWithRelativeUrl("/p", {{"a", "1"}, {"b", "2 3"}}), "(null)/p?a=1&b=2 3");
    share->setObject("https://custom.example", "group_info_key_url", "group.demo");
    EXPECT_EQ(network->getHttpURLWithRelativeUrl("/p", {}), "https://custom.example/p");
    EXPECT_EQ(network->getHttpURLWithRelativeUrl("https://elsewhere/x", {{"k", "v"}}), "https://elsewhere/x?k=v");

    EXPECT_EQ(OTNetwork::httpRequestBody("raw"), "raw");
    EXPECT_EQ(OTNetwork::httpRequestBody(nlohmann::json{{"a", 1}, {"b", "x"}}), "a=1&b=x");
    EXPECT_FALSE(OTNetwork::httpRequestBody(nlohmann::json::array({1})).has_value());
}

TEST(OTNetwork, RequestsReachTheServerAsJsonAndAnswerOffTheMainQueue) {
    OTTestEnvironment test;
    LoopbackServer server;
    OTUserShare::share()->setObject(server.base(), "group_info_key_url", "");
    auto network = OTNetwork::network();

    Reply post;
    network->postRequestWithRelativeURLStr("/push/sdk/login", nlohmann::json{{"Content-Type", "text/plain"}},
                                           nlohmann::json{{"appKey", "k"}, {"os", {{"brand", "iphone"}}}},
                                           post.success(), post.failure());
    ASSERT_TRUE(test.scheduler().runUntil([&] { return post.done.load(); }, 10s));
    EXPECT_EQ(post.status, 200);
    EXPECT_EQ(post.data, R"({"code":0})");
    EXPECT_FALSE(post.onMainQueue);

    Reply get;
    network->requestWithRelativeUrl("/missing", 0, {{"a", "1"}}, nullptr, nullptr, get.success(), get.failure());
    ASSERT_TRUE(test.scheduler().runUntil([&] { return get.done.load(); }, 10s));
    EXPECT_EQ(get.status, 404);  // any status reaches success

    std::lock_guard lock(server.mutex);
    ASSERT_EQ(server.received.size(), 2u);
    EXPECT_EQ(server.received[0].method, "POST");
    EXPECT_EQ(server.received[0].contentType, "application/json");
    EXPECT_EQ(server.received[0].body, "{\n  \"appKey\" : \"k\",\n  \"os\" : {\n    \"brand\" : \"iphone\"\n  }\n}");
    EXPECT_EQ(server.received[1].method, "GET");
    EXPECT_EQ(server.received[1].query, "a=1");
    EXPECT_EQ(server.received[1].body, "");
}

TEST(OTNetwork, TransportFailuresAndEmptyPaths) {
    OTTestEnvironment test;
    int closedPort = 0;
    {
        LoopbackServer probe;  // a port that was just free and is closed again
        closedPort = probe.port;
    }
    OTUserShare::share()->setObject("http://127.0.0.1:" + std::to_string(closedPort), "group_info_key_url", "");
    Reply refused;
    OTNetwork::network()->postRequestWithRelativeURLStr("/push/sdk/in_app", nullptr, nlohmann::json::object(),
                                                        refused.success(), refused.failure());
    ASSERT_TRUE(test.scheduler().runUntil([&] { return refused.done.load(); }, 10s));
    ASSERT_TRUE(refused.error.has_value());
    EXPECT_NE(refused.error->code, 0);
    EXPECT_FALSE(refused.error->localizedDescription.empty());

    bool called = false;
    OTNetwork::network()->postRequestWithRelativeURLStr(
        "", nullptr, nullptr, [&](auto&, auto&) { called = true; }, [&](auto&) { called = true; });
    test.scheduler().runUntil([] { return false; }, 50ms);
    EXPECT_FALSE(called);
}

}  // namespace corvane
