#include <gtest/gtest.h>

#include <cstdio>
#include <filesystem>
#include <fstream>
#include <map>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "OTSimulatorScreenshots.h"
#include "foundation/OTFiles.h"
#include "support/OTTestEnvironment.h"

namespace corvane {

using nlohmann::json;

namespace {
// Runs the otsim program with `arguments` (after `environment`, variables to set) and reads its
// JSON lines.
std::vector<json> runSimulator(const std::string& arguments, const std::string& environment = "", int exitStatus = 0) {
    const std::string command = environment + " " + std::string(OTSIM_PATH) + " --json " + arguments + " 2>/dev/null";
    std::vector<json> observations;
    FILE* pipe = ::popen(command.c_str(), "r");
    if (pipe == nullptr) return observations;
    std::string line;
    char buffer[65536];
    while (std::fgets(buffer, sizeof buffer, pipe) != nullptr) {
        line += buffer;
        if (line.empty() || line.back() != '\n') continue;
        observations.push_back(json::parse(line, nullptr, false));
        line.clear();
    }
    const int status = ::pclose(pipe);
    EXPECT_EQ(WIFEXITED(status) ? WEXITSTATUS(status) : -1, exitStatus);
    return observations;
}

// Writes `lines` as a scenario file in the test's folder and runs it with `options`.
std::vector<json> runScenario(const OTTestEnvironment& test, const std::string& lines, const std::string& options = "",
                              const std::string& environment = "", int exitStatus = 0) {
    const auto scenario = test.root() / "scenario.jsonl";
    std::ofstream(scenario) << lines;
    return runSimulator(options + " " + scenario.string(), environment, exitStatus);
}

std::vector<json> ofType(const std::vector<json>& observations, const std::string& type) {
    std::vector<json> found;
    for (const auto& o : observations) {
        if (o.value("type", "") == type) found.push_back(o);
    }
    return found;
}

// Each "error" observation as its line number and message.
std::vector<std::string> errorLines(const std::vector<json>& observations) {
    std::vector<std::string> errors;
    for (const auto& o : ofType(observations, "error"))
        errors.push_back(o["line"].dump() + " " + o["message"].get<std::string>());
    return errors;
}
}  // namespace

TEST(OTSimulator, TheDemoShowsDialogsFollowsLinksQueuesOfflineAndHitsTheDailyCap) {
    OTTestEnvironment test;  // a scratch folder for the snapshots
    const auto html = test.root() / "html";
    const auto report = test.root() / "report";
    const auto observations =
        runSimulator(std::string(OT_DEMO_SCENARIO) + " --html " + html.string() + " --report " + report.string());
    ASSERT_FALSE(observations.empty());
    for (const auto& o : observations) {
        ASSERT_FALSE(o.is_discarded());
        EXPECT_TRUE(o.contains("type") && o["t"].is_number()) << o.dump();
    }
    EXPECT_TRUE(ofType(observations, "error").empty()) << json(ofType(observations, "error")).dump();

    const auto dialogs = ofType(observations, "dialog");
    ASSERT_EQ(dialogs.size(), 3u);
    EXPECT_EQ(dialogs[0]["campaign"], "103");
    EXPECT_EQ(dialogs[0]["style"], 3);
    EXPECT_EQ(dialogs[0]["title"], "Welcome");
    EXPECT_EQ(dialogs[0]["buttons"], (json{{"left", "Later"}, {"middle", nullptr}, {"right", "Show me"}}));
    EXPECT_EQ(dialogs[1]["campaign"], "102");
    EXPECT_EQ(dialogs[1]["title"], "Thanks, Ann!");  // the event's property filled in
    EXPECT_EQ(dialogs[2]["campaign"], "101");
    EXPECT_EQ(dialogs[2]["content"], nullptr);

    std::vector<std::string> closed;
    for (const auto& o : ofType(observations, "closed"))
        closed.push_back(o["campaign"].get<std::string>() + ":" + o["code"].dump());
    EXPECT_EQ(closed, (std::vector<std::string>{"103:5", "102:6", "101:3"}));
    std::vector<std::string> navigation;
    for (const auto& o : ofType(observations, "navigation"))
        navigation.push_back(o["kind"].get<std::string>() + " " + o["target"].get<std::string>());
    EXPECT_EQ(navigation, (std::vector<std::string>{"url-inapp https://shop.example.com/new", "tab MineVC",
                                                    "push DetailVC", "push DetailVC", "push OTTagDetailController"}));

    // Banners: the default banner of home_top until its campaign banner's trigger event, then the
    // campaign banner; a carousel; the raw list as the walk leaves it.
    const auto banners = ofType(observations, "banner");
    ASSERT_EQ(banners.size(), 3u);
    EXPECT_EQ(banners[0]["banner"], "300");
    EXPECT_EQ(banners[0]["container"], "tableCell");
    EXPECT_EQ(banners[0]["style"], 1);
    EXPECT_EQ(banners[0]["width"], 390);
    EXPECT_EQ(banners[1]["banner"], "305");
    EXPECT_EQ(banners[1]["pictures"].size(), 3u);
    EXPECT_NEAR(banners[1]["height"].get<double>(), 370 * 0.65625 + 20, 1e-9);
    EXPECT_EQ(banners[2]["banner"], "301");
    EXPECT_EQ(banners[2]["text"], "领券成功！新人专享 50 元礼包已到账");
    const auto data = ofType(observations, "bannerData");
    ASSERT_EQ(data.size(), 1u);
    std::vector<std::string> kept;
    for (const auto& banner : data[0]["data"]) kept.push_back(banner["id"]);
    EXPECT_EQ(kept, (std::vector<std::string>{"302", "304", "305"}));

    // The close report went out only after the network came back.
    std::size_t upAt = 0, reportAt = 0;
    for (std::size_t i = 0; i < observations.size(); ++i) {
        const auto& o = observations[i];
        if (o["type"] == "action" && o["action"].value("state", "") == "up") upAt = i;
        if (o["type"] == "request" && o["path"] == "/push/sdk/in_app/callback" &&
            o["body"]["events"][0]["xwhat"] == "$closeDialog") {
            reportAt = i;
        }
    }
    EXPECT_GT(upAt, 0u);
    EXPECT_GT(reportAt, upAt);
    bool triggered = false;
    for (const auto& o : ofType(observations, "request")) triggered |= o["path"] == "/push/sdk/event/trigger";
    EXPECT_TRUE(triggered);

    // The push address goes up once on the first day and once more the next; then the WeChat
    // identity, the logs mailed, and the page on top named with the tag ball.
    std::map<std::string, int> sent;
    for (const auto& o : ofType(observations, "request")) ++sent[o["path"].get<std::string>()];
    EXPECT_EQ(sent["/push/sdk/token"], 2);
    EXPECT_EQ(sent["/push/wechat/user/profile"], 1);
    EXPECT_EQ(sent["/push/sdk/pageview/upload"], 1);
    // Each picture once, however many campaigns and banners want it at the same moment.
    std::map<std::string, int> media;
    for (const auto& [path, count] : sent) {
        if (path.starts_with("/media/")) media[path] = count;
    }
    EXPECT_EQ(
        media,
        (std::map<std::string, int>{
            {"/media/b1.png", 1}, {"/media/coupon.png", 1}, {"/media/default.png", 1}, {"/media/spring-sale.png", 1}}));
    EXPECT_EQ(ofType(observations, "clock").size(), 1u);
    const auto mails = ofType(observations, "mail");
    ASSERT_EQ(mails.size(), 1u);
    EXPECT_EQ(mails[0]["subject"], "CorvaneOstrel v2.2.2 用户行为日志");
    const auto balls = ofType(observations, "tagBall");
    ASSERT_EQ(balls.size(), 3u);
    EXPECT_EQ(balls[1]["x"], 0.0);
    EXPECT_EQ(balls[2]["shown"], false);

    // Why the survey never showed: the daily cap, in the decision of its event.
    std::vector<std::string> refused;
    for (const auto& decision : ofType(observations, "decision")) {
        for (const auto& c : decision["campaigns"]) {
            if (c["verdict"] == "notEligible")
                refused.push_back(decision["event"]["xwhat"].get<std::string>() + " " + c["id"].get<std::string>() +
                                  " " + c["reason"].get<std::string>() + " " + c["count"].dump() + "/" +
                                  c["max"].dump());
        }
    }
    EXPECT_EQ(refused, std::vector<std::string>{"open_survey 104 dailyCap 5/5"});

    // The final state, followed only by the pictures drawn at the end.
    const auto states = ofType(observations, "state");
    ASSERT_EQ(states.size(), 1u);
    const auto& state = states[0];
    for (auto after = std::find(observations.begin(), observations.end(), state) + 1; after != observations.end();
         ++after)
        EXPECT_EQ((*after)["type"], "png");
    EXPECT_EQ(state["dailyPopWindowCount"], 0);        // the clock has moved on to the next day
    EXPECT_EQ(state["offlineWindowEvents"], 1);        // kept in memory after the flush, as designed
    EXPECT_EQ(state["storedOfflineWindowEvents"], 0);  // while the file is emptied
    EXPECT_EQ(state["offlinePushEvents"], 0);
    EXPECT_EQ(state["storedOfflinePushEvents"], 0);
    ASSERT_EQ(state["nodes"].size(), 4u);
    EXPECT_EQ(state["nodes"][3]["id"], 104);
    EXPECT_EQ(state["nodes"][3]["usedCount"], 0);  // the survey came after the daily cap
    EXPECT_EQ(ofType(observations, "snapshot").size(), 8u);
    // Eight pages and the folder of what they show from the network: no page needs the server,
    // which is gone once the run ends, and every copy a page names is there.
    EXPECT_EQ(std::distance(std::filesystem::directory_iterator(html), std::filesystem::directory_iterator()), 9);
    std::size_t copies = 0;
    for (const auto& snapshot : ofType(observations, "snapshot")) {
        const auto page = OTFiles::readFile(snapshot["file"].get<std::string>()).value_or("");
        EXPECT_EQ(page.find("127.0.0.1"), std::string::npos) << snapshot["file"];
        for (auto at = page.find("src=\"assets/"); at != std::string::npos; at = page.find("src=\"assets/", at + 1)) {
            const auto start = at + 5;
            const auto name = page.substr(start, page.find('"', start) - start);
            EXPECT_TRUE(std::filesystem::is_regular_file(html / name)) << name;
            ++copies;
        }
    }
    EXPECT_GE(copies, 4u) << "the campaign pictures and the banner pictures";
    std::vector<std::string> armed;
    for (const auto& node : state["bannerNodes"]) {
        if (node["activated"].get<bool>()) armed.push_back(node["id"].dump());
    }
    EXPECT_EQ(armed, (std::vector<std::string>{"301", "302", "303", "304", "305"}));
    EXPECT_EQ(state["presentingBanners"], (json{"300", "305", "301"}));

    // The report holds every dialog, banner and decision of the run where it happened, each page
    // it shows beside it, and the final state.
    const auto page = OTFiles::readFile(report / "index.html").value_or("");
    const auto count = [&page](const std::string& needle) {
        std::size_t n = 0;
        for (auto at = page.find(needle); at != std::string::npos; at = page.find(needle, at + 1)) ++n;
        return n;
    };
    for (const char* type : {"dialog", "banner", "decision", "snapshot", "request", "navigation"}) {
        EXPECT_EQ(count("<li data-type=\"" + std::string(type) + "\">"), ofType(observations, type).size()) << type;
    }
    EXPECT_EQ(count("<table class=\"decision\">"), ofType(observations, "decision").size());
    EXPECT_NE(page.find("<td>104</td><td>inApp</td><td>notEligible</td><td>daily cap 5 of 5</td>"), std::string::npos);
    for (auto at = page.find("<iframe src=\""); at != std::string::npos; at = page.find("<iframe src=\"", at + 1)) {
        const auto start = at + 13;
        const auto linked = report / page.substr(start, page.find('"', start) - start);
        EXPECT_TRUE(std::filesystem::is_regular_file(linked)) << linked;
    }
    EXPECT_EQ(count("<figure class=\"snapshot\""), ofType(observations, "snapshot").size());
    EXPECT_NE(page.find("<section id=\"state\">"), std::string::npos);
    EXPECT_EQ(count("<table class=\"records\">"), 2u) << "dialog records and banner records";
    EXPECT_NE(
        page.find("<tr><th>presentingBanners</th><td>[&quot;300&quot;,&quot;305&quot;,&quot;301&quot;]</td></tr>"),
        std::string::npos);
    if (const auto browser = OTSimulatorScreenshots::findBrowser()) {
        // Opened in the browser from disk, the page builds both sections.
        FILE* pipe = ::popen((browser->string() + " --headless --disable-gpu --no-sandbox --dump-dom file://" +
                              (report / "index.html").string() + " 2>/dev/null")
                                 .c_str(),
                             "r");
        ASSERT_NE(pipe, nullptr);
        std::string dom;
        char buffer[4096];
        for (std::size_t n; (n = std::fread(buffer, 1, sizeof buffer, pipe)) > 0;) dom.append(buffer, n);
        ::pclose(pipe);
        EXPECT_NE(dom.find("id=\"timeline\""), std::string::npos);
        EXPECT_NE(dom.find("id=\"state\""), std::string::npos);
    }
}

TEST(OTSimulator, BadLinesAreReportedWithTheirNumberAndTheRunGoesOnToFail) {
    OTTestEnvironment test;
    const auto observations = runScenario(test,
                                          "{\"action\":\"observe\",\"group\":\"group.demo\"}\n"
                                          "{not json\n"
                                          "\n"
                                          "{\"action\":\"fly\"}\n"
                                          "{\"action\":\"tap\",\"element\":\"close\"}\n"
                                          "{\"action\":\"start\",\"config\":{\"appKey\":\"k\",\"colour\":\"red\"}}\n"
                                          "[1,2]\n"
                                          "{\"action\":\"waitFor\",\"type\":\"dialog\",\"timeout\":0.2}\n"
                                          "{\"action\":5}\n"
                                          "{\"action\":\"wait\",\"seconds\":\"x\"}\n"
                                          "{\"action\":\"wait\",\"seconds\":1e300}\n"
                                          "{\"action\":\"fault\",\"path\":\"/push/sdk/login\",\"count\":10000000000}\n"
                                          "{\"action\":\"dialogVisible\",\"visible\":false}\n"
                                          "{\"action\":\"banner\",\"locationId\":\"x\",\"container\":\"drawer\"}\n"
                                          "{\"action\":\"tapBanner\",\"locationId\":\"nowhere\",\"item\":2}\n"
                                          "{\"action\":\"banner\",\"container\":\"view\"}\n"
                                          "{\"action\":\"start\",\"config\":{\"envType\":\"x\"}}\n",
                                          "", "", 1);
    const auto errors = errorLines(observations);
    ASSERT_EQ(errors.size(), 14u);
    EXPECT_EQ(errors[0], "2 not a JSON object: {not json");
    EXPECT_EQ(errors[1], "4 unknown action \"fly\"");
    EXPECT_EQ(errors[2], "5 no dialog on screen");
    EXPECT_EQ(errors[3], "6 unknown configuration field \"colour\"");
    EXPECT_EQ(errors[4], "7 not a JSON object: [1,2]");
    EXPECT_EQ(errors[5], "8 no \"dialog\" came in time");
    EXPECT_EQ(errors[6], "9 an action needs a text \"action\"");
    EXPECT_EQ(errors[7], "10 \"seconds\" of \"wait\" must be a number");
    EXPECT_EQ(errors[8], "11 \"seconds\" must lie between 0 and 3600 seconds");
    EXPECT_EQ(errors[9], "12 \"count\" is out of range");
    EXPECT_EQ(errors[10], "14 unknown container \"drawer\"");
    EXPECT_EQ(errors[11], "15 no banner shown at \"nowhere\"");
    EXPECT_EQ(errors[12].substr(0, 3), "16 ");
    // The configuration is read as the C interface reads it.
    EXPECT_EQ(errors[13], "17 configuration field \"envType\" must be a whole number not below 0");
    const auto actions = ofType(observations, "action");
    ASSERT_FALSE(actions.empty());
    EXPECT_EQ(actions.back()["line"], 17);
    EXPECT_EQ(observations.back()["type"], "state");
}

TEST(OTSimulator, LoadActionsServeCopiesOfACampaignAndPaceEventsThroughTheEventQueue) {
    OTTestEnvironment test;
    const auto observations = runScenario(
        test,
        R"({"action":"campaigns","count":200,"campaign":{"id":"5000","type":1,"style":3,"count":1,)"
        R"("startTime":"2024-01-01 00:00:00","endTime":"2099-12-31 23:59:59","title":{"text":"T"},)"
        R"("event":{"xwhat":"load_buy","rule":[{"field":"price","dataType":"number","function":"GT","value":["100"]}]}}})"
        "\n"
        R"({"action":"observe","group":"group.demo"})"
        "\n"
        R"({"action":"profile","profile":{"xwho":"u1","calibration_time":0}})"
        "\n"
        R"({"action":"start","config":{"appKey":"k","mainPage":"HomeVC"}})"
        "\n"
        R"({"action":"waitFor","type":"request","path":"/push/sdk/in_app","timeout":5})"
        "\n"
        R"({"action":"wait","seconds":0.5})"
        "\n"
        R"({"action":"events","count":50,"every":0.002,"event":{"source":0,"xwhat":"load_buy","xcontext":{"price":50}}})"
        "\n"
        R"({"action":"campaigns","count":0,"campaign":{}})"
        "\n"
        R"({"action":"events","count":100001,"event":{}})"
        "\n"
        R"({"action":"events","count":1,"every":61,"event":{}})"
        "\n",
        "--sandbox " + (test.root() / "app").string(), "", 1);
    EXPECT_EQ(errorLines(observations), (std::vector<std::string>{"8 \"count\" must lie between 1 and 100000",
                                                                  "9 \"count\" must lie between 1 and 100000",
                                                                  "10 \"every\" must lie between 0 and 60 seconds"}));
    const auto loads = ofType(observations, "load");
    ASSERT_EQ(loads.size(), 1u);
    EXPECT_EQ(loads[0]["events"], 50);
    EXPECT_NEAR(loads[0]["eventSeconds"].get<double>(), 49 * 0.002, 1e-9);
    // The run waits for the queue, so the whole stream takes at least its own pace.
    EXPECT_GE(loads[0]["seconds"].get<double>(), 49 * 0.002);
    EXPECT_GE(loads[0]["behind"].get<double>(), 0);
    EXPECT_TRUE(ofType(observations, "dialog").empty()) << "no price above 100 was sent";
    // Every copy arrived with an id of its own, after the sample campaigns.
    std::size_t copies = 0;
    for (const auto& node : observations.back()["nodes"]) {
        const auto id = node["id"].get<std::int64_t>();
        if (id >= 5000 && id < 5200) ++copies;
    }
    EXPECT_EQ(copies, 200u);
    // The library's own console went to its file in the sandbox, not into the transcript.
    const auto console = OTFiles::readFile(test.root() / "app" / "console.log").value_or("");
    EXPECT_NE(console.find("startWithConfiguration\n"), std::string::npos);
    EXPECT_NE(console.find("getListData\n"), std::string::npos);
}

TEST(OTSimulator, TheLogOptionShowsWhyAndIdentityLinesAreChecked) {
    OTTestEnvironment test;
    const auto observations = runScenario(test,
                                          "{\"action\":\"observe\",\"group\":\"group.demo\"}\n"
                                          "{\"action\":\"pushToken\",\"text\":\"190e35f7e0\"}\n"
                                          "{\"action\":\"pushToken\",\"hex\":\"0g\"}\n"
                                          "{\"action\":\"pushToken\",\"hex\":\"00\",\"provider\":-1}\n"
                                          "{\"action\":\"pushToken\",\"hex\":\"0001\",\"provider\":1}\n"
                                          "{\"action\":\"weChat\",\"unionId\":\"u\",\"appId\":\"wx\"}\n"
                                          "{\"action\":\"clock\",\"advance\":1e12}\n"
                                          "{\"action\":\"clock\"}\n"
                                          "{\"action\":\"mailLogs\"}\n"
                                          "{\"action\":\"clock\",\"advance\":-3600}\n",
                                          "--log", "", 1);
    EXPECT_EQ(errorLines(observations),
              (std::vector<std::string>{"3 \"hex\" must be pairs of hexadecimal digits",
                                        "4 \"provider\" must be a whole number not below 0",
                                        "7 \"advance\" must lie within 100 years either way",
                                        "8 \"clock\" needs \"advance\"", "9 \"mailLogs\" needs \"to\""}));
    // The library's reasons, whatever the console level: a text for Apple push, bytes for JPush,
    // a WeChat identity without an open id.
    std::vector<std::string> logged;
    for (const auto& o : ofType(observations, "log")) {
        if (o["level"] == 5) logged.push_back(o["text"]);
    }
    EXPECT_EQ(logged, (std::vector<std::string>{"请检查 pushToken:provider:groupIdentifier: 接口传参",
                                                "请检查 pushToken:provider:groupIdentifier: 接口传参",
                                                "上报（setWeChatId）:appid is null or openId is null"}));
    EXPECT_EQ(ofType(observations, "clock").size(), 1u);
    for (const auto& o : ofType(observations, "request")) {
        EXPECT_NE(o["path"], "/push/sdk/token");
        EXPECT_NE(o["path"], "/push/wechat/user/profile");
    }
}

TEST(OTSimulator, TheTagBallIsDraggedTappedAndTheNamingScreenSubmitsOnce) {
    OTTestEnvironment test;
    const auto html = test.root() / "html";
    const auto observations = runScenario(test,
                                          "{\"action\":\"tapTagBall\"}\n"
                                          "{\"action\":\"app\",\"tabs\":[[\"HomeVC\"]]}\n"
                                          "{\"action\":\"observe\",\"group\":\"group.demo\"}\n"
                                          "{\"action\":\"start\",\"config\":{\"appKey\":\"demo-key\"}}\n"
                                          "{\"action\":\"pageTag\",\"on\":true}\n"
                                          "{\"action\":\"dragTagBall\",\"to\":[100,500]}\n"
                                          "{\"action\":\"dragTagBall\",\"to\":[1e9,5]}\n"
                                          "{\"action\":\"dragTagBall\",\"to\":[300]}\n"
                                          "{\"action\":\"tagAlias\",\"alias\":\"home\",\"native\":true}\n"
                                          "{\"action\":\"tapTagBall\"}\n"
                                          "{\"action\":\"tagAlias\",\"alias\":\" \",\"native\":true}\n"
                                          "{\"action\":\"tagAlias\",\"alias\":\"home\",\"native\":false,\"web\":true}\n"
                                          "{\"action\":\"tagAlias\",\"alias\":\"home\",\"native\":true,\"web\":false}\n"
                                          "{\"action\":\"pageTag\",\"on\":false}\n"
                                          "{\"action\":\"pageTag\"}\n",
                                          "--html " + html.string(), "", 1);
    EXPECT_EQ(errorLines(observations),
              (std::vector<std::string>{
                  "1 the tag ball is not shown", "7 \"to\" must be two numbers [x, y] within 100000 points",
                  "8 \"to\" must be two numbers [x, y] within 100000 points",
                  "9 the naming screen is not shown; tap the tag ball first",
                  "11 the submit button is disabled: it needs an alias that is not blank and a chosen row",
                  "12 the \"web\" row cannot be chosen",
                  "12 the submit button is disabled: it needs an alias that is not blank and a chosen row",
                  "15 \"pageTag\" needs \"on\""}));
    // The ball starts at the right edge; the naming screen uploads once, and it and the toast are
    // written as pages.
    const auto balls = ofType(observations, "tagBall");
    ASSERT_EQ(balls.size(), 3u);
    EXPECT_EQ(balls[0], (json{{"type", "tagBall"}, {"shown", true}, {"x", 330.0}, {"y", 300.0}, {"t", balls[0]["t"]}}));
    std::vector<json> uploads;
    for (const auto& o : ofType(observations, "request")) {
        if (o["path"] == "/push/sdk/pageview/upload") uploads.push_back(o["body"]["events"][0]["alias"]);
    }
    EXPECT_EQ(uploads, std::vector<json>{"home"});
    std::vector<std::string> files;
    for (const auto& o : ofType(observations, "snapshot")) files.push_back(o["tag"].get<std::string>());
    EXPECT_EQ(files, (std::vector<std::string>{"screen", "toast"}));
    const auto page = OTFiles::readFile(html / "tag-2-toast.html").value_or("");
    EXPECT_NE(page.find("提交成功"), std::string::npos);
}

TEST(OTSimulator, PngPicturesAreDrawnByChromiumAndChineseTextsWithoutAFontAreSaidToBeBoxes) {
    OTTestEnvironment test;
    const std::string scenario =
        R"({"action":"app","tabs":[["HomeVC"]]}
{"action":"observe","group":"group.demo"}
{"action":"profile","profile":{"xwho":"u1","calibration_time":0}}
{"action":"start","config":{"appKey":"demo-key","mainPage":"HomeVC"}}
{"action":"waitFor","type":"request","path":"/push/sdk/in_app","timeout":5}
{"action":"event","event":{"source":0,"xwhat":"$pageview","xwho":"u1","xcontext":{"$url":"HomeVC"}}}
{"action":"waitFor","type":"dialog","timeout":5}
)";
    // A stand-in browser: it notes how it was asked and draws a picture's signature.
    const auto browser = test.root() / "chromium";
    const auto calls = test.root() / "calls.txt";
    std::ofstream(browser)
        << "#!/bin/sh\n"
           "for a in \"$@\"; do case \"$a\" in --screenshot=*) out=\"${a#--screenshot=}\";; esac; done\n"
           "echo \"$@\" >> "
        << calls.string()
        << "\n"
           "printf '\\211PNG\\r\\n' > \"$out\"\n";
    std::filesystem::permissions(browser, std::filesystem::perms::owner_all);
    const auto pictures = test.root() / "png";
    const auto drawn = runScenario(test, scenario, "--png " + pictures.string(), "OT_CHROMIUM=" + browser.string());
    const auto pngs = ofType(drawn, "png");
    ASSERT_EQ(pngs.size(), 1u) << json(drawn).dump();
    const std::filesystem::path picture = pngs[0]["file"].get<std::string>();
    EXPECT_EQ(picture, pictures / "dialog-1-103.png");
    EXPECT_TRUE(std::filesystem::is_regular_file(pictures / "dialog-1-103.html")) << "the page goes beside it";
    std::ifstream drawnPicture(picture, std::ios::binary);
    std::string signature(4, '\0');
    drawnPicture.read(signature.data(), 4);
    EXPECT_EQ(signature, "\211PNG");
    std::ifstream callLog(calls);
    std::string call;
    ASSERT_TRUE(std::getline(callLog, call));
    EXPECT_NE(call.find("--headless"), std::string::npos) << call;
    EXPECT_NE(call.find("--window-size=390,844"), std::string::npos) << call;
    EXPECT_NE(call.find("file://" + (pictures / "dialog-1-103.html").string()), std::string::npos) << call;
    EXPECT_FALSE(std::getline(callLog, call)) << "one page, one call";

