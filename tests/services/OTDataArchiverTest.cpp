#include <gtest/gtest.h>

#include "foundation/OTFiles.h"
#include "model/OTWindowData.h"
#include "platform/OTEnvironment.h"
#include "services/OTDataArchiver.h"
#include "services/OTUserDefaults.h"
#include "support/OTTestEnvironment.h"

namespace corvane {

namespace {
// A model with every kind of field, and a list of children of its own class.
class Node final : public OTCoding {
public:
    static constexpr const char* kArchiveClassName = "TestNode";

    std::int64_t number = 0;
    bool flag = false;
    float size = 0;
    double when = 0;
    std::optional<std::string> name;
    nlohmann::json context;
    std::optional<OTPropertyList::Date> date;
    std::vector<std::shared_ptr<Node>> children;

    const char* archiveClassName() const override { return kArchiveClassName; }
    void encodeWithCoder(OTKeyedArchiver& coder) const override {
        coder.encodeInteger(number, "number");
        coder.encodeBool(flag, "flag");
        coder.encodeFloat(size, "size");
        coder.encodeDouble(when, "when");
        coder.encodeObject(name, "name");
        coder.encodeObject(context, "context");
        coder.encodeDate(date, "date");
        coder.encodeObjects(children, "children");
    }
    static std::shared_ptr<Node> initWithCoder(const OTKeyedUnarchiver& coder) {
        auto node = std::make_shared<Node>();
        node->number = coder.decodeIntegerForKey("number");
        node->flag = coder.decodeBoolForKey("flag");
        node->size = coder.decodeFloatForKey("size");
        node->when = coder.decodeDoubleForKey("when");
        node->name = coder.decodeStringForKey("name");
        node->context = coder.decodeJsonForKey("context").value_or(nullptr);
        node->date = coder.decodeDateForKey("date");
        node->children =
            coder.decodeArrayOfObjectsOfClass<Node>("children").value_or(std::vector<std::shared_ptr<Node>>{});
        return node;
    }
};

class Other final : public OTCoding {
public:
    static constexpr const char* kArchiveClassName = "TestOther";
    const char* archiveClassName() const override { return kArchiveClassName; }
    void encodeWithCoder(OTKeyedArchiver& coder) const override { coder.encodeInteger(1, "number"); }
    static std::shared_ptr<Other> initWithCoder(const OTKeyedUnarchiver&) { return std::make_shared<Other>(); }
};

std::shared_ptr<Node> sampleNode() {
    auto node = std::make_shared<Node>();
    node->number = 4294967295;
    node->flag = true;
    node->size = 16.1f;
    node->when = 1714521600123.5;
    node->name = "弹窗";
    node->context = nlohmann::json::parse(R"({"$url":"HomeVC","price":9.5,"tags":["a",null,{"deep":[1,2]}]})");
    node->date = OTVirtualClock::defaultStart();
    auto child = std::make_shared<Node>();
    child->number = -1;
    node->children = {child};
    return node;
}
}  // namespace

TEST(OTDataArchiver, ObjectListsRoundTripWithEveryKindAndNesting) {
    OTTestEnvironment test;
    const auto path = test.documents() / "OTInAppWindowData.plist";
    const std::vector<std::shared_ptr<Node>> nodes = {sampleNode(), std::make_shared<Node>()};
    ASSERT_TRUE(OTDataArchiver::setData(nodes, path));

    auto back = OTDataArchiver::getObjectsForPath<Node>(path);
    ASSERT_TRUE(back.has_value());
    ASSERT_EQ(back->size(), 2u);
    const auto& first = *(*back)[0];
    EXPECT_EQ(first.number, 4294967295);
    EXPECT_TRUE(first.flag);
    EXPECT_FLOAT_EQ(first.size, 16.1f);
    EXPECT_DOUBLE_EQ(first.when, 1714521600123.5);
    EXPECT_EQ(first.name, "弹窗");
    EXPECT_EQ(first.context, nodes[0]->context);
    EXPECT_EQ(first.date, OTVirtualClock::defaultStart());
    ASSERT_EQ(first.children.size(), 1u);
    EXPECT_EQ(first.children[0]->number, -1);
    // Absent stays absent; null stays null.
    const auto& second = *(*back)[1];
    EXPECT_FALSE(second.name.has_value());
    EXPECT_FALSE(second.date.has_value());
    EXPECT_TRUE(second.context.is_null());

    // Asked for another class, the same file reads as nothing.
    EXPECT_FALSE(OTDataArchiver::getObjectsForPath<Other>(path).has_value());
    // A list holding one foreign object is refused whole.
    std::vector<std::shared_ptr<OTCoding>> mixed = {sampleNode(), std::make_shared<Other>()};
    ASSERT_TRUE(OTDataArchiver::setData(mixed, path));
    EXPECT_FALSE(OTDataArchiver::getObjectsForPath<Node>(path).has_value());
}

TEST(OTDataArchiver, PlainGraphsRoundTripAndAbsentObjectsAreNotWritten) {
    OTTestEnvironment test;
    const auto path = test.documents() / "OTCachedOfflineWindowEvents.plist";
    const auto events = nlohmann::json::parse(R"([{"xwhat":"$ot_window_show","xcontext":{"id":12,"n":null}},{}])");
    ASSERT_TRUE(OTDataArchiver::setData(events, path));
    EXPECT_EQ(OTDataArchiver::getJsonForPath(path), events);

    const auto missing = test.documents() / "none.plist";
    EXPECT_FALSE(OTDataArchiver::setData(nlohmann::json(), missing));
    EXPECT_FALSE(OTDataArchiver::setData(std::shared_ptr<const OTCoding>(), missing));
    EXPECT_FALSE(std::filesystem::exists(missing));
    EXPECT_FALSE(OTDataArchiver::getDataForPath(missing).has_value());
    EXPECT_FALSE(OTDataArchiver::getDataForPath("").has_value());
    // A graph holding archived objects is not plain.
    ASSERT_TRUE(OTDataArchiver::setData(std::vector<std::shared_ptr<Node>>{sampleNode()}, path));
    EXPECT_FALSE(OTDataArchiver::getJsonForPath(path).has_value());
}

TEST(OTDataArchiver, EmptyTruncatedForeignAndRandomFilesReadAsNothing) {
    OTTestEnvironment test;
    const auto path = test.documents() / "OTWindowRecordTreeData.plist";
    ASSERT_TRUE(OTDataArchiver::setData(std::vector<std::shared_ptr<Node>>{sampleNode(), sampleNode()}, path));
    const std::string good = *OTFiles::readFile(path);

    auto readsAsNothing = [&](const std::string& bytes) {
        OTFiles::writeFileAtomically(path, bytes);
        return !OTDataArchiver::getObjectsForPath<Node>(path).has_value();
    };
    EXPECT_TRUE(readsAsNothing(""));
    EXPECT_TRUE(readsAsNothing(good.substr(0, good.size() / 2)));
    // A valid property list that is not one of our archives.
    EXPECT_TRUE(readsAsNothing(*OTPropertyList(OTPropertyList::Array{OTPropertyList(1)}).toBinary()));
    EXPECT_TRUE(
        readsAsNothing(OTPropertyList(OTPropertyList::Dictionary{{"$archiver", OTPropertyList("NSKeyedArchiver")},
                                                                 {"$root", OTPropertyList(1)}})
                           .toBinary()
                           .value()));
}

TEST(OTDataArchiver, KeyedReadsTakeTheLastOfARepeatedKeyAndOnlyWhatTheFileHolds) {
    OTTestEnvironment test;
    // A dictionary written by hand: "number" twice, "$class" twice, and "name" that is no text.
    OTBinaryPlistWriter writer;
    const std::vector<OTBinaryPlistWriter::Ref> values = {
        writer.addInteger(1), writer.addString("Other"), writer.addInteger(2),
        writer.addString(Node::kArchiveClassName), writer.addInteger(3)};
    const std::vector<OTBinaryPlistWriter::Ref> keys = {writer.addString("number"), writer.addString("$class"),
                                                        writer.addString("number"), writer.addString("$class"),
                                                        writer.addString("name")};
    const auto bytes = writer.finishText(writer.addDictionary(keys, values, 0));
    ASSERT_TRUE(bytes.has_value());
    const auto node = OTKeyedUnarchiver::unarchivedObjectOfClass<Node>(*bytes);
    ASSERT_NE(node, nullptr);
    EXPECT_EQ(node->number, 2);
    EXPECT_FALSE(node->name.has_value());
    EXPECT_FALSE(node->flag);
    EXPECT_EQ(OTKeyedUnarchiver::unarchivedObjectOfClass<Other>(*bytes), nullptr);

    // 400,000 references to one archived object: each costs the object's bytes, so reading stops
    // when the file's worth is spent, and the list is refused instead of growing to 400,000 nodes.
    OTBinaryPlistWriter bomb;
    const auto one = OTKeyedArchiver::encodeRoot(bomb, *sampleNode(), 1);
    const std::vector<OTBinaryPlistWriter::Ref> many(400'000, one);
    const auto bombBytes = bomb.finishText(bomb.addArray(many, 0));
    ASSERT_TRUE(bombBytes.has_value());
    EXPECT_FALSE(OTKeyedUnarchiver::unarchivedArrayOfObjectsOfClass<Node>(*bombBytes).has_value());
}

TEST(OTDataArchiver, TenThousandCampaignsArchiveAndComeBackWhole) {
    OTTestEnvironment test;
    const auto path = test.documents() / "OTInAppWindowData.plist";
    std::vector<std::shared_ptr<OTWindowData>> campaigns;
    for (int id = 1; id <= 10'000; ++id) {
        auto campaign = std::make_shared<OTWindowData>();
        campaign->setModelWithDic(
            {{"id", std::to_string(id)},
             {"style", 3},
             {"count", 3},
             {"startTime", "2024-01-01 00:00:00"},
             {"endTime", "2030-12-31 23:59:59"},
             {"preEvents", {{{"xwhat", "buy"}}}},
             {"event",
              {{"xwhat", "buy"},
               {"rule", {{{"field", "price"}, {"dataType", "number"}, {"function", "GT"}, {"value", {"100"}}}}}}},
             {"title", {{"text", "春季上新 " + std::to_string(id)}, {"size", "36pd"}}},
             {"buttonRight", {{"text", "Go"}, {"clickEvent", "DetailVC?id=1"}}}});
        campaigns.push_back(std::move(campaign));
    }
    // About a million objects, and more than one of the writer's chunks of bytes.
    ASSERT_TRUE(OTDataArchiver::setData(campaigns, path));
    EXPECT_GT(std::filesystem::file_size(path), std::size_t{8} << 20);
    const auto back = OTDataArchiver::getObjectsForPath<OTWindowData>(path);
    ASSERT_TRUE(back.has_value());
    ASSERT_EQ(back->size(), campaigns.size());
    for (const std::size_t i : {std::size_t{0}, std::size_t{4'999}, std::size_t{9'999}}) {
        EXPECT_EQ((*back)[i]->description(), campaigns[i]->description());
    }
}

TEST(OTDataArchiver, TokenRecordLivesInTheUserDefaults) {
    OTTestEnvironment test;
    EXPECT_FALSE(OTDataArchiver::getTokenInfo().has_value());
    EXPECT_FALSE(OTDataArchiver::getTokenDate().has_value());
    test.clock().advance(std::chrono::seconds(90));
    OTDataArchiver::setTokenInfo("0-token-group.demo-u1");
    test.restart();
    EXPECT_EQ(OTDataArchiver::getTokenInfo(), "0-token-group.demo-u1");
    EXPECT_EQ(OTDataArchiver::getTokenDate(), OTVirtualClock::defaultStart() + std::chrono::seconds(90));
    EXPECT_EQ(OTUserDefaults::standardUserDefaults().stringForKey("KPXtokenProvider"), "0-token-group.demo-u1");
}

}  // namespace corvane
