#include <gtest/gtest.h>

#include "model/OTPicture.h"
#include "model/OTWindowData.h"
#include "services/OTDataArchiver.h"
#include "support/OTTestEnvironment.h"

namespace corvane {

using nlohmann::json;

namespace {
const char* kCampaign = R"({
  "id": "1024", "count": 3, "style": 2, "type": 1, "createTime": "2024-04-01 10:00:00",
  "changeTime": "2024-04-02 10:00:00", "startTime": "2024-04-01 00:00:00", "endTime": "2024-06-01 00:00:00",
  "clickEvent": "  DetailVC?id=7 ", "closeDialogType": 1, "h5Url": "https://h5.example.com/a",
  "picture": "https://img.example.com/图片 1.png",
  "event": {"xwhat": "buy", "delay": 3, "xcontext": {"page": "home"}},
  "preEvent": "not an object",
  "preEvents": [{"xwhat": "open"}, {"xwhat": "buy"}],
  "title": {"text": "Hi ${event.name}!", "defaultText": "Hello", "color": "#FF0000", "size": "28pd",
            "alignmentType": "center", "background": "#01ff0080"},
  "content": {"text": "${event.xcontext.city} ${user.name} ${}", "size": 30},
  "buttonLeft": {"text": "No", "clickEvent": " https://example.com/x "},
  "buttonMiddle": "not an object",
  "buttonRight": {"text": "Go ${event.city}", "color": "#00FF00"},
  "dialogRule": [{"eventType": "$clickDialog", "type": 3, "count": 5, "intervalValue": 2, "intervalType": "day"},
                 {"eventType": "$closeDialog", "type": 1, "count": 2}]
})";

std::shared_ptr<OTWindowData> campaign(const char* text) {
    auto data = std::make_shared<OTWindowData>();
    data->setModelWithDic(json::parse(text));
    return data;
}
}  // namespace

TEST(OTWindowData, EveryFieldIsReadByItsRule) {
    OTTestEnvironment test;  // screen width 390
    auto d = campaign(kCampaign);
    EXPECT_EQ(d->windowId(), "1024");
    EXPECT_EQ(d->windowIdIntegerValue(), 1024);
    EXPECT_EQ(d->count(), 3);
    EXPECT_EQ(d->style(), 2);
    EXPECT_EQ(d->type(), 1);
    EXPECT_EQ(d->eventLink(), "DetailVC?id=7");
    EXPECT_EQ(d->closeDialogType(), 1);
    EXPECT_EQ(d->picture(), "https://img.example.com/%E5%9B%BE%E7%89%87%201.png");
    EXPECT_EQ(d->event()->xwhat(), "buy");  // its own condition before the pre-events
    EXPECT_FLOAT_EQ(d->event()->delay(), 3.0f);
    EXPECT_EQ(d->preEvent(), nullptr);  // not available
    ASSERT_EQ(d->preEvents().size(), 2u);

    EXPECT_EQ(d->title()->color(), OTColor(1, 0, 0, 1));
    EXPECT_EQ(d->title()->backgroundColor(), OTColor(0x01ff / 255.0, 0, 0x80 / 255.0, 1));  // unmasked red
    EXPECT_DOUBLE_EQ(d->title()->size(), 14.0);
    EXPECT_EQ(d->title()->alignmentType(), "center");
    EXPECT_DOUBLE_EQ(d->content()->size(), 15.0);
    ASSERT_NE(d->leftBtnAttribute(), nullptr);
    EXPECT_EQ(d->leftBtnAttribute()->eventLink(), "https://example.com/x");
    EXPECT_EQ(d->leftBtnAttribute()->color(), OTColor::fromHexText("#444444"));
    EXPECT_EQ(d->leftBtnAttribute()->backgroundColor(), OTColor::fromHexText("#f4f4f4"));
    EXPECT_DOUBLE_EQ(d->leftBtnAttribute()->size(), 390 / 590.5 * 30.0);
    EXPECT_EQ(d->middleBtnAttribute(), nullptr);
    EXPECT_EQ(d->rightBtnAttribute()->color(), OTColor(0, 1, 0, 1));

    ASSERT_NE(d->clickRule(), nullptr);
    EXPECT_EQ(d->clickRule()->count(), 4294967295);  // a type-3 rule is unlimited
    EXPECT_EQ(d->clickRule()->intervalType(), "day");
    EXPECT_EQ(d->closeRule()->count(), 2);
    EXPECT_EQ(d->closeRule()->intervalType(), "");
    EXPECT_EQ(d->closeRule()->description(), "eventType:$closeDialog,type:1,count:2,intervalValue:0,intervalType:");
}

TEST(OTWindowData, DefaultsAndTheTriggerConditionFallback) {
    OTTestEnvironment test;
    auto bare = campaign(R"({"id": 7, "preEvents": [{"xwhat":"A"}, {"xwhat":"B"}], "dialogRule": [{"type":1}],
                             "picture": "https://a.example/with space.png", "count": null, "event": [1]})");
    EXPECT_EQ(bare->windowId(), "7");
    EXPECT_EQ(bare->count(), 0);
    EXPECT_EQ(bare->event()->xwhat(), "B");
    ASSERT_NE(bare->clickRule(), nullptr);
    EXPECT_EQ(bare->closeRule(), nullptr);
    EXPECT_EQ(bare->picture(), "https://a.example/with space.png");  // no ideograph: untouched
    ASSERT_NE(bare->title(), nullptr);                               // always made
    EXPECT_FALSE(bare->title()->text().has_value());
    EXPECT_EQ(bare->leftBtnAttribute(), nullptr);

    auto none = campaign(R"({"id": "9", "event": "buy", "preEvents": []})");
    EXPECT_EQ(none->event(), nullptr);
    EXPECT_EQ(campaign(R"({"dialogRule": []})")->clickRule(), nullptr);

    OTWindowData untouched;
    untouched.setModelWithDic(json::array({1}));
    EXPECT_FALSE(untouched.windowId().has_value());
    EXPECT_EQ(untouched.title(), nullptr);

    EXPECT_EQ(OTColor::fromHexText("#FFFFFFFF"), OTColor(65535 / 255.0, 1, 1, 1));
    EXPECT_EQ(OTColor::fromHexText("red"), OTColor(0, 0, 0, 1));
    EXPECT_EQ(OTPicture::addressText("龟.png"), "%E9%BE%9F.png");               // U+9F9F is inside the range
    EXPECT_EQ(OTPicture::addressText("\xE4\xB8\x80.png"), "\xE4\xB8\x80.png");  // U+4E00 itself is not
}

