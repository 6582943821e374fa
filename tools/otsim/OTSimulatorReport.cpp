#include "OTSimulatorReport.h"

#include <algorithm>
#include <cstdio>
#include <fstream>
#include <sstream>

#include "OTSimulatorBanners.h"
#include "OTSimulatorDecisions.h"
#include "OTSimulatorTranscript.h"
#include "platform/OTDeviceInfo.h"
#include "render/OTHTMLRenderer.h"

namespace corvane {

namespace fs = std::filesystem;
using nlohmann::json;

namespace {

std::string reportSeconds(const json& o) {
    char buffer[32];
    std::snprintf(buffer, sizeof buffer, "%.2f s", o.value("t", 0.0));
    return buffer;
}

// A file an observation names, as a link relative to the report.
std::string reportRelative(const std::string& file, const fs::path& directory) {
    std::error_code ec;
    const auto path = fs::proximate(file, directory, ec);
    return ec ? file : path.generic_string();
}

// The transcript's own lines for an observation, without their time or indent.
std::string transcriptText(const json& o) {
    std::ostringstream out;
    OTSimulatorTranscript::print(out, "", o);
    std::istringstream in(out.str());
    std::string text;
    for (std::string line; std::getline(in, line);) {
        if (const auto start = line.find_first_not_of(' '); start != std::string::npos)
            text += line.substr(start) + "\n";
    }
    return text;
}

const char* kReportStyle =
    "body{font-family:-apple-system,'Noto Sans CJK SC','PingFang SC',sans-serif;margin:0;background:#f6f6f6;"
    "color:#222}header{background:#1d3557;color:#fff;padding:16px}header h1{margin:0;font-size:20px}"
    "nav a{color:#fff;margin-right:16px}main{max-width:1100px;margin:0 auto;padding:12px}"
    "section{background:#fff;margin:12px 0;padding:12px;border-radius:6px;box-shadow:0 1px 3px #0002}"
    "ol.timeline{list-style:none;padding:0;margin:0}ol.timeline>li{border-left:3px solid #ccc;padding:6px 10px;"
    "margin:4px 0}li[data-type=action]{border-color:#457b9d;background:#f1f6fa}li[data-type=dialog],"
    "li[data-type=banner]{border-color:#e63946}li[data-type=request]{border-color:#2a9d8f}"
    "li[data-type=error]{border-color:#d00;background:#fff0f0}.t{color:#777;font-size:12px;margin-right:8px}"
    "pre{white-space:pre-wrap;word-break:break-word;margin:0;font-size:13px;display:inline-block;"
    "vertical-align:top;max-width:100%}"
    "code{white-space:pre-wrap;word-break:break-all;font-size:13px}.scroll{overflow-x:auto}table{border-collapse:"
    "collapse;font-size:13px;margin:6px 0}"
    "td,th{border:1px solid #ddd;padding:3px 6px;text-align:left;vertical-align:top}"
    "figure.snapshot{margin:8px 0;display:flex;flex-wrap:wrap;gap:12px}"
    "figure.snapshot iframe{border:1px solid #ccc;background:#fff;max-width:100%}"
    "figure.snapshot img{border:1px solid #ccc;max-width:100%;height:auto}";
}  // namespace

bool OTSimulatorReport::write(const fs::path& directory, const std::vector<json>& observations,
                              const std::string& title) {
    std::error_code ec;
    fs::create_directories(directory, ec);
    std::ofstream out(directory / kIndexName);
    if (!out) return false;
    out << "<!DOCTYPE html>\n<html lang=\"zh\"><head><meta charset=\"utf-8\">"
        << "<meta name=\"viewport\" content=\"width=device-width, initial-scale=1\"><title>"
        << OTHTMLRenderer::escape(title) << "</title><style>" << kReportStyle << "</style></head><body>\n<header><h1>"
        << OTHTMLRenderer::escape(title)
        << "</h1><nav><a href=\"#timeline\">Timeline</a><a href=\"#state\">Final state</a></nav></header><main>\n";
    out << "<section id=\"timeline\"><h2>Timeline</h2><ol class=\"timeline\">\n";
    const json* state = nullptr;
    for (const auto& o : observations) {
        const std::string type = o.value("type", "");
        if (type == "state") {
            state = &o;
            continue;
        }
        if (type == "png" && o.contains("file")) continue;  // shown with its snapshot
        out << entry(o, directory, observations);
    }
    out << "</ol></section>\n<section id=\"state\"><h2>Final state</h2>\n"
        << (state != nullptr ? finalState(*state) : std::string("<p>The run ended before its final state.</p>"))
        << "</section>\n</main></body></html>\n";
    return static_cast<bool>(out);
}

std::string OTSimulatorReport::entry(const json& o, const fs::path& directory, const std::vector<json>& observations) {
    const std::string type = o.value("type", "");
    std::string body;
    if (type == "action") {
        body = "<b>line " + OTSimulatorTranscript::text(o["line"]) + "</b> <code>" +
               OTHTMLRenderer::escape(o["action"].dump()) + "</code>";
    } else if (type == "decision") {
        body = "<b>decisions for " +
               OTHTMLRenderer::escape(OTSimulatorTranscript::text(o["event"].value("xwhat", json("?")))) + "</b>" +
               decisionTable(o);
    } else if (type == "snapshot") {
        body = snapshot(o, directory, observations);
    } else {
        body = "<pre>" + OTHTMLRenderer::escape(transcriptText(o)) + "</pre>";
    }
    return "<li data-type=\"" + OTHTMLRenderer::escape(type) + "\"><span class=\"t\">" + reportSeconds(o) + "</span>" +
           body + "</li>\n";
}

std::string OTSimulatorReport::decisionTable(const json& o) {
    std::string rows;
    for (const auto& campaign : o.value("campaigns", json::array())) {
        // The transcript's sentence says why, after the campaign's id.
        std::string why = OTSimulatorDecisions::line(campaign);
        if (const auto colon = why.find(": "); colon != std::string::npos) why = why.substr(colon + 2);
        rows += "<tr><td>" + OTHTMLRenderer::escape(OTSimulatorTranscript::text(campaign.value("id", json("")))) +
                "</td><td>" + OTHTMLRenderer::escape(OTSimulatorTranscript::text(campaign.value("kind", json("")))) +
                "</td><td>" + OTHTMLRenderer::escape(OTSimulatorTranscript::text(campaign.value("verdict", json("")))) +
                "</td><td>" + OTHTMLRenderer::escape(why) + "</td></tr>";
    }
    if (rows.empty()) return "<p>No campaign was looked at.</p>";
    return "<div class=\"scroll\"><table class=\"decision\"><tr><th>campaign</th><th>kind</th><th>verdict</th>"
           "<th>why</th></tr>" +
           rows + "</table></div>";
}

std::string OTSimulatorReport::snapshot(const json& o, const fs::path& directory,
                                        const std::vector<json>& observations) {
    const std::string file = o.value("file", "");
    const bool banner = o.contains("banner");
    const std::string what = banner ? "banner " + OTSimulatorTranscript::text(o["banner"])
                             : o.contains("campaign")
                                 ? "dialog " + OTSimulatorTranscript::text(o["campaign"])
                                 : "screen " + OTSimulatorTranscript::text(o.value("tag", json("")));
    // The pages are drawn on the simulator's screen, a banner's on its container.
    const OTDeviceInfo screen;
    const auto width = OTHTMLRenderer::px(screen.screenWidth);
    const auto height = OTHTMLRenderer::px(banner ? OTSimulatorBanners::kContainerHeight : screen.screenHeight);
    std::string figure = "<figure class=\"snapshot\" data-kind=\"" + std::string(banner ? "banner" : "dialog") +
                         "\" data-file=\"" + OTHTMLRenderer::escape(reportRelative(file, directory)) +
                         "\"><iframe src=\"" + OTHTMLRenderer::escape(reportRelative(file, directory)) + "\" width=\"" +
                         width + "\" height=\"" + height + "\" title=\"" + OTHTMLRenderer::escape(what) +
                         "\"></iframe>";
    // The picture of the same page, when the run drew one.
    const auto stem = fs::path(file).stem();
    for (const auto& picture : observations) {
        if (picture.value("type", "") != "png" || !picture.contains("file")) continue;
        const std::string png = picture["file"];
        if (fs::path(png).stem() == stem) {
            figure += "<img src=\"" + OTHTMLRenderer::escape(reportRelative(png, directory)) + "\" width=\"" + width +
                      "\" alt=\"" + OTHTMLRenderer::escape(what) + "\">";
        }
    }
    return "<b>" + OTHTMLRenderer::escape(what) + "</b>" + figure + "</figure>";
}

std::string OTSimulatorReport::finalState(const json& state) {
    // Counts and plain values in one table; each list of records as a table of its own.
    const auto isRecords = [](const json& value) { return value.is_array() && !value.empty() && value[0].is_object(); };
    std::string html = "<div class=\"scroll\"><table class=\"state\">";
    for (const auto& [key, value] : state.items()) {
        if (key == "type" || key == "t" || isRecords(value)) continue;
        html += "<tr><th>" + OTHTMLRenderer::escape(key) + "</th><td>" +
                OTHTMLRenderer::escape(OTSimulatorTranscript::text(value)) + "</td></tr>";
    }
    html += "</table></div>";
    for (const auto& [key, list] : state.items()) {
        if (!isRecords(list)) continue;
        // The id first, then the fields in name order.
        std::vector<std::string> columns;
        for (const auto& [field, value] : list[0].items()) columns.push_back(field);
        std::stable_partition(columns.begin(), columns.end(), [](const std::string& c) { return c == "id"; });
        const std::string heading = key == "nodes"         ? "dialog usage records"
                                    : key == "bannerNodes" ? "banner records"
                                                           : key;
        html += "<h3>" + OTHTMLRenderer::escape(heading) + "</h3><div class=\"scroll\"><table class=\"records\"><tr>";
        for (const auto& column : columns) html += "<th>" + OTHTMLRenderer::escape(column) + "</th>";
        html += "</tr>";
        for (const auto& record : list) {
            html += "<tr>";
            for (const auto& column : columns) {
                html += "<td>" + OTHTMLRenderer::escape(OTSimulatorTranscript::text(record.value(column, json()))) +
                        "</td>";
            }
            html += "</tr>";
        }
        html += "</table></div>";
    }
    return html;
}

}  // namespace corvane
