#include "render/OTHTMLRenderer.h"

#include <algorithm>
#include <cctype>
#include <cmath>
#include <cstdio>

#include "foundation/OTFiles.h"
#include "foundation/OTImage.h"
#include "foundation/OTText.h"
#include "services/OTResourceBundle.h"
#include "services/OTUtils.h"

namespace corvane {

namespace {
std::string rgba(const OTColor& color) {
    const auto channel = [](double v) {
        return std::to_string(static_cast<int>(std::lround(std::clamp(v, 0.0, 1.0) * 255)));
    };
    char alpha[16];
    std::snprintf(alpha, sizeof alpha, "%.3g", std::clamp(color.alpha(), 0.0, 1.0));
    return "rgba(" + channel(color.red()) + "," + channel(color.green()) + "," + channel(color.blue()) + "," + alpha +
           ")";
}

// Campaign addresses reach a page only as http or https: anything else (javascript:, data:,
// file:) could run or read something when the page is opened.
std::string webSource(const std::optional<std::string>& url) {
    if (!url) return "";
    std::string scheme;
    for (char c : url->substr(0, url->find(':')))
        scheme += static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
    const bool web = (scheme == "http" || scheme == "https") && url->size() > scheme.size() + 3 &&
                     url->compare(scheme.size(), 3, "://") == 0;
    return web ? *url : "";
}

// A web address as the page shows it: the asset source's copy when it has one.
std::string networkSource(const std::optional<std::string>& url, const OTHTMLRenderer::AssetSource& assets) {
    auto web = webSource(url);
    if (web.empty() || !assets) return web;
    return assets(web).value_or(web);
}

std::string imageSource(const OTSceneNode& node, const OTHTMLRenderer::AssetSource& assets) {
    if (node.imageResource()) {
        const auto bundle = OTResourceBundle::path();
        const auto bytes = bundle ? OTFiles::readFile(*bundle / *node.imageResource(), 4u << 20) : std::nullopt;
        if (bytes) return "data:image/png;base64," + OTUtils::base64Encode(*bytes).value_or("");
    }
    return networkSource(node.imageURL(), assets);
}

// A font name inside a CSS string inside an attribute: only the characters font names use.
std::string fontFamily(const std::string& name) {
    std::string safe;
    for (char c : name) {
        if (std::isalnum(static_cast<unsigned char>(c)) || c == ' ' || c == '-' || c == '_' || c == '.') safe += c;
    }
    return safe;
}

const char* objectFit(OTSceneNode::ContentMode mode) {
    switch (mode) {
        case OTSceneNode::ContentMode::AspectFit: return "contain";
        case OTSceneNode::ContentMode::AspectFill: return "cover";
        case OTSceneNode::ContentMode::ScaleToFill: return "fill";
    }
    return "fill";
}

bool has(const OTSceneNode::Accessibility& spoken, const char* trait) {
    return std::find(spoken.traits.begin(), spoken.traits.end(), trait) != spoken.traits.end();
}

// The node's element as a screen reader should meet it: a dialog, a button, a heading, a link, a
// carousel, or nothing at all.
std::string ariaAttributes(const OTSceneNode& node, const std::optional<OTSceneNode::Accessibility>& spoken) {
    const auto label = [](const std::string& text) { return " aria-label=\"" + OTHTMLRenderer::escape(text) + "\""; };
    if (node.modal()) {
        const auto name = spoken ? spoken->label : std::string();
        return std::string(" role=\"dialog\" aria-modal=\"true\"") + (name.empty() ? "" : label(name));
    }
    if (!spoken) return "";
    if (spoken->hidden) return " aria-hidden=\"true\"";
    std::string named = spoken->label;
    if (spoken->value) named += named.empty() ? *spoken->value : "，" + *spoken->value;
    if (has(*spoken, "button")) return " role=\"button\" tabindex=\"0\"" + label(named);
    if (has(*spoken, "link")) return " role=\"link\" tabindex=\"0\"" + label(named);
    if (has(*spoken, "header")) return " role=\"heading\" aria-level=\"2\"";
    if (has(*spoken, "adjustable")) return " role=\"group\" aria-roledescription=\"carousel\"" + label(named);
    return "";
}

// Whether a text the tree draws (a text field's placeholder shows while it is empty) or a label a
// reader speaks holds a CJK ideograph.
bool speaksChinese(const OTSceneNode& node) {
    const auto chinese = [](const std::optional<std::string>& text) {
        return text && OTText::containsCJKIdeograph(*text);
    };
    if (chinese(node.text()) || chinese(node.placeholder())) return true;
    if (const auto spoken = node.spokenAs(); spoken && !spoken->hidden && OTText::containsCJKIdeograph(spoken->label)) {
        return true;
    }
    return std::any_of(node.subviews().begin(), node.subviews().end(),
                       [](const auto& child) { return speaksChinese(*child); });
}

void renderNode(std::string& out, const OTSceneNode& node, int depth, const OTHTMLRenderer::AssetSource& assets) {
    if (node.hidden() || node.alpha() <= 0) return;
    const std::string indent(static_cast<std::size_t>(depth) * 2, ' ');
    // A control drawn smaller than a finger answers over its touch area: the element takes that
    // area, padded back to the drawn size.
    const auto f = node.touchFrame();
    std::string style = "left:" + OTHTMLRenderer::px(f.origin.x) + "px;top:" + OTHTMLRenderer::px(f.origin.y) +
                        "px;width:" + OTHTMLRenderer::px(f.size.width) +
                        "px;height:" + OTHTMLRenderer::px(f.size.height) + "px";
    if (f.size != node.frame().size) {
        style += ";padding:" + OTHTMLRenderer::px((f.size.height - node.frame().size.height) / 2) + "px " +
                 OTHTMLRenderer::px((f.size.width - node.frame().size.width) / 2) + "px";
    }
    if (node.alpha() < 1) style += ";opacity:" + OTHTMLRenderer::px(node.alpha());
    if (node.backgroundColor()) style += ";background:" + rgba(*node.backgroundColor());
    if (node.cornerRadius() > 0) style += ";border-radius:" + OTHTMLRenderer::px(node.cornerRadius()) + "px";
    const auto role = node.role();
    if (node.masksToBounds() || role == OTSceneNode::Role::Scroll || role == OTSceneNode::Role::Collection ||
        role == OTSceneNode::Role::Table)
        style += ";overflow:hidden";
    if (node.borderWidth() > 0 && node.borderColor())
        style += ";border:" + OTHTMLRenderer::px(node.borderWidth()) + "px solid " + rgba(*node.borderColor());
    if (node.scale() != 1) style += ";transform:scale(" + OTHTMLRenderer::px(node.scale()) + ")";
    if (const auto& s = node.shadow()) {
        OTColor shadow(s->color.red(), s->color.green(), s->color.blue(), s->color.alpha() * s->opacity);
        // A layer shadow follows the drawn shape (a round close button), not the box.
        style += ";filter:drop-shadow(" + OTHTMLRenderer::px(s->offset.width) + "px " +
                 OTHTMLRenderer::px(s->offset.height) + "px 3px " + rgba(shadow) + ")";
    }
    // An empty text field shows its placeholder in the system's placeholder grey instead.
    const bool showsPlaceholder =
        role == OTSceneNode::Role::TextField && node.text().value_or("").empty() && node.placeholder();
    if (node.text() || showsPlaceholder) {
        const char* align = node.textAlignment() == OTSceneNode::TextAlignment::Left    ? "left"
                            : node.textAlignment() == OTSceneNode::TextAlignment::Right ? "right"
                                                                                        : "center";
        style += ";font-family:'" + fontFamily(node.fontName()) +
                 "','PingFang SC','Noto Sans CJK SC',sans-serif;font-size:" + OTHTMLRenderer::px(node.fontSize()) +
                 "px;line-height:" + OTHTMLRenderer::px(node.fontSize() * 1.4 + node.lineSpacing()) +
                 "px;text-align:" + align;
        if (node.textColor()) style += ";color:" + rgba(*node.textColor());
        if (node.role() == OTSceneNode::Role::Button)
            style += ";display:flex;align-items:center;justify-content:center";
    }
    const auto spoken = node.spokenAs();
    out += indent + "<div data-role=\"" + OTSceneNode::roleName(node.role()) + "\" data-name=\"" +
           OTHTMLRenderer::escape(node.name()) + "\"" + ariaAttributes(node, spoken) + " style=\"" + style + "\">";
    const auto source = imageSource(node, assets);
    if (!source.empty()) {
        // A picture that speaks does so through its element when that is a control; otherwise its
        // alternative text says it, and one that decorates has none.
        const bool control = spoken && (has(*spoken, "button") || has(*spoken, "link"));
        const auto alt = spoken && !spoken->hidden && !control ? spoken->label : std::string();
        out += "<img src=\"" + OTHTMLRenderer::escape(source) + "\" alt=\"" + OTHTMLRenderer::escape(alt) +
               "\" style=\"width:100%;height:100%;object-fit:" + objectFit(node.contentMode()) + "\">";
    }
    if (const auto page = role == OTSceneNode::Role::Web ? networkSource(node.url(), assets) : ""; !page.empty()) {
        const auto title = spoken && !spoken->label.empty() ? spoken->label : std::string("web page");
        out += "<iframe src=\"" + OTHTMLRenderer::escape(page) + "\" title=\"" + OTHTMLRenderer::escape(title) +
               "\" style=\"width:100%;height:100%;border:0\"></iframe>";
    }
    if (const auto video = role == OTSceneNode::Role::Video ? networkSource(node.url(), assets) : ""; !video.empty()) {
        out += "<video src=\"" + OTHTMLRenderer::escape(video) +
               "\" controls muted playsinline style=\"width:100%;height:100%\"></video>";
    }
    if (showsPlaceholder) {
        out += "<span style=\"color:#c7c7cd\">" + OTHTMLRenderer::escape(*node.placeholder()) + "</span>";
    } else if (node.text()) {
        out += "<span>" + OTHTMLRenderer::escape(*node.text()) + "</span>";
    }
    if (!node.subviews().empty()) {
        out += "\n";
        // Later siblings cover earlier ones; a higher z position covers both.
        auto children = node.subviews();
        std::stable_sort(children.begin(), children.end(),
                         [](const auto& a, const auto& b) { return a->zPosition() < b->zPosition(); });
        for (const auto& child : children) renderNode(out, *child, depth + 1, assets);
        out += indent;
    }
    out += "</div>\n";
}
}  // namespace

std::string OTHTMLRenderer::px(double value) {
    if (!std::isfinite(value)) return "0";
    char text[64];
    std::snprintf(text, sizeof text, "%.3f", value);
    std::string result = text;
    while (result.back() == '0') result.pop_back();
    if (result.back() == '.') result.pop_back();
    return result == "-0" ? "0" : result;
}

std::string OTHTMLRenderer::escape(const std::string& text) {
    std::string out;
    out.reserve(text.size());
    for (char c : text) {
        switch (c) {
            case '&': out += "&amp;"; break;
            case '<': out += "&lt;"; break;
            case '>': out += "&gt;"; break;
            case '"': out += "&quot;"; break;
            case '\'': out += "&#39;"; break;
            default: out += c;
        }
    }
    return out;
}

std::string OTHTMLRenderer::language(const std::shared_ptr<OTSceneNode>& root) {
    return root && speaksChinese(*root) ? "zh-Hans" : "en";
}

std::string OTHTMLRenderer::render(const std::shared_ptr<OTSceneNode>& root, const OTSize& screen,
                                   const std::string& title, const AssetSource& assets) {
    std::string out = "<!DOCTYPE html>\n<html lang=\"" + language(root) + "\"><head><meta charset=\"utf-8\"><title>" +
                      escape(title) +
                      "</title>\n<style>body{margin:0;background:#e9e9ee}"
                      "#screen{position:relative;overflow:hidden;background:#f7f7f7;margin:0 auto}"
                      "#screen div{position:absolute;box-sizing:border-box;white-space:pre-wrap;word-break:break-word}"
                      "#screen span{display:block}</style></head>\n<body>\n<div id=\"screen\" style=\"width:" +
                      px(screen.width) + "px;height:" + px(screen.height) + "px\">\n";
    if (root) renderNode(out, *root, 1, assets);
    out += "</div>\n</body></html>\n";
    return out;
}

}  // namespace corvane
