#include <gtest/gtest.h>

#include <bit>
#include <cmath>
#include <nlohmann/json.hpp>

#include "foundation/OTPropertyList.h"

namespace corvane {

namespace {
OTPropertyList sample() {
    using D = OTPropertyList::Dictionary;
    using A = OTPropertyList::Array;
    return OTPropertyList(D{
        {"bool", OTPropertyList(true)},
        {"negative", OTPropertyList(std::int64_t{-5})},
        {"big", OTPropertyList(std::int64_t{4294967295})},
        {"min", OTPropertyList(INT64_MIN)},
        {"real", OTPropertyList(0.1)},
        {"text", OTPropertyList("中文 text")},
        {"date", OTPropertyList(OTPropertyList::Date(std::chrono::microseconds(1714521600123456)))},
        {"old", OTPropertyList(OTPropertyList::Date(std::chrono::seconds(-86400)))},
        {"data", OTPropertyList(OTPropertyList::Data{0, 0xFF, 0x10})},
        {"list", OTPropertyList(A{OTPropertyList(1), OTPropertyList(D{{"inner", OTPropertyList(A{})}})})},
    });
}
}  // namespace

TEST(OTPropertyList, BinaryRoundTripKeepsEveryKind) {
    const auto original = sample();
    const auto bytes = original.toBinary();
    ASSERT_TRUE(bytes.has_value());
    ASSERT_EQ(bytes->substr(0, 8), "bplist00");
    const auto back = OTPropertyList::fromBinary(*bytes);
    ASSERT_TRUE(back.has_value());
    EXPECT_EQ(*back, original);
}

TEST(OTPropertyList, JsonMappingKeepsNullsAndKinds) {
    const nlohmann::json value = {
        {"a", nullptr}, {"b", {1, -2, 3.5, "x", false, nullptr}}, {"c", nlohmann::json::object()}};
    const auto plist = OTPropertyList::fromJson(value);
    ASSERT_TRUE(plist.has_value());
    EXPECT_EQ(plist->find("a")->kind(), OTPropertyList::Kind::Dictionary);  // the null marker
    const auto back = OTPropertyList::fromBinary(*plist->toBinary());
    ASSERT_TRUE(back.has_value());
    const auto converted = back->toJson();
    EXPECT_EQ(converted, value);
    EXPECT_TRUE(converted["b"][0].is_number_integer());
    EXPECT_TRUE(converted["b"][2].is_number_float());
    EXPECT_TRUE(converted["b"][4].is_boolean());
}

TEST(OTPropertyList, ForeignTruncatedAndHostileInputReadsAsNothing) {
    EXPECT_FALSE(OTPropertyList::fromBinary("").has_value());
    EXPECT_FALSE(OTPropertyList::fromBinary("<?xml version=\"1.0\"?><plist></plist>").has_value());
    EXPECT_FALSE(OTPropertyList::fromBinary("{\"json\": true}").has_value());
    const auto bytes = *sample().toBinary();
    for (std::size_t cut = 0; cut < bytes.size(); ++cut) {
        (void)OTPropertyList::fromBinary(std::string_view(bytes).substr(0, cut));
    }
}

TEST(OTPropertyList, TheWriterRefusesExactlyWhatTheReaderRefuses) {
    auto nested = [](std::size_t levels) {
        OTPropertyList value(OTPropertyList::Array{});
        for (std::size_t i = 0; i < levels; ++i) value = OTPropertyList(OTPropertyList::Array{value});
        return value;
    };
    const auto deepest = nested(OTPropertyList::kMaxDepth);
    ASSERT_TRUE(deepest.toBinary().has_value());
    EXPECT_EQ(OTPropertyList::fromBinary(*deepest.toBinary()), deepest);
    EXPECT_FALSE(nested(OTPropertyList::kMaxDepth + 1).toBinary().has_value());
    EXPECT_FALSE(nested(300).toBinary().has_value());
    // The same one level too deep, written by hand: the reader refuses it too.
    std::string tooDeep = "bplist00";
    const std::size_t count = OTPropertyList::kMaxDepth + 2;
    for (std::size_t i = 0; i + 1 < count; ++i) {
        tooDeep += '\xA1';
        tooDeep += static_cast<char>((i + 1) >> 8);
        tooDeep += static_cast<char>((i + 1) & 0xFF);
    }
    tooDeep += '\xA0';
    const std::size_t table = tooDeep.size();
    for (std::size_t i = 0; i < count; ++i) {
        const std::size_t offset = 8 + 3 * i;
        tooDeep += static_cast<char>(offset >> 8);
        tooDeep += static_cast<char>(offset & 0xFF);
    }
    std::string trailer(32, '\0');
    trailer[6] = 2;
    trailer[7] = 2;
    trailer[15] = static_cast<char>(count);
    trailer[30] = static_cast<char>(table >> 8);
    trailer[31] = static_cast<char>(table & 0xFF);
    EXPECT_FALSE(OTPropertyList::fromBinary(tooDeep + trailer).has_value());

    // Objects: dictionary keys count, and one past the budget is refused.
    OTPropertyList::Array most(OTPropertyList::kMaxNodes - 1, OTPropertyList(1));
    EXPECT_TRUE(OTPropertyList::fromBinary(*OTPropertyList(most).toBinary()).has_value());
    most.emplace_back(1);
    EXPECT_FALSE(OTPropertyList(most).toBinary().has_value());
    OTPropertyList::Dictionary keyed;
    for (std::size_t i = 0; i < OTPropertyList::kMaxNodes / 2; ++i) keyed.emplace(std::to_string(i), OTPropertyList(1));
    EXPECT_FALSE(OTPropertyList(keyed).toBinary().has_value());

    // JSON converts only within the depth limit, so what converts can be written.
    nlohmann::json deepJson = nlohmann::json::array();
    for (std::size_t i = 0; i < OTPropertyList::kMaxDepth; ++i) deepJson = nlohmann::json::array({deepJson});
    ASSERT_TRUE(OTPropertyList::fromJson(deepJson).has_value());
    EXPECT_TRUE(OTPropertyList::fromJson(deepJson)->toBinary().has_value());
    EXPECT_FALSE(OTPropertyList::fromJson(nlohmann::json::array({deepJson})).has_value());
}

namespace {
// A binary property list of `objects` (each already encoded), one-byte offsets and references.
std::string assemble(const std::vector<std::string>& objects, std::uint8_t top) {
    std::string out = "bplist00";
    std::vector<std::uint8_t> offsets;
    for (const auto& object : objects) {
        offsets.push_back(static_cast<std::uint8_t>(out.size()));
        out += object;
    }
    const std::size_t table = out.size();
    for (auto offset : offsets) out += static_cast<char>(offset);
    std::string trailer(32, '\0');
    trailer[6] = 1;
    trailer[7] = 1;
    trailer[15] = static_cast<char>(objects.size());
    trailer[23] = static_cast<char>(top);
    trailer[31] = static_cast<char>(table);
    return out + trailer;
}
}  // namespace

TEST(OTPropertyList, CyclesAndReferenceBombsAreRefused) {
    // An array that holds itself.
    EXPECT_FALSE(OTPropertyList::fromBinary(assemble({std::string("\xA1\x00", 2)}, 0)).has_value());
    // An array whose count would be read out of the offset table.
    EXPECT_FALSE(OTPropertyList::fromBinary(assemble({"\x10\x07", "\xAF\x10"}, 1)).has_value());
    // Thirty levels of arrays that each hold the next one twice: 2^30 nodes if expanded.
    std::vector<std::string> objects;
    for (int i = 0; i < 30; ++i) {
        objects.push_back(std::string{'\xA2', static_cast<char>(i + 1), static_cast<char>(i + 1)});
    }
    objects.push_back("\x10\x07");
    EXPECT_FALSE(OTPropertyList::fromBinary(assemble(objects, 0)).has_value());
    // The same shape, shallow enough to be legitimate, reads.
    std::vector<std::string> small(objects.end() - 4, objects.end());
    for (int i = 0; i < 3; ++i)
        small[static_cast<std::size_t>(i)] = std::string{'\xA2', static_cast<char>(i + 1), static_cast<char>(i + 1)};
    auto read = OTPropertyList::fromBinary(assemble(small, 0));
    ASSERT_TRUE(read.has_value());
    EXPECT_EQ(read->toJson(), nlohmann::json::parse("[[[7,7],[7,7]],[[7,7],[7,7]]]"));
}

TEST(OTPropertyList, DatesATimePointCannotHoldAreRefused) {
    auto dateList = [](double secondsSince2001) {
        std::string date = "\x33";
        const auto raw = std::bit_cast<std::uint64_t>(secondsSince2001);
        for (int shift = 56; shift >= 0; shift -= 8) date += static_cast<char>((raw >> shift) & 0xFF);
        return assemble({date}, 0);
    };
    EXPECT_TRUE(OTPropertyList::fromBinary(dateList(0)).has_value());
    EXPECT_TRUE(OTPropertyList::fromBinary(dateList(7.0e9)).has_value());
    EXPECT_FALSE(OTPropertyList::fromBinary(dateList(9.0e9)).has_value());
    EXPECT_FALSE(OTPropertyList::fromBinary(dateList(-1e11)).has_value());
    EXPECT_FALSE(OTPropertyList::fromBinary(dateList(std::nan(""))).has_value());
}

TEST(OTPropertyList, WidthsGrowWithTheContent) {
    using A = OTPropertyList::Array;
    A many;
    for (int i = 0; i < 70000; ++i) many.emplace_back(static_cast<std::int64_t>(i) * 65599);  // >64k objects and bytes
    many.emplace_back(std::string(300, 'x'));
    many.emplace_back("emoji 😀 and 中文");
    many.emplace_back(OTPropertyList::Data(100'000, 7));
    // Far-future and far-past dates keep their full range.
    many.emplace_back(OTPropertyList::Date(std::chrono::seconds(1714521600LL + 4294967295LL)));
    many.emplace_back(OTPropertyList::Date(std::chrono::seconds(-5'000'000'000LL)));
    many.emplace_back(INT64_MAX);
    many.emplace_back(std::int64_t{4294967296});
    const OTPropertyList original((A(many)));
    const auto back = OTPropertyList::fromBinary(*original.toBinary());
    ASSERT_TRUE(back.has_value());
    EXPECT_EQ(*back, original);
}

TEST(OTPropertyList, ValuesSpanningManyChunksOfBytesRoundTrip) {
    // Several megabytes, with texts that straddle the writer's chunk boundaries and one larger
    // than a chunk, so that offsets and references are checked across them.
    OTPropertyList::Array list;
    for (int i = 0; i < 3'000; ++i) {
        list.emplace_back(std::string(1'000 + i % 7, static_cast<char>('a' + i % 26)));
        list.emplace_back(OTPropertyList::Dictionary{{"i", OTPropertyList(i)}, {"中", OTPropertyList("文")}});
    }
    list.emplace_back(std::string(std::size_t{3} << 20, 'z'));
    const OTPropertyList original(std::move(list));
    const auto bytes = original.toBinary();
    ASSERT_TRUE(bytes.has_value());
    EXPECT_GT(bytes->size(), std::size_t{6} << 20);
    EXPECT_EQ(OTPropertyList::fromBinary(*bytes), original);
}

TEST(OTPropertyList, RepeatedReferencesCostWhatTheirObjectsCostOnDisk) {
    // 800 KB of references to a single 1,000-byte text: 400 MB if every reference were
    // read as a copy. Each reference costs the text's bytes, so the budget ends it.
    const std::size_t refs = 400'000;
    std::string bytes = "bplist00";
    bytes += '\xAF';
    bytes += '\x12';
    for (int shift = 24; shift >= 0; shift -= 8) bytes += static_cast<char>((refs >> shift) & 0xFF);
    for (std::size_t i = 0; i < refs; ++i) bytes += std::string("\x00\x01", 2);
    const std::size_t textOffset = bytes.size();
    bytes += '\x5F';
    bytes += '\x11';
    bytes += '\x03';
    bytes += '\xE8';
    bytes += std::string(1000, 'x');
    const std::size_t table = bytes.size();
    auto appendOffset = [&](std::size_t offset) {
        for (int shift = 24; shift >= 0; shift -= 8) bytes += static_cast<char>((offset >> shift) & 0xFF);
    };
    appendOffset(8);
    appendOffset(textOffset);
    std::string trailer(32, '\0');
    trailer[6] = 4;
    trailer[7] = 2;
    trailer[15] = 2;
    for (int i = 0; i < 4; ++i) trailer[28 + i] = static_cast<char>((table >> (24 - 8 * i)) & 0xFF);
    bytes += trailer;
    ASSERT_GT(bytes.size(), 800'000u);
    EXPECT_FALSE(OTPropertyList::fromBinary(bytes).has_value());
}

}  // namespace corvane
