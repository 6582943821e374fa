#include <gtest/gtest.h>

#include <string>
#include <thread>
#include <vector>

#include "model/OTEvent.h"
#include "services/OTDataArchiver.h"
#include "support/OTTestEnvironment.h"

namespace corvane {

namespace {
std::shared_ptr<OTEvent> event(const char* json) {
    auto e = std::make_shared<OTEvent>();
    e->setModelWithDic(nlohmann::json::parse(json));
    return e;
}

}  // namespace

TEST(OTEvent, ParsingFallsBackFieldByField) {
    OTTestEnvironment test;
    auto e = event(R"({"appid":"a1","xwhat":"$pageview","xwho":"u","xwhen":"1714521600123.5",
                      "xcontext":{"$url":"HomeVC"},"count":"3","delay":1.25,"relation":"OR",
                      "rule":[{"field":"price","dataType":"number","function":"GT","value":["10"]},"junk"]})");
    EXPECT_TRUE(e->available());
    EXPECT_EQ(e->appid(), "a1");
    EXPECT_EQ(e->xwhat(), "$pageview");
    EXPECT_DOUBLE_EQ(e->xwhen(), 1714521600123.5);
    EXPECT_EQ(e->xcontext(), (nlohmann::json{{"$url", "HomeVC"}}));
    EXPECT_EQ(e->count(), 3);
    EXPECT_FLOAT_EQ(e->delay(), 1.25f);
    EXPECT_EQ(e->relation(), "OR");
    ASSERT_EQ(e->rules().size(), 2u);
    EXPECT_EQ(e->rules()[0]->function(), "GT");
    EXPECT_EQ(e->rules()[1]->field(), "");  // a non-object rule has empty fields

    auto defaults = event(R"({"xwhen":null,"count":null,"delay":null,"relation":null,"rule":{}})");
    EXPECT_TRUE(defaults->available());
    EXPECT_FALSE(defaults->xwhat().has_value());
    EXPECT_EQ(defaults->xwhen(), 0);
    EXPECT_TRUE(defaults->xcontext().is_null());
    EXPECT_EQ(defaults->count(), 1);
    EXPECT_EQ(defaults->delay(), 0);
    EXPECT_EQ(defaults->relation(), "AND");
    EXPECT_TRUE(defaults->rules().empty());

    for (const char* notADictionary : {"[1,2]", "\"text\"", "null", "5"}) {
        auto bad = event(notADictionary);
        EXPECT_FALSE(bad->available()) << notADictionary;
        EXPECT_FALSE(bad->matches(bad.get()));
        EXPECT_FALSE(event(R"({"xwhat":"x"})")->matches(bad.get()));
    }
}