    // Chinese texts without a font for them are said to be drawn as boxes, once per run.
    const std::string chinese =
        "{\"action\":\"observe\",\"group\":\"group.demo\"}\n{\"action\":\"profile\",\"profile\":{\"xwho\":\"u1\"}}\n"
        "{\"action\":\"start\",\"config\":{\"appKey\":\"k\"}}\n"
        "{\"action\":\"waitFor\",\"type\":\"request\",\"path\":\"/push/sdk/banner\",\"timeout\":5}\n"
        "{\"action\":\"banner\",\"locationId\":\"home_top\",\"container\":\"view\"}\n";
    const auto fonts = test.root() / "fc-list";
    std::ofstream(fonts) << "#!/bin/sh\necho 'Noto Sans CJK SC'\n";
    std::filesystem::permissions(fonts, std::filesystem::perms::owner_all);
    const auto problems = [&](const std::string& lister, const std::string& folder) {
        std::vector<json> said;
        for (const auto& note : ofType(runScenario(test, chinese, "--png " + (test.root() / folder).string(),
                                                   "OT_CHROMIUM=" + browser.string() + " OT_FC_LIST=" + lister),
                                       "png")) {
            if (note.contains("problem")) said.push_back(note["problem"]);
        }
        return said;
    };
    EXPECT_EQ(problems("/bin/true", "boxes"),
              std::vector<json>{
                  "no font covers the Chinese texts (Debian package fonts-noto-cjk): they are drawn as empty boxes"});
    EXPECT_TRUE(problems(fonts.string(), "drawn").empty());
    EXPECT_TRUE(problems((test.root() / "no-fc-list").string(), "unknown").empty()) << "nobody can tell";

