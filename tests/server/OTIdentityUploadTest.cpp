#include <gtest/gtest.h>

#include "core/OTTaskManager.h"
#include "corvane/CorvaneOtManager.h"
#include "foundation/OTFiles.h"
#include "server/OTEventReporter.h"
#include "server/OTIdentityUploader.h"
#include "services/OTDataArchiver.h"
#include "services/OTUserConfig.h"
#include "support/OTHeldEngine.h"

namespace corvane {

using namespace std::chrono_literals;
using nlohmann::json;

namespace {
constexpr const char* kTokenPath = "/push/sdk/token";
constexpr const char* kAliasPath = "/push/sdk/alias";
constexpr const char* kWeChatPath = "/push/wechat/user/profile";

std::vector<std::uint8_t> countingBytes(std::size_t size) {
    std::vector<std::uint8_t> bytes(size);
    for (std::size_t i = 0; i < size; ++i) bytes[i] = static_cast<std::uint8_t>(i);
    return bytes;
}

const std::string kHex = "000102030405060708090a0b0c0d0e0f101112131415161718191a1b1c1d1e1f";

// The engine with held requests, observing "group.demo" whose shared settings hold `user`.
struct Identity : OTHeldEngine {
    explicit Identity(const std::optional<std::string>& user = std::string("user-1")) {
        settings()->setUserId(user);
        settings()->setToken("token-1");
    }
    std::shared_ptr<OTUserConfig> settings() const {
        return OTUserConfig::defaultConfig()->configWithGroupIdentifier(std::string("group.demo"));
    }
    // Runs the queues, then lets every random retry delay pass.
    void runRetries() {
        test.scheduler().runUntilIdle();
        test.scheduler().advance(200s);
    }
};
}  // namespace

TEST(OTIdentityUpload, TheHexFormAndTheTokensEachProviderRefuses) {
    Identity c;
    EXPECT_EQ(OTIdentityUploader::deviceToken2String(countingBytes(32)), kHex);
    EXPECT_EQ(OTIdentityUploader::deviceToken2String(countingBytes(40)), kHex);  // only the first 32 bytes
    EXPECT_EQ(OTIdentityUploader::deviceToken2String(countingBytes(31)), std::nullopt);
    EXPECT_EQ(OTIdentityUploader::deviceToken2String(std::vector<std::uint8_t>(32, 0xff)), std::string(64, 'f'));
    EXPECT_EQ(OTIdentityUploader::deviceToken2String(CorvanePushToken(kHex)), std::nullopt);
    EXPECT_EQ(c.test.logCount("请传入系统直接返回的 NSData 类型的 deviceToken"), 1u);

    c.engine->pushToken(CorvanePushToken(kHex), 0, std::string("group.other"));                 // text for Apple push
    c.engine->pushToken(countingBytes(32), 1, std::string("group.other"));                      // bytes for JPush
    c.engine->pushToken(countingBytes(32), 7, std::string("group.other"));                      // no such provider
    c.engine->pushToken(CorvanePushToken(static_cast<const char*>(nullptr)), 1, std::nullopt);  // nothing
    c.engine->pushToken(std::string(), 1, std::nullopt);
    c.engine->pushToken(countingBytes(31), std::string("group.other"));
    c.engine->pushToken(CorvanePushToken(), std::string("group.other"));
    c.engine->pushToken(CorvanePushToken(nullptr, 32), std::string("group.other"));
    c.runRetries();
    EXPECT_EQ(c.test.logCount("请检查 pushToken:provider:groupIdentifier: 接口传参"), 3u);
    EXPECT_EQ(c.test.logCount("获取 registrationId 失败"), 2u);
    EXPECT_EQ(c.test.logCount("获取 deviceToken 失败"), 3u);
    EXPECT_EQ(c.test.logCount("请传入系统直接返回的 NSData 类型的 deviceToken"), 2u);
    // Nothing was kept: no address, no provider, no group, no record, no task, no request.
    EXPECT_EQ(c.engine->identity().deviceToken(), std::nullopt);
    EXPECT_EQ(c.engine->identity().deviceId(), std::nullopt);
    EXPECT_EQ(c.engine->configuration()->pushProvider(), 0u);
    EXPECT_EQ(c.engine->session().groupIdentifier(), "group.demo");
    EXPECT_EQ(OTDataArchiver::getTokenInfo(), std::nullopt);
    EXPECT_TRUE(OTTaskManager::manager()->pendingTasks().empty());
    EXPECT_TRUE(c.transport->sent().empty());
}

TEST(OTIdentityUpload, AnAddressGoesUpOncePerDayPerProviderAddressGroupAndUser) {
    Identity c;
    c.transport->setAnswerAtOnce([](const auto&) { return std::string(R"({"code":0})"); });
    const auto uploads = [&] { return c.transport->bodiesTo(kTokenPath); };

    CorvaneOtManager::pushToken(countingBytes(32), "group.demo");
    c.test.scheduler().runUntilIdle();
    ASSERT_EQ(uploads().size(), 1u);
    const json expected = {{"os",
                            {{"brand", "iphone"},
                             {"channel", "default"},
                             {"packageName", "com.corvane.test"},
                             {"platform", "ios"},
                             {"mac", "11111111-2222-4333-8444-555555555555"},
                             {"version", "17.5"}}},
                           {"sdkVersion", "2.2.2"},
                           {"token", "token-1"},
                           {"userId", "user-1"},
                           {"push", {{"apns", kHex}, {"apns_updatetime", "2024-05-01 08:00:00"}, {"idfa", ""}}}};
    EXPECT_EQ(uploads()[0], expected);
    const std::string record = "0-" + kHex + "-group.demo-user-1";
    EXPECT_EQ(OTDataArchiver::getTokenInfo(), record);
    EXPECT_EQ(c.test.logCount("获取到 deviceToken ：" + kHex), 1u);
    EXPECT_EQ(c.test.logCount("上报 deviceToken 成功! deviceToken：" + kHex), 1u);
    EXPECT_EQ(c.test.logCount("上报 deviceToken 成功! currentTokenInfo：" + record), 1u);

    // The same record later that day: nothing; the next day: once more.
    c.test.scheduler().advance(15h);
    c.engine->pushToken(countingBytes(32), std::string("group.demo"));
    c.test.scheduler().runUntilIdle();
    EXPECT_EQ(uploads().size(), 1u);
    c.test.scheduler().advance(1h);  // 2024-05-02 00:00 local time
    c.engine->pushToken(countingBytes(32), std::string("group.demo"));
    c.test.scheduler().runUntilIdle();
    ASSERT_EQ(uploads().size(), 2u);
    EXPECT_EQ(uploads()[1]["push"]["apns_updatetime"], "2024-05-02 00:00:00");

    // Another user of the group the same day is another record.
    c.settings()->setUserId("user-2");
    c.engine->pushToken(countingBytes(32), std::string("group.demo"));
    c.test.scheduler().runUntilIdle();
    ASSERT_EQ(uploads().size(), 3u);
    EXPECT_EQ(uploads()[2]["userId"], "user-2");

    // A JPush registration id: its own "push" object, the provider kept in the configuration.
    c.engine->pushToken(std::string("190e35f7e0"), 1, std::string("group.demo"));
    c.test.scheduler().runUntilIdle();
    ASSERT_EQ(uploads().size(), 4u);
    EXPECT_EQ(uploads()[3]["push"], (json{{"jpush", "190e35f7e0"}, {"idfa", ""}}));
    EXPECT_EQ(c.engine->configuration()->pushProvider(), 1u);
    EXPECT_EQ(OTDataArchiver::getTokenInfo(), "1-" + kHex + "-group.demo-user-2");
    EXPECT_TRUE(OTTaskManager::manager()->pendingTasks().empty());
}

TEST(OTIdentityUpload, ATokenTaskMadeBeforeTheUserWasKnownNeverRunsAndTheAliasLinksEachPreviousUser) {
    Identity c(std::nullopt);
    c.transport->setAnswerAtOnce([](const auto& held) {
        return held.isFor(kAliasPath) ? std::string(R"({"code":0,"message":"ok"})") : std::string("{}");
    });
    c.engine->pushToken(countingBytes(32), std::string("group.demo"));
    c.test.scheduler().advance(120s);  // the task's checks time out; it keeps its place
    EXPECT_TRUE(c.transport->bodiesTo(kTokenPath).empty());
    ASSERT_EQ(OTTaskManager::manager()->pendingTasks().size(), 1u);

    c.engine->onUserProfile(json{{"xwho", "bob"}});
    c.engine->onUserProfile(json{{"xwho", 42}});
    c.test.scheduler().advance(5s);
    // The user changes queued token uploads under the waiting task's id: both were dropped.
    EXPECT_TRUE(c.transport->bodiesTo(kTokenPath).empty());
    const auto aliases = c.transport->bodiesTo(kAliasPath);
    ASSERT_EQ(aliases.size(), 2u);
    EXPECT_EQ(aliases[0]["userId"], "");
    EXPECT_EQ(aliases[0]["newUserId"], "bob");
    EXPECT_EQ(aliases[1]["userId"], "bob");
    EXPECT_EQ(aliases[1]["newUserId"], "42");
    EXPECT_EQ(aliases[1]["token"], "token-1");
    EXPECT_EQ(aliases[1]["os"]["mac"], "11111111-2222-4333-8444-555555555555");
    EXPECT_EQ(aliases[1]["push"]["apns"], kHex);
    EXPECT_EQ(c.test.logCount("alias 成功!"), 2u);
    EXPECT_EQ(c.test.logCount("alias : \n"), 2u);
}

TEST(OTIdentityUpload, FailedUploadsAreRetriedWithinTheirOwnCountersAndAnExpiredTokenLogsInAgain) {
    Identity c;
    c.engine->pushToken(countingBytes(32), std::string("group.demo"));
    c.test.scheduler().runUntilIdle();
    // Transport failure, bad status, then garbage: the first two are retried after a delay.
    ASSERT_TRUE(c.transport->complete(kTokenPath, 0, "", OTHTTPTransport::Failure{-1001, "timed out"}));
    c.runRetries();
    ASSERT_TRUE(c.transport->complete(kTokenPath, 503, "busy"));
    c.runRetries();
    ASSERT_TRUE(c.transport->complete(kTokenPath, 200, "{\"code\":"));
    c.runRetries();
    EXPECT_EQ(c.transport->bodiesTo(kTokenPath).size(), 3u);
    EXPECT_EQ(c.engine->identity().uploadPushTokenRetryCount(), 2u);
    EXPECT_EQ(c.test.logCount("上报 deviceToken 失败！\ncode:-1001\ndescripton:timed out\n"), 1u);
    EXPECT_EQ(c.test.logCount("上报 deviceToken 失败！\nstatusCode:503\ndescripton:service unavailable\n"), 1u);
    EXPECT_EQ(c.test.logCount("上报 deviceToken 失败！\ncode:-1\nmessage:(null)\n"), 1u);

    // An expired token spends the same counter on a login, then uploads again; the fourth attempt
    // is over the limit.
    c.engine->identity().uploadPushToken();
    c.test.scheduler().runUntilIdle();
    ASSERT_TRUE(c.transport->complete(kTokenPath, 200, R"({"code":10001,"message":"expired"})"));
    c.test.scheduler().runUntilIdle();
    ASSERT_TRUE(c.transport->complete(OTHeldTransport::kLoginPath, 200, R"({"code":0,"token":"token-2"})"));
    c.test.scheduler().runUntilIdle();
    ASSERT_EQ(c.transport->bodiesTo(kTokenPath).size(), 5u);
    EXPECT_EQ(c.transport->bodiesTo(kTokenPath)[4]["token"], "token-2");
    EXPECT_EQ(c.test.logCount("上报 deviceToken 失败！\ncode:10001\nmessage:expired\n"), 1u);
    ASSERT_TRUE(c.transport->complete(kTokenPath, 0, "", OTHTTPTransport::Failure{-1009, "offline"}));
    c.runRetries();
    EXPECT_EQ(c.transport->bodiesTo(kTokenPath).size(), 5u);
    EXPECT_EQ(c.engine->identity().uploadPushTokenRetryCount(), 4u);
    EXPECT_EQ(OTDataArchiver::getTokenInfo(), std::nullopt);

    // The alias has a counter of its own and repeats with the same previous id.
    c.engine->identity().alias(std::string("old-user"));
    c.test.scheduler().runUntilIdle();
    ASSERT_TRUE(c.transport->complete(kAliasPath, 0, "", OTHTTPTransport::Failure{-1005, "lost"}));
    c.runRetries();
    ASSERT_TRUE(c.transport->complete(kAliasPath, 404, ""));
    c.runRetries();
    ASSERT_TRUE(c.transport->complete(kAliasPath, 200, R"({"code":10001})"));
    c.test.scheduler().runUntilIdle();
    ASSERT_TRUE(c.transport->complete(OTHeldTransport::kLoginPath, 200, R"({"code":0,"token":"token-3"})"));
    c.test.scheduler().runUntilIdle();
    const auto aliases = c.transport->bodiesTo(kAliasPath);
    ASSERT_EQ(aliases.size(), 4u);
    for (const auto& body : aliases) EXPECT_EQ(body["userId"], "old-user");
    EXPECT_EQ(aliases[3]["token"], "token-3");
    EXPECT_EQ(c.engine->identity().aliasRetryCount(), 3u);
    EXPECT_EQ(c.test.logCount("alias 失败！\ncode:-1005\ndescripton:lost\n"), 1u);
    EXPECT_EQ(c.test.logCount("alias 失败！\nstatusCode:404\ndescripton:not found\n"), 1u);
    EXPECT_EQ(c.test.logCount("alias 失败！\ncode:10001\nmessage:(null)\n"), 1u);
    EXPECT_EQ(c.test.logCount("token 失效，重新 login"), 2u);
}

TEST(OTIdentityUpload, TheWeChatIdentityNeedsAnAppAndAnOpenIdAndSharesTheReportsRetries) {
    Identity c;
    CorvaneOtManager::setWeChatId(std::string("union-1"), std::string("wx-app"), std::string());
    CorvaneOtManager::setWeChatId(std::string("union-1"), std::nullopt, std::string("open-1"));
    c.test.scheduler().runUntilIdle();
    EXPECT_TRUE(c.transport->sent().empty());
    EXPECT_EQ(c.test.logCount("上报（setWeChatId）:appid is null or openId is null"), 2u);
    EXPECT_EQ(c.test.logCount("上报（setWeChatId）:unionId=union-1,appid=(null),openId=open-1"), 1u);

    CorvaneOtManager::setWeChatId(std::nullopt, std::string("wx-app"), std::string("open-1"));
    c.test.scheduler().runUntilIdle();
    const auto sent = c.transport->bodiesTo(kWeChatPath);
    ASSERT_EQ(sent.size(), 1u);
    const json expected = {{"os",
                            {{"brand", "iphone"},
                             {"channel", "default"},
                             {"packageName", "com.corvane.test"},
                             {"platform", "ios"},
                             {"version", "17.5"}}},
                           {"sdkVersion", "2.2.2"},
                           {"token", "token-1"},
                           {"xwho", "user-1"},
                           {"unionId", ""},
                           {"appId", "wx-app"},
                           {"openId", "open-1"}};
    EXPECT_EQ(sent[0], expected);
    // A bad status or a lost connection is logged and not repeated.
    ASSERT_TRUE(c.transport->complete(kWeChatPath, 500, ""));
    CorvaneOtManager::setWeChatId(std::string("u"), std::string("a"), std::string("o"));
    c.test.scheduler().runUntilIdle();
    ASSERT_TRUE(c.transport->complete(kWeChatPath, 0, "", OTHTTPTransport::Failure{-1004, "refused"}));
    c.runRetries();
    EXPECT_EQ(c.transport->bodiesTo(kWeChatPath).size(), 2u);
    EXPECT_EQ(c.test.logCount("上报setWeChatId事件失败！statusCode:500\ndescripton:internal server error\n"), 1u);
    EXPECT_EQ(c.test.logCount("上报setWeChatId事件失败！code:-1004\ndescripton:refused\n"), 1u);

    // 10001 logs in again on the usage reports' counter: with two retries spent there, one more.
    c.engine->reporter().reportEventRetries().store(2);
    CorvaneOtManager::setWeChatId(std::string("u"), std::string("a"), std::string("o"));
    c.test.scheduler().runUntilIdle();
    ASSERT_TRUE(c.transport->complete(kWeChatPath, 200, R"({"code":10001})"));
    c.test.scheduler().runUntilIdle();
    ASSERT_TRUE(c.transport->complete(OTHeldTransport::kLoginPath, 200, R"({"code":0,"token":"token-2"})"));
    c.test.scheduler().runUntilIdle();
    ASSERT_TRUE(c.transport->complete(kWeChatPath, 200, R"({"code":10001})"));
    c.test.scheduler().runUntilIdle();
    EXPECT_EQ(c.transport->bodiesTo(OTHeldTransport::kLoginPath).size(), 1u);
    EXPECT_EQ(c.engine->reporter().reportEventRetryCount(), 4u);
    EXPECT_EQ(c.test.logCount("上报setWeChatId事件失败"), 4u);
    EXPECT_EQ(c.test.logCount("上报事件 setWeChatId:\n"), 2u);
}

TEST(OTIdentityUpload, TheLogFilesAreMailedInNameOrderWithTheVersionedSubject) {
    Identity c;
    c.log();  // this run's log file first: a start deletes one when three are there
    const auto folder = c.test.documents() / "OT_Log";
    OTFiles::createPrivateDirectories(folder / "b-archive");
    OTFiles::writeFileAtomically(folder / "a-old.log", "first");
    OTFiles::writeFileAtomically(folder / "b-archive" / "nested.log", "second");
    OTFiles::writeFileAtomically(folder / "notes.txt", "not a log");
    c.test.scheduler().runUntilIdle();
    CorvaneOtManager::sendLogToEmail("dev@example.com");
    c.test.scheduler().runUntilIdle();

    const auto mails = c.test.uiHost().mails();
    ASSERT_EQ(mails.size(), 1u);
    EXPECT_EQ(mails[0].subject, "CorvaneOstrel v2.2.2 用户行为日志");
    EXPECT_EQ(mails[0].recipients, std::vector<std::string>{"dev@example.com"});
    EXPECT_EQ(mails[0].body, "请查收附件");
    ASSERT_EQ(mails[0].attachments.size(), 3u);
    EXPECT_EQ(mails[0].attachments[0].fileName, "a-old.log");
    EXPECT_EQ(std::string(mails[0].attachments[0].data.begin(), mails[0].attachments[0].data.end()), "first");
    EXPECT_EQ(mails[0].attachments[1].fileName, "nested.log");
    // This run's own file, with the device header first.
    EXPECT_EQ(mails[0].attachments[2].fileName, "otsdk_2024-05-01 08:00:00.log");
    EXPECT_EQ(std::string(mails[0].attachments[2].data.begin(), mails[0].attachments[2].data.begin() + 13),
              "设备名称:");
    EXPECT_TRUE(c.test.console().contains("Mail sent..."));

    // Without a mail account the user is told how to add one.
    c.test.uiHost().setCanSendMail(false);
    CorvaneOtManager::sendLogToEmail("dev@example.com");
    c.test.scheduler().runUntilIdle();
    EXPECT_EQ(c.test.uiHost().mails().size(), 1u);
    const auto records = c.test.uiHost().records();
    EXPECT_NE(std::find(records.begin(), records.end(), "message: 请先打开系统“邮件”APP，添加邮箱账号"), records.end());
}

}  // namespace corvane
