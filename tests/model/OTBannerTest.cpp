#include <gtest/gtest.h>

#include "corvane/CorvaneBannerConfig.h"
#include "model/OTBanner.h"
#include "services/OTDataArchiver.h"
#include "services/OTUtils.h"
#include "support/OTTestEnvironment.h"
#include "view/OTSceneNode.h"

namespace corvane {

using nlohmann::json;

namespace {
const json kBanner = json::parse(R"({
  "id": "301", "style": 2, "locationId": "home_top", "startTime": "2024-01-01 00:00:00",
  "endTime": "2030-12-31 23:59:59", "clickEvent": "DetailVC?id=7",
  "content": {"text": "领券", "alignmentType": "center", "color": "#FF0000"},
  "resource": {"picture": [{"url": "https://img.example.com/a.png", "clickEvent": "DetailVC?id=1"},
                           {"url": "https://img.example.com/图 b.png", "clickEvent": "MineVC"}],
               "video": [{"url": "  https://v.example.com/视频.mp4\t"}, "not an object", {"url": 5}]},
  "events": [{"xwhat": "claim_coupon"}, {"xwhat": "$pageview"}]
})");

std::shared_ptr<OTBanner> banner(const json& dic) {
    auto made = std::make_shared<OTBanner>();
    made->setModelWithDic(dic);
    return made;
}
}  // namespace

TEST(OTBanner, FieldsFollowTheirReadingRules) {
    OTTestEnvironment test;
    const auto b = banner(kBanner);
    EXPECT_EQ(b->bannerID(), "301");
    EXPECT_EQ(b->bannerIDIntegerValue(), 301);
    EXPECT_EQ(b->style(), 2);
    EXPECT_EQ(b->locationId(), "home_top");
    EXPECT_EQ(b->eventLink(), "DetailVC?id=7");
    ASSERT_NE(b->content(), nullptr);
    EXPECT_EQ(b->content()->text(), "领券");
    EXPECT_EQ(b->content()->alignmentType(), "left");
    EXPECT_EQ(b->pictureURLs(), (std::vector<std::string>{"https://img.example.com/a.png",
                                                          OTPicture::addressText("https://img.example.com/图 b.png")}));
    EXPECT_EQ(b->pictureClickEventURLs(), (std::vector<std::string>{"DetailVC?id=1", "MineVC"}));
    // Blanks trimmed, then percent-encoded because of the ideograph; elements of the wrong kind are skipped.
    EXPECT_EQ(b->videos(), (std::vector<std::string>{OTPicture::addressText("https://v.example.com/视频.mp4")}));
    ASSERT_EQ(b->events().size(), 2u);
    EXPECT_EQ(b->events()[0]->xwhat(), "claim_coupon");

    // Defaults and wrong kinds: no style is 1, a numeric id is its text, a text id that is not a
    // number keys node 0, empty ids are no id, and everything else of the wrong kind is absent.
    EXPECT_EQ(banner(json::object())->style(), 1);
    EXPECT_EQ(banner({{"style", nullptr}})->style(), 1);
    EXPECT_EQ(banner({{"style", "3"}})->style(), 3);
    EXPECT_EQ(banner({{"id", 42}})->bannerID(), "42");
    EXPECT_EQ(banner({{"id", "abc"}})->bannerIDIntegerValue(), 0);
    EXPECT_FALSE(banner({{"id", ""}})->bannerID());
    EXPECT_FALSE(banner({{"id", nullptr}})->bannerID());
    const auto wrong = banner({{"id", json::array()},
                               {"locationId", 7},
                               {"startTime", true},
                               {"clickEvent", json::object()},
                               {"content", "text"},
                               {"resource", "none"},
                               {"events", json::object()}});
    EXPECT_FALSE(wrong->bannerID());
    EXPECT_FALSE(wrong->locationId());
    EXPECT_FALSE(wrong->startTime());
    EXPECT_FALSE(wrong->eventLink());
    ASSERT_NE(wrong->content(), nullptr);
    EXPECT_FALSE(wrong->content()->text());
    EXPECT_EQ(wrong->content()->alignmentType(), "left");
    EXPECT_TRUE(wrong->pictures().empty());
    EXPECT_TRUE(wrong->videos().empty());
    EXPECT_TRUE(wrong->events().empty());

    // A non-dictionary leaves the banner as it was.
    auto kept = banner(kBanner);
    kept->setModelWithDic(json::array({1, 2}));
    EXPECT_EQ(kept->bannerID(), "301");
    EXPECT_EQ(kept->dataMD5(), b->dataMD5());
}

