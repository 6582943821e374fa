#include <gtest/gtest.h>

#include "platform/OTPageClassRegistry.h"
#include "services/OTUtils.h"
#include "support/OTTestEnvironment.h"

namespace corvane {

using namespace std::chrono_literals;

TEST(OTUtils, DateTextsUseTheFixedFormatInTheDeviceZone) {
    OTTestEnvironment test;
    EXPECT_EQ(OTUtils::dateFromString(std::string("2024-05-01 08:00:00")), OTVirtualClock::defaultStart());
    EXPECT_EQ(OTUtils::stringFromDate(OTVirtualClock::defaultStart()), "2024-05-01 08:00:00");
    EXPECT_EQ(OTUtils::stringFromDate(OTVirtualClock::defaultStart(), std::string("yyyy/MM/dd")), "2024/05/01");
    EXPECT_EQ(OTUtils::stringFromDate(OTVirtualClock::defaultStart(), std::string("")), "2024-05-01 08:00:00");
    EXPECT_FALSE(OTUtils::stringFromDate(std::nullopt).has_value());
    // An absent or empty text is now; one that does not parse is nothing.
    test.clock().advance(5s);
    EXPECT_EQ(OTUtils::dateFromString(std::string("")), test.clock().now());
    EXPECT_EQ(OTUtils::dateFromString(std::nullopt), test.clock().now());
    for (const char* bad :
         {"2020-01-01", "2020-01-01 10:00", "2020-13-01 10:00:00", "2021-02-29 10:00:00", "2020-01-01 24:00:00",
          "2020-01-01 10:00:00 ", " 2020-01-01 10:00:00", "abc", "2020-01-01T10:00:00", "2020-01-01 10:00:00 PM"}) {
        EXPECT_FALSE(OTUtils::dateFromString(std::string(bad)).has_value()) << bad;
    }
    EXPECT_TRUE(OTUtils::dateFromString(std::string("2024-02-29 23:59:59")).has_value());
    // Years a time point cannot hold are no date (found by fuzzing the login answer).
    for (const char* far :
         {"1012-04-01 08:00:00", "3722-04-01 08:00:00", "0000-01-01 00:00:00", "1699-12-31 23:59:59"}) {
        EXPECT_FALSE(OTUtils::dateFromString(std::string(far)).has_value()) << far;
    }
    EXPECT_TRUE(OTUtils::dateFromString(std::string("1700-01-01 00:00:00")).has_value());
    EXPECT_TRUE(OTUtils::dateFromString(std::string("2200-12-31 23:59:59")).has_value());
    EXPECT_EQ(OTUtils::dateFromString(std::string("2024-5-1 8:0:0")), OTVirtualClock::defaultStart());
    EXPECT_EQ(OTUtils::dateFromString(std::string("2024/05/01"), std::string("yyyy/MM/dd")),
              OTVirtualClock::defaultStart() - 8h);  // local midnight
}

TEST(OTUtils, ComparisonsAndSameUnitTestsFollowTheirQuirks) {
    OTTestEnvironment test;
    EXPECT_EQ(OTUtils::compareOneDay(OTTestEnvironment::date("2024-01-01 10:00:01"),
                                     OTTestEnvironment::date("2024-01-01 10:00:00")),
              1);
    EXPECT_EQ(OTUtils::compareOneDay(OTTestEnvironment::date("2024-01-01 10:00:00"),
                                     OTTestEnvironment::date("2024-01-01 10:00:01")),
              -1);
    EXPECT_EQ(OTUtils::compareOneDay(OTTestEnvironment::date("2024-01-01 10:00:00"),
                                     OTTestEnvironment::date("2024-01-01 10:00:00")),
              0);
    EXPECT_EQ(OTUtils::compareOneDay(std::nullopt, OTTestEnvironment::date("2024-01-01 10:00:00")), 0);
    EXPECT_TRUE(test.console().contains("date1 : 2024-01-01 02:00:01 +0000, date2 : 2024-01-01 02:00:00 +0000"));
    EXPECT_TRUE(test.console().contains("date1 : (null), date2 : 2024-01-01 02:00:00 +0000"));

    // Calendar days are local: 23:59:59 and 00:00:00 of the next day differ.
    EXPECT_TRUE(OTUtils::isSameDay(OTTestEnvironment::date("2024-01-01 00:00:00"),
                                   OTTestEnvironment::date("2024-01-01 23:59:59")));
    EXPECT_FALSE(OTUtils::isSameDay(OTTestEnvironment::date("2024-01-01 23:59:59"),
                                    OTTestEnvironment::date("2024-01-02 00:00:00")));
    EXPECT_FALSE(OTUtils::isSameDay(std::nullopt, OTTestEnvironment::date("2024-01-01 00:00:00")));
    // The hour test ignores the day, the minute test the hour, the second test the minute.
    EXPECT_TRUE(OTUtils::isSameHour(OTTestEnvironment::date("2024-01-01 10:00:00"),
                                    OTTestEnvironment::date("2024-01-02 10:59:59")));
    EXPECT_FALSE(OTUtils::isSameHour(OTTestEnvironment::date("2024-01-01 10:00:00"),
                                     OTTestEnvironment::date("2024-01-01 11:00:00")));
    EXPECT_TRUE(OTUtils::isSameMinute(OTTestEnvironment::date("2024-01-01 10:05:00"),
                                      OTTestEnvironment::date("2024-03-01 11:05:59")));
    EXPECT_FALSE(OTUtils::isSameMinute(OTTestEnvironment::date("2024-01-01 10:05:00"),
                                       OTTestEnvironment::date("2024-01-01 10:06:00")));
    EXPECT_TRUE(OTUtils::isSameSecond(OTTestEnvironment::date("2024-01-01 10:05:07"),
                                      OTTestEnvironment::date("2024-01-01 11:06:07")));
    EXPECT_FALSE(OTUtils::isSameSecond(OTTestEnvironment::date("2024-01-01 10:05:07"), std::nullopt));
}

TEST(OTUtils, TextOperations) {
    OTTestEnvironment test;
    EXPECT_EQ(OTUtils::md5(std::string("abc")), "900150983CD24FB0D6963F7D28E17F72");
    EXPECT_FALSE(OTUtils::md5(std::string("")).has_value());
    EXPECT_FALSE(OTUtils::md5(std::nullopt).has_value());

    const std::string key = "a__#OT#__1700000000";
    EXPECT_EQ(OTUtils::base64Encode(key), "YV9fI09UI19fMTcwMDAwMDAwMA==");
    EXPECT_EQ(OTUtils::base64Decode(OTUtils::base64Encode(key)), key);
    EXPECT_EQ(OTUtils::base64Decode(OTUtils::base64Encode(std::string("中文✓"))), "中文✓");
    EXPECT_EQ(OTUtils::base64Decode(std::string("YW\nJj*")), "abc");  // unknown characters are skipped
    EXPECT_EQ(OTUtils::base64Decode(std::string("YQ==")), "a");
    EXPECT_EQ(OTUtils::base64Decode(std::string("YWI=")), "ab");
    EXPECT_FALSE(OTUtils::base64Decode(std::string("YWI")).has_value());   // padding missing
    EXPECT_FALSE(OTUtils::base64Decode(std::string("Y=Fi")).has_value());  // padding inside
    EXPECT_FALSE(OTUtils::base64Decode(std::string("====")).has_value());
    EXPECT_FALSE(OTUtils::base64Decode(std::string("/w==")).has_value());  // not UTF-8
    EXPECT_FALSE(OTUtils::base64Encode(std::string("")).has_value());
    EXPECT_FALSE(OTUtils::base64Decode(std::string("")).has_value());

    EXPECT_EQ(OTUtils::getStringInBracesWithString(std::string("Hi ${name}, ${city}")),
              (std::vector<std::string>{"${name}", "${city}"}));
    EXPECT_EQ(OTUtils::getStringInBracesWithString(std::string("${a}${b}${")),
              (std::vector<std::string>{"${a}", "${b}"}));
    EXPECT_TRUE(OTUtils::getStringInBracesWithString(std::string("} then ${x}")).empty());
    EXPECT_TRUE(OTUtils::getStringInBracesWithString(std::nullopt).empty());

    EXPECT_EQ(
        OTUtils::arrayOrDicToJsonString(nlohmann::json::parse(R"({"b":[1,2.5,"x/y"],"a":{"n":null,"t":true},"e":{}})")),
        "{\n  \"a\" : {\n    \"n\" : null,\n    \"t\" : true\n  },\n  \"b\" : [\n    1,\n    2.5,\n    \"x/y\"\n  ],\n"
        "  \"e\" : {\n\n  }\n}");
    EXPECT_EQ(OTUtils::ot_dictionaryToJson(nlohmann::json{{"q", "a\"b\n"}}), "{\n  \"q\" : \"a\\\"b\\n\"\n}");
    EXPECT_FALSE(OTUtils::arrayOrDicToJsonString("just text").has_value());
    EXPECT_FALSE(OTUtils::arrayOrDicToJsonString(nlohmann::json{{"bad", std::string("\xFF")}}).has_value());
    EXPECT_FALSE(OTUtils::arrayOrDicToJsonString(nlohmann::json{{"nan", std::nan("")}}).has_value());
    test.scheduler().runUntilIdle();
}

TEST(OTUtils, IdentityLinksAndGeometry) {
    OTTestEnvironment test;
    EXPECT_EQ(OTUtils::getOSVersion(), "17.5");
    EXPECT_EQ(OTUtils::getAppBundleId(), "com.corvane.test");
    EXPECT_EQ(OTUtils::getUUID(), "11111111-2222-4333-8444-555555555555");
    EXPECT_FALSE(OTUtils::getIDFA().has_value());

    EXPECT_TRUE(OTUtils::isUniversalLink(std::string("https://example.com/a")));
    EXPECT_TRUE(OTUtils::isUniversalLink(std::string("http://example.com")));
    EXPECT_FALSE(OTUtils::isUniversalLink(std::string("HTTPS://example.com")));
    EXPECT_FALSE(OTUtils::isUniversalLink(std::string("DetailVC")));
    OTPageClassRegistry::shared()->registerPageClass({"DetailVC", {"id"}, std::nullopt, std::nullopt});
    EXPECT_TRUE(OTUtils::isUniversalLink(std::string("DetailVC")));
    EXPECT_FALSE(OTUtils::isUniversalLink(std::string("")));
    EXPECT_FALSE(OTUtils::isUniversalLink(std::nullopt));

    const OTRect square{{10, 10}, {20, 20}};
    EXPECT_TRUE(OTUtils::point({20, 20}, square));
    EXPECT_TRUE(OTUtils::point({30, 20}, square));   // on the circle
    EXPECT_FALSE(OTUtils::point({11, 11}, square));  // inside the square, outside the circle
}

TEST(OTUtils, MailHandOffAndExitGoThroughTheUserInterface) {
    OTTestEnvironment test;
    OTUtils::sendEmailTo("dev@example.com", "logs", {{'a', 'b'}, {'c'}}, {"one.log", "two.log"}, nullptr);
    ASSERT_EQ(test.uiHost().mails().size(), 1u);
    const auto mail = test.uiHost().mails()[0];
    EXPECT_EQ(mail.recipients, std::vector<std::string>{"dev@example.com"});
    EXPECT_EQ(mail.body, "请查收附件");
    ASSERT_EQ(mail.attachments.size(), 2u);
    EXPECT_EQ(mail.attachments[1].fileName, "two.log");
    test.scheduler().runUntilIdle();
    EXPECT_TRUE(test.console().contains("Mail sent..."));
    EXPECT_EQ(test.uiHost().records().back(), "mail dismissed");

    test.uiHost().setMailOutcome(OTUIHost::MailResult::Failed, std::string("no network"));
    OTUtils::sendEmailTo("dev@example.com", "logs", {}, {}, nullptr);
    test.scheduler().runUntilIdle();
    EXPECT_TRUE(test.console().contains("Mail send errored: no network..."));

    test.uiHost().setCanSendMail(false);
    OTUtils::sendEmailTo("dev@example.com", "logs", {}, {}, nullptr);
    EXPECT_EQ(test.uiHost().records().back(), "message: 请先打开系统“邮件”APP，添加邮箱账号");

    OTUtils::exitWithAnimation();
    EXPECT_EQ(test.uiHost().records().back(), "animate key window bounds to 390x0 in 300ms");
    test.scheduler().advance(299ms);
    EXPECT_NE(test.uiHost().records().back(), "terminate 0");
    test.scheduler().advance(1ms);
    EXPECT_EQ(test.uiHost().records().back(), "terminate 0");
}

}  // namespace corvane