TEST(OTWindowData, PlaceholdersTakeEventPropertiesOrTheDefaultText) {
    OTTestEnvironment test;
    auto d = campaign(kCampaign);
    EXPECT_NE(d->description().find("Hi ${event.name}!"), std::string::npos);
    d->replacePropertiesWithDic(json{{"name", "Ann"}, {"city", 5}});
    EXPECT_EQ(d->title()->text(), "Hi Ann!");
    EXPECT_EQ(d->content()->text(), "5 ${user.name} ${}");
    EXPECT_EQ(d->rightBtnAttribute()->text(), "Go 5");

    // Filling in place and every setter change what the record says of itself.
    EXPECT_NE(d->description().find("Hi Ann!"), std::string::npos);
    d->setWindowId(std::string("777"));
    d->setStyle(4);
    EXPECT_EQ(d->description().rfind("windowId:777,", 0), 0u);
    EXPECT_NE(d->description().find(",style:4,"), std::string::npos);

    auto fallback = campaign(kCampaign);
    fallback->replacePropertiesWithDic(json::object());
    EXPECT_EQ(fallback->title()->text(), "Hello");                // the default text stands in
    EXPECT_EQ(fallback->content()->text(), " ${user.name} ${}");  // no default: removed
    fallback->replacePropertiesWithDic(json::array());            // not a dictionary: nothing
    EXPECT_EQ(fallback->content()->text(), " ${user.name} ${}");

    // A published campaign is filled through a copy, so each showing starts from the placeholders.
    const std::shared_ptr<const OTWindowData> published = campaign(kCampaign);
    const std::string* before = &published->keptDescription();
    const auto forAnn = published->filledWithProperties(json{{"name", "Ann"}, {"city", "Rome"}});
    // The kept description of the campaign is its own; each filled copy describes its own texts.
    EXPECT_EQ(&published->keptDescription(), before);
    EXPECT_NE(forAnn->description().find("Hi Ann!"), std::string::npos);
    EXPECT_EQ(forAnn->description().find("${event.name}"), std::string::npos);
    EXPECT_NE(before->find("Hi ${event.name}!"), std::string::npos);
    const auto forBob = published->filledWithProperties(json{{"name", "Bob"}});
    EXPECT_EQ(forAnn->title()->text(), "Hi Ann!");
    EXPECT_EQ(forAnn->rightBtnAttribute()->text(), "Go Rome");
    EXPECT_EQ(forBob->title()->text(), "Hi Bob!");
    EXPECT_EQ(forBob->rightBtnAttribute()->text(), "Go ");
    EXPECT_EQ(published->title()->text(), "Hi ${event.name}!");
    EXPECT_EQ(published->rightBtnAttribute()->text(), "Go ${event.city}");
    EXPECT_EQ(forAnn->windowId(), published->windowId());
    EXPECT_EQ(forAnn->event(), published->event());  // the parts that are not filled stay shared
    const auto stepped = published->advancedSequence();
    ASSERT_EQ(stepped->preEvents().size(), 1u);
    EXPECT_EQ(stepped->preEvents()[0]->xwhat(), "buy");
    EXPECT_EQ(published->preEvents().size(), 2u);

    OTTextAttribute item;
    item.setModelWithDic(json{{"text", "${event.a}-${event.b}-${event.a}"}, {"defaultText", "D"}});
    OTWindowData::_replacePropertiesWithItemAttribute(item, json{{"a", "x"}});
    EXPECT_EQ(item.text(), "D");  // b has no value: the walk stops at the default text
    item.setModelWithDic(json{{"text", "${event.a}-${event.a}"}, {"defaultText", ""}});
    OTWindowData::_replacePropertiesWithItemAttribute(item, json{{"a", nullptr}});
    EXPECT_EQ(item.text(), "<null>-<null>");
}

TEST(OTWindowData, ArchivesEveryFieldWithItsKind) {
    OTTestEnvironment test;
    auto d = campaign(kCampaign);
    const auto path = test.documents() / "OTInAppWindowData.plist";
    ASSERT_TRUE(OTDataArchiver::setData(std::vector<std::shared_ptr<const OTWindowData>>{d}, path));
    auto back = OTDataArchiver::getObjectsForPath<OTWindowData>(path);
    ASSERT_TRUE(back.has_value());
    const auto& r = *(*back)[0];
    EXPECT_EQ(r.description(), d->description());
    EXPECT_EQ(r.title()->description(), d->title()->description());
    EXPECT_EQ(r.leftBtnAttribute()->description(), d->leftBtnAttribute()->description());
    EXPECT_EQ(r.preEvents().size(), 2u);
    EXPECT_EQ(r.event()->xcontext(), d->event()->xcontext());
    EXPECT_EQ(r.clickRule()->count(), 4294967295);
    EXPECT_EQ(r.middleBtnAttribute(), nullptr);
    EXPECT_EQ(r.h5Url(), "https://h5.example.com/a");
}

}  // namespace corvane
