#include <array>

#include "OTFuzzSupport.h"
#include "OTFuzzTargets.h"
#include "server/OTIdentityUploader.h"
#include "server/OTLoginClient.h"
#include "support/OTHeldEngine.h"
#include "tagging/OTTagManager.h"

namespace corvane {

namespace {
struct Endpoint {
    const char* path;
    const char* goodAnswer;
};
constexpr std::array<Endpoint, 9> kEndpoints{{
    {"/push/sdk/login", R"({"code":0,"token":"token-1","rule":{}})"},
    {"/push/sdk/in_app", R"({"code":0,"data":[{"id":"1","type":1,"event":{"xwhat":"buy"}}]})"},
    {"/push/sdk/event/subscribe", R"({"code":0,"data":[]})"},
    {"/push/sdk/in_app/callback", R"({"code":0})"},
    {"/push/sdk/event/trigger", R"({"code":0})"},
    {"/push/sdk/token", R"({"code":0})"},
    {"/push/sdk/alias", R"({"code":0})"},
    {"/push/wechat/user/profile", R"({"code":0})"},
    {"/push/sdk/pageview/upload", R"({"code":0,"data":{}})"},
}};

// One engine for the whole run, its requests answered as soon as they are sent.
struct Rig : OTHeldEngine {
    Rig() {
        campaign->setModelWithDic(nlohmann::json::parse(R"({"id":"1","type":1})"));
        engine->identity().setDeviceToken("000102030405060708090a0b0c0d0e0f101112131415161718191a1b1c1d1e1f");
    }
    std::shared_ptr<OTWindowData> campaign = std::make_shared<OTWindowData>();
};
}  // namespace

// The first byte picks the endpoint whose answer is the rest; every other endpoint answers well.
// Each input logs in, downloads both lists, reports a dialog event and an event a subscription
// could trigger, uploads the push token, an alias, a WeChat identity and a page's tag name, then lets retries and
// timers run.
int otFuzzAnswers(const std::uint8_t* data, std::size_t size) {
    if (size == 0) return 0;
    auto& rig = OTFuzzSupport::rig<Rig>();
    const Endpoint& fuzzed = kEndpoints[data[0] % kEndpoints.size()];
    const std::string body(OTFuzzSupport::text(data + 1, size - 1));
    rig.transport->setAnswerAtOnce([&fuzzed, body](const OTHeldTransport::Held& held) {
        if (held.isFor(fuzzed.path)) return body;
        for (const auto& endpoint : kEndpoints) {
            if (held.isFor(endpoint.path)) return std::string(endpoint.goodAnswer);
        }
        return std::string("{}");
    });
    rig.engine->login().loginWithCompletion([] {});
    rig.engine->getListData(true);
    rig.engine->reportWindowEventWithName("$impDialog", 1, rig.campaign);
    rig.engine->onEventDataReceived(nlohmann::json{{"source", 0}, {"xwhat", "buy"}, {"xcontext", {{"k", 1}}}});
    rig.engine->identity().uploadPushToken();
    rig.engine->identity().alias(std::string("previous-user"));
    rig.engine->identity().setWeChatId(std::string("union"), std::string("app"), std::string("open"));
    OTTagManager::manager()->uploadAlias("home", "HomeVC", "https://shop.example.com/", [](bool) {});
    rig.test.scheduler().runUntilIdle();
    rig.test.scheduler().advance(std::chrono::minutes(10));
    rig.transport->forgetSent();
    return 0;
}

}  // namespace corvane