TEST(OTBanner, TheDigestCoversTheShownContentOnly) {
    OTTestEnvironment test;
    const auto base = banner(kBanner)->dataMD5();
    ASSERT_EQ(base.size(), 32u);
    auto changed = [&](const char* key, const json& value) {
        auto dic = kBanner;
        dic[key] = value;
        return banner(dic)->dataMD5();
    };
    EXPECT_EQ(changed("style", 5), base);
    EXPECT_EQ(changed("locationId", "elsewhere"), base);
    EXPECT_EQ(changed("id", "999"), base);
    EXPECT_NE(changed("clickEvent", "MineVC"), base);
    auto picture = kBanner;
    picture["resource"]["picture"][0]["url"] = "https://img.example.com/c.png";
    EXPECT_NE(banner(picture)->dataMD5(), base);

    // Missing values digest as fixed texts: "1997-01-01 00:00:00" for the end, "Nan" for the rest.
    const json withoutTimes = {{"id", "1"}};
    const json digested = {{"content", "Nan"},   {"clickEvent", "Nan"},
                           {"events", "Nan"},    {"endTime", "1997-01-01 00:00:00"},
                           {"startTime", "Nan"}, {"resource", "Nan"}};
    EXPECT_EQ(banner(withoutTimes)->dataMD5(), OTUtils::md5(OTUtils::ot_dictionaryToJson(digested)).value());
    EXPECT_EQ(banner({{"id", "1"}, {"endTime", nullptr}, {"startTime", nullptr}})->dataMD5(),
              banner(withoutTimes)->dataMD5());
}

TEST(OTBanner, EqualityCopyAndArchive) {
    OTTestEnvironment test;
    const auto a = banner(kBanner);
    auto other = kBanner;
    other["locationId"] = "mine";
    EXPECT_TRUE(a->isEqual(*banner(kBanner)));
    EXPECT_FALSE(a->isEqual(*banner(other)));
    EXPECT_EQ(a->hash(), banner(kBanner)->hash());
    // Without ids nothing is equal, not even a banner to itself.
    const auto anonymous = banner({{"locationId", "home_top"}});
    EXPECT_FALSE(anonymous->isEqual(*anonymous));

    const auto copy = a->copy();
    EXPECT_TRUE(copy->isEqual(*a));
    EXPECT_EQ(copy->pictureURLs(), a->pictureURLs());
    EXPECT_EQ(copy->events().size(), 2u);
    EXPECT_EQ(copy->dataMD5(), "");

    const auto path = test.documents() / "banners.plist";
    ASSERT_TRUE(OTDataArchiver::setData(std::vector<std::shared_ptr<OTBanner>>{a}, path));
    const auto read = OTDataArchiver::getObjectsForPath<OTBanner>(path);
    ASSERT_TRUE(read && read->size() == 1u);
    const auto& back = *read->front();
    EXPECT_EQ(back.bannerID(), "301");
    EXPECT_EQ(back.style(), 2);
    EXPECT_EQ(back.locationId(), "home_top");
    EXPECT_EQ(back.startTime(), a->startTime());
    EXPECT_EQ(back.endTime(), a->endTime());
    EXPECT_EQ(back.eventLink(), a->eventLink());
    EXPECT_EQ(back.content()->text(), "领券");
    EXPECT_EQ(back.pictureClickEventURLs(), a->pictureClickEventURLs());
    EXPECT_EQ(back.videos(), a->videos());
    ASSERT_EQ(back.events().size(), 2u);
    EXPECT_EQ(back.events()[1]->xwhat(), "$pageview");
    EXPECT_EQ(back.dataMD5(), a->dataMD5());

    // The shared request config is one object; a config holds its container weakly.
    EXPECT_EQ(CorvaneBannerConfig::defaultConfig(), CorvaneBannerConfig::defaultConfig());
    CorvaneBannerConfig config;
    auto view = std::make_shared<OTSceneNode>(OTSceneNode::Role::View);
    config.setContainer(view);
    EXPECT_EQ(config.container(), view);
    view.reset();
    EXPECT_EQ(config.container(), nullptr);
}

}  // namespace corvane