    // With the real browser, Chinese texts are drawn when a font covers them; hidden from it, they
    // are the same empty boxes as characters no font has, and the pictures say so.
    if (!OTSimulatorScreenshots::findBrowser()) GTEST_SKIP() << "no chromium to draw with";
    const auto draw = [&](const std::string& name) {
        const auto pages = test.root() / name;
        std::string unknown;
        for (char32_t c = 0xF0000; c < 0xF0004; ++c) {  // private use: no font has them
            unknown += {static_cast<char>(0xF3), static_cast<char>(0x80 | ((c >> 12) & 0x3F)),
                        static_cast<char>(0x80 | ((c >> 6) & 0x3F)), static_cast<char>(0x80 | (c & 0x3F))};
        }
        for (const auto& [file, text] : {std::pair{"chinese", std::string("春季上新")}, std::pair{"boxes", unknown}}) {
            std::ofstream(pages / (std::string(file) + ".html"))
                << "<!DOCTYPE html><html><head><meta charset=\"utf-8\"></head><body style=\"margin:0;font-size:48px\">"
                << text << "</body></html>";
        }
        const auto result = OTSimulatorScreenshots::render(pages, pages / "png", {390, 120});
        EXPECT_EQ(result.written.size(), 2u);
        const auto glyphs = OTFiles::readFile(pages / "png" / "chinese.png");
        const bool same = glyphs && glyphs == OTFiles::readFile(pages / "png" / "boxes.png");
        return std::make_pair(same, result.problems);
    };
    std::filesystem::create_directories(test.root() / "fonts-hidden");
    std::filesystem::create_directories(test.root() / "fonts-present");
    const auto config = test.root() / "fonts.conf";
    std::ofstream(config) << "<?xml version=\"1.0\"?><fontconfig><dir>/nonexistent</dir><cachedir>"
                          << (test.root() / "font-cache").string() << "</cachedir></fontconfig>";
    ::setenv("FONTCONFIG_FILE", config.c_str(), 1);
    const auto hidden = draw("fonts-hidden");
    ::unsetenv("FONTCONFIG_FILE");
    EXPECT_TRUE(hidden.first) << "both drawn as the same boxes";
    EXPECT_EQ(hidden.second, std::vector<std::string>{"no font covers the Chinese texts (Debian package "
                                                      "fonts-noto-cjk): they are drawn as empty boxes"});
    if (OTSimulatorScreenshots::chineseFontInstalled() != true) GTEST_SKIP() << "no font for Chinese here";
    const auto covered = draw("fonts-present");
    EXPECT_FALSE(covered.first) << "the Chinese texts are drawn, not boxes";
    EXPECT_TRUE(covered.second.empty());
}

}  // namespace corvane