TEST(OTEvent, MatchingNamesThenRulesOrProperties) {
    OTTestEnvironment test;
    auto incoming = event(R"({"xwhat":"buy","xcontext":{"page":"home","x":1}})");
    // No rules and no properties: every event of the same name.
    EXPECT_TRUE(incoming->matches(event(R"({"xwhat":"buy","rule":[]})")));
    EXPECT_FALSE(incoming->matches(event(R"({"xwhat":"Buy"})")));
    EXPECT_FALSE(incoming->matches(nullptr));
    EXPECT_EQ(incoming->mismatch(event(R"({"xwhat":"Buy"})").get()),
              (nlohmann::json{{"reason", "eventName"}, {"expected", "Buy"}, {"actual", "buy"}}));
    EXPECT_EQ(incoming->mismatch(nullptr)["expected"], nullptr);
    // A larger event: the condition's keys are lower-cased.
    EXPECT_TRUE(incoming->matches(event(R"({"xwhat":"buy","xcontext":{"Page":"home"}})")));
    EXPECT_FALSE(incoming->matches(event(R"({"xwhat":"buy","xcontext":{"page":"Home"}})")));
    EXPECT_FALSE(incoming->matches(event(R"({"xwhat":"buy","xcontext":{"missing":"home"}})")));
    EXPECT_EQ(incoming->mismatch(event(R"({"xwhat":"buy","xcontext":{"Page":"Home"}})").get()),
              (nlohmann::json{{"reason", "propertyRule"},
                              {"field", "Page"},
                              {"operator", "EQ"},
                              {"dataType", nullptr},
                              {"expected", "Home"},
                              {"actual", "home"}}));
    EXPECT_EQ(incoming->mismatch(event(R"({"xwhat":"buy","xcontext":{"missing":"home"}})").get())["actual"], nullptr);
    EXPECT_TRUE(incoming->mismatch(event(R"({"xwhat":"buy","xcontext":{"Page":"home"}})").get()).is_null());
    // A smaller event: its own keys are looked up in the condition as they stand.
    auto small = event(R"({"xwhat":"buy","xcontext":{"a":"1"}})");
    EXPECT_TRUE(small->matches(event(R"({"xwhat":"buy","xcontext":{"a":"1","b":"2"}})")));
    EXPECT_FALSE(event(R"({"xwhat":"buy","xcontext":{"A":"1"}})")
                     ->matches(event(R"({"xwhat":"buy","xcontext":{"a":"1","b":"2"}})")));
    const auto smallMismatch = event(R"({"xwhat":"buy","xcontext":{"A":"1"}})")
                                   ->mismatch(event(R"({"xwhat":"buy","xcontext":{"a":"1","b":"2"}})").get());
    EXPECT_EQ(smallMismatch["field"], "A");
    EXPECT_EQ(smallMismatch["expected"], nullptr);
    EXPECT_EQ(smallMismatch["actual"], "1");
    // Texts never equal numbers; numbers compare by value, booleans count as numbers.
    EXPECT_FALSE(event(R"({"xwhat":"e","xcontext":{"n":"5"}})")->matches(event(R"({"xwhat":"e","xcontext":{"n":5}})")));
    EXPECT_TRUE(event(R"({"xwhat":"e","xcontext":{"n":5}})")->matches(event(R"({"xwhat":"e","xcontext":{"n":5.0}})")));
    EXPECT_TRUE(event(R"({"xwhat":"e","xcontext":{"n":true}})")->matches(event(R"({"xwhat":"e","xcontext":{"n":1}})")));
    EXPECT_FALSE(
        event(R"({"xwhat":"e","xcontext":{"n":[1]}})")->matches(event(R"({"xwhat":"e","xcontext":{"n":[1]}})")));
    EXPECT_FALSE(
        event(R"({"xwhat":"e","xcontext":{"n":null}})")->matches(event(R"({"xwhat":"e","xcontext":{"n":null}})")));
    // Properties that are not dictionaries on either side: nothing to compare.
    EXPECT_TRUE(event(R"({"xwhat":"e","xcontext":[1]})")->matches(event(R"({"xwhat":"e","xcontext":{"n":1}})")));
    EXPECT_TRUE(event(R"({"xwhat":"e","xcontext":{"n":1}})")->matches(event(R"({"xwhat":"e","xcontext":"n"})")));

    test.console().clear();
    EXPECT_TRUE(incoming->matches(event(R"({"xwhat":"buy","xcontext":{"page":"home"}})")));
    EXPECT_EQ(test.console().lines(),
              (std::vector<std::string>{
                  "matches:1,event->available:1", "matches->xwhat:buy,event->xwhat:buy", "matches->rules:(\n)",
                  "matches->matchXcontext",
                  "matchXcontext:self->{\n    page = home;\n    x = 1;\n} ;event->{\n    page = home;\n}",
                  "matchXcontext->endMatch:1"}));
}

TEST(OTEvent, RulesCombineByTheIncomingEventsRelation) {
    OTTestEnvironment test;
    const char* condition = R"({"xwhat":"buy","xcontext":{"ignored":"because rules win"},"rule":[
        {"field":"price","dataType":"number","function":"GT","value":["100"]},
        {"field":"city","dataType":"string","function":"EQ","value":["beijing"]}]})";
    auto andEvent = event(R"({"xwhat":"buy","xcontext":{"price":50,"city":"Beijing"}})");
    test.console().clear();
    EXPECT_FALSE(andEvent->matches(event(condition)));
    EXPECT_TRUE(test.console().contains("matches->OT_ArrayNotEmpty"));
    EXPECT_TRUE(test.console().contains("matchRules->matchCount:1,count:2"));
    EXPECT_TRUE(event(R"({"xwhat":"buy","xcontext":{"price":150,"city":"BEIJING"}})")->matches(event(condition)));
    // Why not, for the first clause that fails, without a line of matching's logging.
    test.console().clear();
    EXPECT_EQ(andEvent->mismatch(event(condition).get()),
              nlohmann::json::parse(R"({"reason":"propertyRule","relation":"AND","field":"price","operator":"GT",
                                        "dataType":"number","expected":["100"],"actual":50})"));
    EXPECT_TRUE(test.console().lines().empty());

    auto orEvent = event(R"({"xwhat":"buy","relation":"OR","xcontext":{"price":50,"city":"beijing"}})");
    EXPECT_TRUE(orEvent->matches(event(condition)));
    // The condition's own relation is not consulted.
    auto orCondition = event(condition);
    orCondition->setRelation("OR");
    EXPECT_FALSE(andEvent->matches(orCondition));
    const auto orMismatch =
        event(R"({"xwhat":"buy","relation":"OR","xcontext":{"price":5,"city":"x"}})")->mismatch(event(condition).get());
    EXPECT_EQ(orMismatch["relation"], "OR");
    EXPECT_EQ(orMismatch["field"], "price");
    EXPECT_TRUE(orEvent->mismatch(event(condition).get()).is_null());
    // An event built without parsing has no relation and never matches a condition with rules.
    OTEvent bare;
    bare.setAvailable(true);
    bare.setXwhat("buy");
    bare.setXcontext(nlohmann::json{{"price", 150}, {"city", "beijing"}});
    EXPECT_FALSE(bare.matches(event(condition)));
    bare.setRelation("XOR");
    EXPECT_FALSE(bare.matchRules(event(condition).get()));
    const auto noRelation = bare.mismatch(event(condition).get());
    EXPECT_EQ(noRelation, (nlohmann::json{{"reason", "propertyRule"}, {"relation", "XOR"}}));
}

