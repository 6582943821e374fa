#include <gtest/gtest.h>

#include <sys/wait.h>

#include <algorithm>

#include <nlohmann/json.hpp>

#include "OTCampaignChecker.h"
#include "foundation/OTFiles.h"
#include "support/OTTestEnvironment.h"

namespace corvane {

using nlohmann::json;
using Severity = OTCampaignChecker::Severity;

namespace {
constexpr auto kNever = Severity::NeverShows;
constexpr auto kWarn = Severity::Warning;

// 2024-05-01 08:00:00 in a zone eight hours ahead of UTC.
OTCampaignChecker checkerFor(const std::filesystem::path& folder) {
    return OTCampaignChecker(folder, OTTestEnvironment::date("2024-05-01 08:00:00"),
                             [](auto) { return std::chrono::seconds(8 * 3600); });
}

json dialog(const json& changes) {
    json campaign = {{"id", "1"},
                     {"style", 3},
                     {"type", 1},
                     {"count", 1},
                     {"startTime", "2024-01-01 00:00:00"},
                     {"endTime", "2030-12-31 23:59:59"},
                     {"preEvents", {{{"xwhat", "buy"}}}}};
    campaign.merge_patch(changes);
    return campaign;
}

json banner(const json& changes) {
    json campaign = {{"id", "301"},
                     {"style", 2},
                     {"locationId", "home_top"},
                     {"startTime", "2024-01-01 00:00:00"},
                     {"endTime", "2030-12-31 23:59:59"},
                     {"resource", {{"picture", {{{"url", "{{server}}/media/a.png"}}}}}},
                     {"events", {{{"xwhat", "buy"}}}}};
    campaign.merge_patch(changes);
    return campaign;
}

json ruled(const char* dataType, const char* function, json value) {
    return dialog(
        {{"event",
          {{"xwhat", "buy"},
           {"rule", {{{"field", "price"}, {"dataType", dataType}, {"function", function}, {"value", value}}}}}}});
}

int exitStatusOf(const std::string& command) {
    const int status = std::system((command + " >/dev/null 2>&1").c_str());
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}
}  // namespace

// Each file holds exactly one fault and gets exactly that finding.
TEST(OTCampaignChecker, EachFaultIsFoundWhereItIsAndTheSamplesAreClean) {
    OTTestEnvironment test;
    const auto folder = test.root() / "campaigns";
    ASSERT_TRUE(OTFiles::writeFileAtomically(folder / "media" / "a.png", "png"));
    struct Case {
        std::string file;
        std::string text;
        std::string path;
        Severity severity;
        std::string says;
    };
    const std::vector<Case> cases = {
        {"in_app/01.json", dialog({{"count", "3"}}).dump(), "count", kWarn, "should be a whole number, not string"},
        {"in_app/02.json", dialog({{"startTime", "2024-13-01 00:00:00"}}).dump(), "startTime", kWarn,
         "\"2024-13-01 00:00:00\" is not a date of the form yyyy-MM-dd HH:mm:ss; the library then sets no limit"},
        {"in_app/03.json", dialog({{"startTime", "2024-06-02 00:00:00"}, {"endTime", "2024-06-01 00:00:00"}}).dump(),
         "endTime", kNever, "ends before the campaign starts"},
        {"in_app/04.json", dialog({{"endTime", "2024-04-30 23:59:59"}}).dump(), "endTime", kNever,
         "the campaign ended on 2024-04-30"},
        {"in_app/05.json", ruled("datetime", "RELATIVE_TIME_RANGE_CURRENT", {"7", "0"}).dump(),
         "event.rule[0].function", kNever,
         "is not an operator of datetime, did you mean \"RELATIVE_TIME_RANGE_CUURENT\"?"},
        {"in_app/06.json", ruled("Number", "GT", {"10"}).dump(), "event.rule[0].dataType", kNever,
         "\"Number\" is not a data type the library knows, did you mean \"number\"?"},
        {"in_app/07.json", ruled("number", "GT", {"1e5"}).dump(), "event.rule[0].value[0]", kNever,
         "\"1e5\" is not a number text"},
        {"in_app/08.json", dialog({{"preEvents", {{{"xwhat", "open"}}, json::object()}}}).dump(), "preEvents[1]",
         kNever, "is an empty step"},
        {"in_app/09.json",
         dialog({{"style", 1}, {"picture", "{{server}}/media/none.png"}, {"title", {{"text", "Sale"}}}}).dump(),
         "picture", kWarn, "the picture \"none.png\" is not in the campaign folder's media"},
        {"in_app/10.json", dialog({{"preEvents", nullptr}, {"event", {{"xwhat", "buy"}}}}).dump(), "preEvents", kNever,
         "an event campaign (type 1) is matched step by step through it"},
        {"in_app/11.json", dialog({{"style", 7}}).dump(), "style", kNever, "7 is not a dialog style"},
        {"in_app/12.json", dialog({{"preEvents", {{{"xwhat", "buy"}, {"relation", "OR"}}}}}).dump(),
         "preEvents[0].relation", kWarn, "rules combine by the incoming event's relation"},
        {"in_app/13.json", "{\"id\": \"1\",", "", kNever, "is not JSON"},
        // What people who read with a screen reader or large text would miss.
        {"in_app/14.json", dialog({{"title", {{"text", "Sale"}, {"color", "#AAAAAA"}}}}).dump(), "title.color", kWarn,
         "the text (#AAAAAA) on what it is drawn on (#FFFFFF) has a contrast of 2.32:1, under WCAG 2.1 AA's 4.5:1 "
         "for text of 16 points"},
        {"in_app/15.json",
         dialog({{"buttonMiddle", {{"text", "Go"}, {"color", "#FFFFFF"}, {"background", "#FF5500"}}}}).dump(),
         "buttonMiddle.color", kWarn, "has a contrast of 3.21:1, under WCAG 2.1 AA's 4.5:1 for text of 16 points"},
        {"in_app/16.json", dialog({{"style", 1}, {"picture", "{{server}}/media/a.png"}}).dump(), "picture", kWarn,
         "a picture-only campaign gives a screen reader nothing to say"},
        {"in_app/17.json", dialog({{"title", {{"text", std::string(120, 'W')}}}}).dump(), "title.text", kWarn,
         "at 320 points wide and text scale 2.0 the title, the shortest body and the buttons need"},
        {"subscribe/01.json", dialog({{"preEvents", nullptr}}).dump(), "event", kNever,
         "nothing triggers the campaign"},
        {"banners/01.json", banner({{"bannerID", "301"}}).dump(), "bannerID", kWarn,
         "unknown key; the library does not read it, did you mean \"id\"?"},
        {"banners/02.json", banner({{"id", "302"}, {"endTime", "tomorrow"}}).dump(), "endTime", kNever,
         "\"tomorrow\" is not a date"},
        {"banners/03.json", banner({{"id", "303"}, {"style", 4}}).dump(), "resource.video", kWarn,
         "style 4 plays a video"},
        {"banners/04.json", banner({{"id", "304"}, {"events", json::array()}}).dump(), "events", kNever,
         "nothing arms the banner"},
        {"rule.json", R"({"dayDialogMaxCount": 0})", "dayDialogMaxCount", kWarn, "read as no daily limit"},
    };
    for (std::size_t i = 0; i < cases.size(); ++i) {
        // Every campaign its own id, so that no two share their usage records.
        auto campaign = json::parse(cases[i].text, nullptr, false);
        if (campaign.is_object() && campaign.contains("id")) campaign["id"] = std::to_string(i + 1);
        ASSERT_TRUE(OTFiles::writeFileAtomically(folder / cases[i].file,
                                                 campaign.is_discarded() ? cases[i].text : campaign.dump()));
    }

    const auto findings = checkerFor(folder).check();
    ASSERT_EQ(findings.size(), cases.size());
    for (const auto& c : cases) {
        SCOPED_TRACE(c.file);
        const auto found =
            std::find_if(findings.begin(), findings.end(), [&](const auto& f) { return f.file == c.file; });
        ASSERT_NE(found, findings.end());
        EXPECT_EQ(found->path, c.path);
        EXPECT_EQ(found->severity, c.severity);
        EXPECT_NE(found->sentence.find(c.says), std::string::npos) << found->sentence;
    }
    EXPECT_EQ(OTCampaignChecker::describe(findings.front()),
              "warning: in_app/01.json: count: should be a whole number, not string; the library reads it as absent");

    // otserver says the same when it starts, and serves the folder all the same.
    const auto said = test.root() / "otserver.txt";
    EXPECT_EQ(std::system((std::string(OTSERVER_PATH) + " --campaigns " + folder.string() + " -- true >/dev/null 2>" +
                           said.string())
                              .c_str()),
              0);
    const auto lines = OTFiles::readFile(said).value_or("");
    EXPECT_EQ(static_cast<std::size_t>(std::count(lines.begin(), lines.end(), '\n')), findings.size());
    EXPECT_NE(lines.find("otserver: " + OTCampaignChecker::describe(findings.front()) + "\n"), std::string::npos);

    // The sample campaigns are clean; otsim says so by its exit status, as it does for warnings
    // only and for a campaign that never shows.
    EXPECT_TRUE(checkerFor(OT_SAMPLE_CAMPAIGNS).check().empty());
    const std::string otsim = std::string(OTSIM_PATH) + " --check-campaigns ";
    EXPECT_EQ(exitStatusOf(otsim + OT_SAMPLE_CAMPAIGNS), 0);
    EXPECT_EQ(exitStatusOf(otsim + folder.string()), 1);
    std::filesystem::remove_all(folder / "in_app");
    std::filesystem::remove_all(folder / "subscribe");
    std::filesystem::remove_all(folder / "banners/02.json");
    std::filesystem::remove_all(folder / "banners/04.json");
    EXPECT_EQ(exitStatusOf(otsim + folder.string()), 2);
}

}  // namespace corvane