namespace corvane {

// The gallery holds every campaign of the folder at every width, each page drawn from the
// campaign's own texts and pictures.
TEST(OTSimulator, ThePreviewDrawsEveryCampaignAtEveryWidthIntoOneGallery) {
    OTTestEnvironment test;
    const auto folder = test.root() / "preview";
    const auto observations =
        runSimulator("--preview " + folder.string(), "OT_CHROMIUM=" + (test.root() / "no-such-browser").string());
    const auto gallery = ofType(observations, "gallery");
    ASSERT_EQ(gallery.size(), 1u);
    const std::size_t campaigns = 11;  // four in-app and one subscribed dialog, five banners and a default one
    EXPECT_EQ(gallery[0]["pages"], campaigns * 4);
    const auto index = OTFiles::readFile(folder / "index.html").value_or("");
    std::size_t sections = 0;
    for (auto at = index.find("<section"); at != std::string::npos; at = index.find("<section", at + 1)) {
        ++sections;
        const auto section = index.substr(at, index.find("</section>", at) - at);
        std::vector<std::string> widths;
        for (auto figure = section.find("data-width=\""); figure != std::string::npos;
             figure = section.find("data-width=\"", figure + 1)) {
            widths.push_back(section.substr(figure + 12, 3));
        }
        EXPECT_EQ(widths, (std::vector<std::string>{"320", "375", "390", "430"})) << section.substr(0, 80);
    }
    EXPECT_EQ(sections, campaigns);
    for (const auto& page : ofType(observations, "preview")) {
        EXPECT_TRUE(std::filesystem::is_regular_file(page["file"].get<std::string>())) << page.dump();
    }
    const auto welcome = OTFiles::readFile(folder / "320" / "dialog-103.html").value_or("");
    EXPECT_NE(welcome.find("New arrivals every week."), std::string::npos);
    EXPECT_NE(welcome.find("width:320px"), std::string::npos);
    const auto feed = OTFiles::readFile(folder / "430" / "banner-303.html").value_or("");
    EXPECT_NE(feed.find("春季上新"), std::string::npos);
    EXPECT_NE(feed.find("src=\"assets/"), std::string::npos) << "its pictures are copied beside it";
    EXPECT_EQ(ofType(observations, "png")[0]["problem"],
              "chromium is not installed (Debian package chromium): no PNG pictures");
}

}  // namespace corvane