TEST(OTEvent, DictionaryDescriptionAndArchive) {
    OTTestEnvironment test;
    OTEvent bare;
    EXPECT_EQ(bare.toDictionary(), nlohmann::json::parse(R"({"appid":"","xwho":"","xwhat":"","xwhen":0.0,
                                                              "xcontext":{},"count":1,"delay":0.0})"));
    auto e = event(R"({"appid":"a","xwhat":"w","xwho":"u","xwhen":12,"xcontext":{"k":"v"},"count":2,"delay":0.5,
                       "rule":[{"field":"f","dataType":"string","function":"EQ","value":["x"]}]})");
    EXPECT_EQ(e->description(),
              "appid:a,xwhat:w,xwhen:12.000000,xwho:u,xcontext:{\n    k = v;\n},count:2.000000,delay:0.500000,"
              "relation:AND,rules:(\n    \"field:f,dataType:string,function:EQ,value:(\\n    x\\n)\"\n),available:1");

    // The description is kept, and every change of a field makes it anew. Threads that describe a
    // fresh event at once all read the one text that was kept.
    const auto fresh = event(R"({"xwhat":"w","xcontext":{"k":"v"}})");
    std::vector<const std::string*> seen(4);
    {
        std::vector<std::jthread> threads;
        for (auto& text : seen) threads.emplace_back([&fresh, &text] { text = &fresh->keptDescription(); });
    }
    for (const auto* text : seen) EXPECT_EQ(text, &fresh->keptDescription());
    EXPECT_EQ(&e->keptDescription(), &e->keptDescription());
    e->setXwhat("other");
    e->setXcontext(nullptr);
    e->setRelation("OR");
    e->setAvailable(false);
    EXPECT_EQ(e->description(),
              "appid:a,xwhat:other,xwhen:12.000000,xwho:u,xcontext:(null),count:2.000000,delay:0.500000,"
              "relation:OR,rules:(\n    \"field:f,dataType:string,function:EQ,value:(\\n    x\\n)\"\n),available:0");
    e->setModelWithDic(nlohmann::json{{"xwhat", "w"}, {"xcontext", {{"k", "v"}}}});
    EXPECT_EQ(e->description(),
              "appid:(null),xwhat:w,xwhen:0.000000,xwho:(null),xcontext:{\n    k = v;\n},count:1.000000,"
              "delay:0.000000,relation:AND,rules:(\n),available:1");
    e->setModelWithDic(nlohmann::json::parse(R"({"appid":"a","xwhat":"w","xwho":"u","xwhen":12,"xcontext":{"k":"v"},
        "count":2,"delay":0.5,"rule":[{"field":"f","dataType":"string","function":"EQ","value":["x"]}]})"));

    e->setCount(0);
    const auto path = test.documents() / "events.plist";
    ASSERT_TRUE(OTDataArchiver::setData(std::vector<std::shared_ptr<OTEvent>>{e}, path));
    auto back = OTDataArchiver::getObjectsForPath<OTEvent>(path);
    ASSERT_TRUE(back.has_value());
    // Every field comes back; a decoded count of 0 becomes 1.
    EXPECT_EQ((*back)[0]->description(),
              "appid:a,xwhat:w,xwhen:12.000000,xwho:u,xcontext:{\n    k = v;\n},count:1.000000,delay:0.500000,"
              "relation:AND,rules:(\n    \"field:f,dataType:string,function:EQ,value:(\\n    x\\n)\"\n),available:1");
    EXPECT_TRUE(event(R"({"xwhat":"w","xcontext":{"f":"X"}})")->matches((*back)[0]));
}

}  // namespace corvane
