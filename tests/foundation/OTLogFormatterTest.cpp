#include <gtest/gtest.h>

#include <limits>
#include <nlohmann/json.hpp>

#include "foundation/OTDescription.h"
#include "foundation/OTLogFormatter.h"

namespace corvane {

namespace {
template <class... Args>
std::string fmt(const char* format, const Args&... args) {
    const OTLogArgument arguments[] = {OTLogArgument(args)..., OTLogArgument(nullptr)};
    return OTLogFormatter::format(format, std::span<const OTLogArgument>(arguments, sizeof...(Args)));
}

struct Describable {
    std::string description() const { return "<Describable>"; }
};

// Hands out one kept text; counts how often a copy was asked for instead.
struct KeptDescribable {
    std::string text = "<Kept>";
    mutable int copies = 0;
    std::string description() const {
        ++copies;
        return text;
    }
    const std::string& keptDescription() const { return text; }
};
}  // namespace

TEST(OTLogFormatter, ConversionsTheLibraryUses) {
    EXPECT_EQ(fmt("网络状态发生变化，当前网络：%@", std::string("WiFi")), "网络状态发生变化，当前网络：WiFi");
    EXPECT_EQ(fmt("%d|%ld|%lu|%i", -3, 4294967296LL, 4294967295UL, 7), "-3|4294967296|4294967295|7");
    EXPECT_EQ(fmt("%f|%lf|%.f|%.2f", 1.5, 2.25, 2.5, 3.14159), "1.500000|2.250000|2|3.14");
    EXPECT_EQ(fmt("%08x|%X|%%|100%%", 255u, 48879), "000000ff|BEEF|%|100%");
    EXPECT_EQ(fmt("%5s|%-5s|%.2s", "ab", "cd", "xyz"), "   ab|cd   |xy");
    EXPECT_EQ(fmt("%*d|%-*d|", 4, 7, 3, 1), "   7|1  |");
    EXPECT_EQ(fmt("%c%c", 'o', 'k'), "ok");
    // C truncation of plain %d and %u, as the platform prints them.
    EXPECT_EQ(fmt("%d|%u|%hhd", 4294967297LL, -1, 300), "1|4294967295|44");
}

TEST(OTLogFormatter, ObjectsAndMismatchesPrintSomethingReadable) {
    EXPECT_EQ(fmt("%@|%@|%@|%@", nullptr, static_cast<const char*>(nullptr), 42, 0.1), "(null)|(null)|42|0.1");
    EXPECT_EQ(fmt("%@", std::optional<std::string>()), "(null)");
    EXPECT_EQ(fmt("%@ %@", Describable{}, std::make_shared<Describable>()), "<Describable> <Describable>");
    EXPECT_EQ(fmt("%@", std::shared_ptr<Describable>()), "(null)");
    EXPECT_EQ(fmt("%@", true), "1");
    auto kept = std::make_shared<KeptDescribable>();
    EXPECT_EQ(fmt("%@|%10@|%-7s|%.3@", kept, *kept, kept, kept), "<Kept>|    <Kept>|<Kept> |<Ke");
    EXPECT_EQ(kept->copies, 0);
    EXPECT_EQ(fmt("%@|%d", std::shared_ptr<const std::string>(), std::numeric_limits<long long>::min()), "(null)|0");
    EXPECT_EQ(fmt("%lld|%llu", std::numeric_limits<long long>::min(), std::numeric_limits<unsigned long long>::max()),
              "-9223372036854775808|18446744073709551615");
    // Too few arguments, wrong kinds, unknown conversions, a trailing percent.
    EXPECT_EQ(fmt("%@ and %d and %f"), "(null) and (null) and (null)");
    EXPECT_EQ(fmt("%d", "text"), "text");
    EXPECT_EQ(fmt("%s", 12), "12");
    EXPECT_EQ(fmt("%f", 3), "3.000000");
    EXPECT_EQ(fmt("%y%k|%", 1), "%y%k|%");
    EXPECT_EQ(fmt("%n", 1), "%n");
    // A width too large to be meant is capped.
    EXPECT_EQ(fmt("%99999999999d", 1).size(), static_cast<std::size_t>(OTLogFormatter::kMaxWidth));
}

TEST(OTLogFormatter, DictionaryAndListDescriptionsTakeThePlatformForm) {
    const auto value = nlohmann::json::parse(R"({"xwhat":"$pageview","n":3,"ok":true,"none":null,
        "xcontext":{"$url":"Home VC","list":[1,"a b"]},"empty":[]})");
    EXPECT_EQ(OTDescription::describe(value),
              "{\n"
              "    empty =     (\n"
              "    );\n"
              "    n = 3;\n"
              "    none = \"<null>\";\n"
              "    ok = 1;\n"
              "    xcontext =     {\n"
              "        $url = \"Home VC\";\n"
              "        list =         (\n"
              "            1,\n"
              "            \"a b\"\n"
              "        );\n"
              "    };\n"
              "    xwhat = $pageview;\n"
              "}");
    EXPECT_EQ(OTDescription::describe("plain text"), "plain text");
    EXPECT_EQ(OTDescription::describe(nullptr), "<null>");
    EXPECT_EQ(OTDescription::describe(nlohmann::json::object()), "{\n}");
}

}  // namespace corvane
