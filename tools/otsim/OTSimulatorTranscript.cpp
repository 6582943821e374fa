#include "OTSimulatorTranscript.h"

#include <cstdio>
#include <map>
#include <string>

#include "OTSimulatorBanners.h"
#include "OTSimulatorDecisions.h"
#include "OTSimulatorIdentity.h"
#include "OTSimulatorLoad.h"
#include "OTSimulatorTagging.h"
#include "model/OTWindowData.h"

namespace corvane {

using nlohmann::json;

namespace {
std::string timeText(double t) {
    char buffer[32];
    std::snprintf(buffer, sizeof buffer, "%7.2fs", t);
    return buffer;
}
}  // namespace

std::string OTSimulatorTranscript::text(const json& value) {
    return value.is_string() ? value.get<std::string>() : value.dump();
}

void OTSimulatorTranscript::print(std::ostream& out, const json& o) { print(out, timeText(o["t"].get<double>()), o); }

void OTSimulatorTranscript::print(std::ostream& out, const std::string& at, const json& o) {
    const std::string type = o["type"];
    if (OTSimulatorDecisions::print(out, at, o) || OTSimulatorBanners::print(out, at, o) ||
        OTSimulatorIdentity::print(out, at, o) || OTSimulatorTagging::print(out, at, o) ||
        OTSimulatorLoad::print(out, at, o)) {
        out.flush();
        return;
    }
    if (type == "action") {
        out << "\n" << at << "  line " << o["line"] << ": " << o["action"].dump() << "\n";
    } else if (type == "dialog") {
        const std::string rule(56, '-');
        out << at << "  +" << rule << "\n";
        out << "           | dialog " << text(o["campaign"]) << " (style " << o["style"] << ", "
            << OTWindowData::styleLabel(o["style"].get<std::int64_t>()) << ")\n";
        if (!o["title"].is_null()) out << "           | " << text(o["title"]) << "\n";
        if (!o["content"].is_null()) out << "           | " << text(o["content"]) << "\n";
        if (!o["picture"].is_null()) out << "           | picture " << text(o["picture"]) << "\n";
        if (!o["url"].is_null()) out << "           | page " << text(o["url"]) << "\n";
        std::string buttons;
        for (const char* key : {"left", "middle", "right"}) {
            if (!o["buttons"][key].is_null()) buttons += "[ " + text(o["buttons"][key]) + " ]  ";
        }
        if (!buttons.empty()) out << "           | " << buttons << "\n";
        out << "           +" << rule << "\n";
    } else if (type == "closed") {
        static const std::map<std::int64_t, std::string> kCodes = {
            {2, "picture tapped"}, {3, "closed"}, {4, "left button"}, {5, "right button"}, {6, "middle button"}};
        const auto code = o["code"].get<std::int64_t>();
        out << at << "  dialog " << text(o["campaign"]) << " closed: " << code << " ("
            << (kCodes.count(code) ? kCodes.at(code) : "?") << ")\n";
    } else if (type == "navigation") {
        out << at << "  navigation " << text(o["kind"]) << " -> " << text(o["target"]) << "\n";
    } else if (type == "request") {
        const auto& body = o["body"];
        std::string fields;
        if (body.is_object()) {
            for (const char* key : {"appKey", "userId", "newUserId", "xwho", "token"}) {
                if (body.contains(key) && !body[key].is_null())
                    fields += std::string(" ") + key + "=" + text(body[key]);
            }
            if (body.contains("events") && body["events"].is_array() && !body["events"].empty() &&
                body["events"][0].is_object()) {
                const auto& event = body["events"][0];
                fields += " xwhat=" + text(event.value("xwhat", json("")));
                if (event.contains("alias")) fields += " alias=" + text(event["alias"]);
                const auto context = event.value("xcontext", json::object());
                for (const char* key : {"activityId", "$dialog_type", "$push_channel"}) {
                    if (context.is_object() && context.contains(key))
                        fields += std::string(" ") + key + "=" + text(context[key]);
                }
            }
        }
        out << at << "  server <- " << text(o["path"]) << fields << "\n";
    } else if (type == "log") {
        out << at << "  log " << o["level"] << ": " << text(o["text"]) << "\n";
    } else if (type == "report") {
        const auto& report = o.contains("report") ? o["report"] : json();
        out << at << "  report " << text(o["fate"]) << " (" << text(o["queue"]) << ")";
        if (report.is_object()) {
            out << " " << text(report.value("xwhat", json())) << " "
                << text(report.value("xcontext", json::object()).value("activityId", json()));
        }
        if (o.contains("count")) out << " " << o["count"];
        if (o.contains("reports")) out << " " << o["reports"].size();
        out << "\n";
    } else if (type == "clock") {
        out << at << "  clock now " << text(o["now"]) << "\n";
    } else if (type == "error") {
        out << at << "  !! line " << o["line"] << ": " << text(o["message"]) << "\n";
    } else if (type == "snapshot") {
        out << at << "  snapshot " << text(o["file"]) << "\n";
    } else if (type == "png") {
        if (o.contains("file")) out << at << "  png " << text(o["file"]) << "\n";
        else out << at << "  png: " << text(o["problem"]) << "\n";
    } else if (type == "state") {
        out << "\n"
            << at << "  state: daily dialogs " << o["dailyPopWindowCount"] << ", offline queues in memory "
            << o["offlineWindowEvents"] << " dialog / " << o["offlinePushEvents"] << " push, on disk "
            << o["storedOfflineWindowEvents"] << " dialog / " << o["storedOfflinePushEvents"] << " push\n";
        for (const auto& node : o["nodes"]) {
            out << "           campaign " << node["id"] << ": shown " << node["usedCount"] << "/" << node["count"]
                << ", clicks " << node["clickCount"] << ", closes " << node["closeCount"]
                << (node["forbidden"].get<bool>() ? ", no longer shown" : "") << "\n";
        }
        for (const auto& node : o.value("bannerNodes", json::array())) {
            out << "           banner " << node["id"] << ": " << (node["activated"].get<bool>() ? "armed" : "not armed")
                << "\n";
        }
        if (!o.value("presentingBanners", json::array()).empty())
            out << "           banners on screen: " << o["presentingBanners"].dump() << "\n";
    }
    out.flush();
}

}  // namespace corvane
