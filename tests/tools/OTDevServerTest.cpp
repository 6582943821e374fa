#include <gtest/gtest.h>

#include <future>
#include <nlohmann/json.hpp>

#include "OTDevServer.h"
#include "platform/linux/OTCurlHTTPTransport.h"

namespace corvane {

using nlohmann::json;

namespace {
// The status and body of one request to the server.
std::pair<long, std::string> call(OTCurlHTTPTransport& client, const std::string& url, std::optional<json> body) {
    OTHTTPTransport::Request request;
    request.url = url;
    if (body) {
        request.method = "POST";
        request.headers = {{"Content-Type", "application/json"}};
        request.body = body->dump();
    }
    std::promise<std::pair<long, std::string>> answered;
    client.send(request, [&](long status, const std::string& text, const auto&) {
        answered.set_value({status, text});
    });
    return answered.get_future().get();
}
}  // namespace

TEST(OTDevServer, AnotherProcessInjectsFaultsExpiresTokensAndReadsWhatWasReceived) {
    OTDevServer server{{OT_SAMPLE_CAMPAIGNS}};
    ASSERT_TRUE(server.start());
    OTCurlHTTPTransport client;
    const auto control = server.baseURL() + OTDevServer::kControlPath;
    const auto login = server.baseURL() + "/push/sdk/login";

    EXPECT_EQ(call(client, control + "fault", json{{"path", "/push/sdk/login"}, {"httpStatus", 503}}).first, 200);
    EXPECT_EQ(call(client, login, json{{"appKey", "k"}}).first, 503);
    const auto [status, text] = call(client, login, json{{"appKey", "k"}});
    ASSERT_EQ(status, 200);
    const auto token = json::parse(text).value("token", "");
    ASSERT_FALSE(token.empty());
    EXPECT_EQ(json::parse(call(client, server.baseURL() + "/push/sdk/in_app", json{{"token", token}}).second)["code"],
              0);
    EXPECT_EQ(call(client, control + "expire-tokens", json::object()).first, 200);
    EXPECT_EQ(json::parse(call(client, server.baseURL() + "/push/sdk/in_app", json{{"token", token}}).second)["code"],
              OTDevServer::kInvalidTokenCode);

    // What is not a fault is refused and changes nothing.
    for (const auto& bad : {json{{"httpStatus", 500}}, json{{"path", 7}}, json{{"path", "/x"}, {"count", 0}},
                            json{{"path", "/x"}, {"delayMs", "slow"}}, json::array()}) {
        EXPECT_EQ(call(client, control + "fault", bad).first, 400) << bad;
    }

    // The control's own requests are not among those received.
    const auto received = json::parse(call(client, control + "requests", std::nullopt).second);
    ASSERT_EQ(received.size(), 4u) << received;
    EXPECT_EQ(received[0]["path"], "/push/sdk/login");
    EXPECT_EQ(received[0]["refused"], true);
    EXPECT_EQ(received[1]["refused"], false);
    EXPECT_EQ(received[1]["body"], (json{{"appKey", "k"}}));
    EXPECT_EQ(received[3]["refused"], true);
    client.shutdown();
}

}  // namespace corvane
