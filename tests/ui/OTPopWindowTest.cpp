#include <gtest/gtest.h>

#include <cmath>
#include <functional>

#include "core/OTPopWindowManager.h"
#include "model/OTWindowData.h"
#include "platform/OTSandbox.h"
#include "render/OTHTMLRenderer.h"
#include "render/OTHeadlessRenderer.h"
#include "render/OTHeadlessWebView.h"
#include "render/OTSceneJSONRenderer.h"
#include "services/OTImageDiskCache.h"
#include "services/OTLogger.h"
#include "support/OTTestEnvironment.h"
#include "ui/OTPopWindow.h"
#include "ui/OTWebController.h"
#include "view/OTNavigationController.h"
#include "view/OTWindow.h"

namespace corvane {

using namespace std::chrono_literals;
using nlohmann::json;

namespace {
std::string be32(std::uint32_t v) {
    return {static_cast<char>(v >> 24), static_cast<char>(v >> 16), static_cast<char>(v >> 8), static_cast<char>(v)};
}

// The first bytes of a PNG of that size: all that the library reads of a picture.
std::string pngOfSize(std::uint32_t width, std::uint32_t height) {
    return std::string("\x89PNG\r\n\x1a\n\0\0\0\x0dIHDR", 16) + be32(width) + be32(height) +
           std::string("\x08\x06\0\0\0", 5);
}

// A screen of the given size with a key window, exact text heights and the callbacks recorded.
struct Screen {
    OTTestEnvironment test;
    std::shared_ptr<OTWindow> window;
    std::vector<std::pair<std::int64_t, std::optional<std::string>>> events;

    explicit Screen(double width = 375, double height = 667) {
        test.setScreenSize(width, height);
        window =
            std::make_shared<OTWindow>(OTNavigationController::withRoot(std::make_shared<OTViewController>("HomeVC")));
        test.uiHost().setWindows({window});
        auto& measurer = test.uiHost().textMeasurer();
        measurer.setHeight(OTPopWindow::kMinTextSample, 20);
    }
    std::shared_ptr<OTPopWindow> pop(const json& campaign) {
        auto data = std::make_shared<OTWindowData>();
        data->setModelWithDic(campaign);
        auto dialog = std::make_shared<OTPopWindow>();
        dialog->popWithData(data, [this](std::int64_t type, const std::optional<std::string>& link) {
            events.emplace_back(type, link);
        });
        return dialog;
    }
    void cachePicture(const std::string& url, std::uint32_t width, std::uint32_t height) {
        OTImageDiskCache::cache()->setImageData(pngOfSize(width, height), url);
    }
    std::shared_ptr<OTSceneNode> find(const std::string& name) { return window->scene()->findByName(name); }
};

// Frames compared to a micro-point: the layout is pure arithmetic.
void expectFrame(const OTRect& actual, double x, double y, double width, double height, const char* what) {
    EXPECT_NEAR(actual.origin.x, x, 1e-6) << what;
    EXPECT_NEAR(actual.origin.y, y, 1e-6) << what;
    EXPECT_NEAR(actual.size.width, width, 1e-6) << what;
    EXPECT_NEAR(actual.size.height, height, 1e-6) << what;
}
}  // namespace

TEST(OTPopWindow, TextDialogsLayOutTheSameArithmeticOnEveryScreen) {
    for (const auto& [W, H] : {std::pair{320.0, 568.0}, std::pair{375.0, 667.0}, std::pair{430.0, 932.0}}) {
        SCOPED_TRACE(std::to_string(W) + " x " + std::to_string(H));
        Screen s(W, H);
        s.test.uiHost().textMeasurer().setHeight("Welcome", 30);
        s.test.uiHost().textMeasurer().setHeight("New arrivals every week.", 60);
        auto window = s.pop({{"id", "103"},
                             {"style", 3},
                             {"title", {{"text", "Welcome"}}},
                             {"content", {{"text", "New arrivals every week."}, {"alignmentType", "left"}}},
                             {"buttonLeft", {{"text", "Later"}}},
                             {"buttonRight", {{"text", "Show me"}, {"clickEvent", "https://shop.example.com/new"}}}});
        // Worked out from the design canvas: content width, gap, button height.
        const double Wc = W / 590.5 * 520, g = H / 1274.5 * 22.5, Tw = Wc - 2 * g, Bh = H / 1274.5 * 80;
        const double y0 = g + g + 31 + 60 + g;  // below the body
        const double height = y0 + Bh + g;
        EXPECT_DOUBLE_EQ(window->widgetAttribute("title_height"), 31);
        EXPECT_DOUBLE_EQ(window->widgetAttribute("text_height"), 60);
        EXPECT_NEAR(window->textWindowHeight(), height, 1e-9);
        expectFrame(window->titleLbl()->frame(), g, g, Tw, 31, "title");
        expectFrame(window->textScrollView()->frame(), g, g + g + 31, Tw, 60, "body");
        const double bw = (Wc - 2.5 * g) * 0.5;
        expectFrame(window->leftBtn()->frame(), g, y0, bw, Bh, "left");
        expectFrame(window->rightBtn()->frame(), bw + 1.5 * g, y0, bw, Bh, "right");
        expectFrame(window->contentView()->frame(), (W - Wc) / 2, (H - height) / 2, Wc, height, "content");
        EXPECT_EQ(window->textLbl()->textAlignment(), OTSceneNode::TextAlignment::Left);
        EXPECT_EQ(window->titleLbl()->textAlignment(), OTSceneNode::TextAlignment::Center);
        EXPECT_NEAR(window->titleLbl()->fontSize(), W / 590.5 * 30, 1e-9);
        EXPECT_EQ(window->leftBtn()->text(), "Later");
        EXPECT_EQ(window->rightBtn()->eventType(), 5);

        // Shown after the 0.2 s animation, with the background fully up and no close button.
        EXPECT_TRUE(s.events.empty());
        EXPECT_TRUE(OTPopWindowManager::sharedManager()->isHandlingPopWindow());
        s.test.scheduler().advance(199ms);
        EXPECT_TRUE(s.events.empty());
        s.test.scheduler().advance(1ms);
        ASSERT_EQ(s.events.size(), 1u);
        EXPECT_EQ(s.events[0].first, 1);
        EXPECT_DOUBLE_EQ(window->backgroundView()->alpha(), 1.0);
        EXPECT_EQ(s.find("closeBtn"), nullptr);

        // The right button: closed in 0.05 s, then the callback with the button's link.
        ASSERT_TRUE(OTHeadlessRenderer::tap(s.find("rightBtn")));
        EXPECT_FALSE(OTHeadlessRenderer::tap(s.find("leftBtn")));  // already fading out
        s.test.scheduler().advance(50ms);
        ASSERT_EQ(s.events.size(), 2u);
        EXPECT_EQ(s.events[1],
                  (std::pair<std::int64_t, std::optional<std::string>>{5, "https://shop.example.com/new"}));
        EXPECT_EQ(s.find("OTPopWindow"), nullptr);
        EXPECT_TRUE(s.window->subviews().empty());
        EXPECT_FALSE(OTPopWindowManager::sharedManager()->isHandlingPopWindow());
    }
}

TEST(OTPopWindow, TextDialogButtonsFallBackToTheMiddleOneOrNone) {
    Screen s;
    const auto& m = OTPopWindow::Metrics::forScreen(375, 667);
    auto single = s.pop({{"style", 3}, {"buttonLeft", {{"text", "L"}}}, {"buttonMiddle", {{"text", "OK"}}}});
    EXPECT_EQ(single->leftBtn()->superview(), nullptr);
    expectFrame(single->middleBtn()->frame(), m.g, single->textScrollView()->bottom() + m.g, m.Tw, m.Bh, "middle");
    EXPECT_DOUBLE_EQ(single->widgetAttribute("title_height"), 1);  // no title: 0 + 1
    auto bare = s.pop({{"style", 3}});
    // No button: the box is one gap high, as it has always been.
    EXPECT_NEAR(bare->textWindowHeight(), m.g, 1e-9);
}

TEST(OTPopWindow, PictureAndTextDialogsShortenTheBodyThenThePicture) {
    const auto m = OTPopWindow::Metrics::forScreen(375, 667);
    const std::string url = "https://cdn.test/p.png";
    const double image = 300.0 / 600.0 * m.Wc;
    const auto campaign = json{{"style", 2},
                               {"picture", url},
                               {"title", {{"text", "T"}}},
                               {"content", {{"text", "C"}}},
                               {"buttonMiddle", {{"text", "Go"}, {"clickEvent", "DetailVC"}}}};
    {
        Screen s;
        s.cachePicture(url, 600, 300);
        s.test.uiHost().textMeasurer().setHeight("T", 30);
        s.test.uiHost().textMeasurer().setHeight("C", 60);
        auto window = s.pop(campaign);
        const double h2 = image + m.g + 31 + m.g + 60 + m.g + m.Bh + m.g;
        EXPECT_NEAR(window->imageAndTextWindowHeight(), h2, 1e-9);
        EXPECT_DOUBLE_EQ(window->widgetAttribute("text_height"), 60);
        expectFrame(window->imgView()->frame(), 0, 0, m.Wc, image, "picture");
        EXPECT_EQ(window->imgView()->contentMode(), OTSceneNode::ContentMode::ScaleToFill);
        expectFrame(window->titleLbl()->frame(), m.g, m.g + image, m.Tw, 31, "title");
        expectFrame(window->middleBtn()->frame(), m.g, m.g + image + m.g + 31 + 60 + m.g, m.Tw, m.Bh, "button");
        s.test.scheduler().advance(200ms);
        const auto box = window->contentView()->frame();
        EXPECT_NEAR(box.size.height, h2, 1e-9);
        // The close button sits on the card's top-right corner, white.
        expectFrame(s.find("closeBtn")->frame(), box.origin.x + box.size.width - m.c / 2, box.origin.y - m.c / 2, m.c,
                    m.c, "close");
        EXPECT_EQ(s.find("closeBtn")->imageResource(), "ot_close_white@2x.png");
        ASSERT_TRUE(OTHeadlessRenderer::tap(s.find("closeBtn")));
        s.test.scheduler().advance(50ms);
        EXPECT_EQ(s.events.back().first, 3);
    }
    {
        Screen s;  // only the shortest body fits
        s.cachePicture(url, 600, 300);
        s.test.uiHost().textMeasurer().setHeight("T", 30);
        s.test.uiHost().textMeasurer().setHeight("C", 400);
        auto window = s.pop(campaign);
        const double h1 = image + m.g + 31 + m.g + 20 + m.g + m.Bh + m.g;
        EXPECT_NEAR(window->widgetAttribute("text_height"), 20 + (m.M - h1), 1e-9);
        EXPECT_DOUBLE_EQ(window->imageAndTextWindowHeight(), m.M);
        EXPECT_DOUBLE_EQ(window->textHeight(), 400);
        EXPECT_DOUBLE_EQ(window->textScrollView()->contentSize().height, 400);  // scrolls inside the box
    }
    {
        Screen s;  // not even that: the picture gives way
        s.cachePicture(url, 600, 300);
        s.test.uiHost().textMeasurer().setHeight("T", 400);
        auto window = s.pop(campaign);
        const double h1 = image + m.g + 401 + m.g + 20 + m.g + m.Bh + m.g;
        EXPECT_NEAR(window->widgetAttribute("image_height"), image - (h1 - m.M), 1e-9);
        EXPECT_DOUBLE_EQ(window->widgetAttribute("text_height"), 20);
        EXPECT_DOUBLE_EQ(window->imageAndTextWindowHeight(), m.M);
    }
}

TEST(OTPopWindow, PictureDialogsFitTallAndWidePicturesAndFollowTheirLink) {
    Screen s;
    const auto m = OTPopWindow::Metrics::forScreen(375, 667);
    s.cachePicture("https://cdn.test/tall.png", 100, 20000);
    auto tall = s.pop({{"style", 1}, {"picture", "https://cdn.test/tall.png"}});
    EXPECT_DOUBLE_EQ(tall->widgetAttribute("image_height"), m.M);
    EXPECT_NEAR(tall->widgetAttribute("image_width"), 100.0 / 20000.0 * 667 * 0.8, 1e-6);
    s.test.scheduler().advance(200ms);
    tall->closeWithCompletion(nullptr);
    s.test.scheduler().advance(50ms);

    s.cachePicture("https://cdn.test/wide.png", 600, 300);
    auto wide = s.pop({{"style", 1}, {"picture", "https://cdn.test/wide.png"}, {"clickEvent", "DetailVC?id=1"}});
    const double d = static_cast<double>(300.0f / 600.0f) * m.Wc;
    EXPECT_DOUBLE_EQ(wide->widgetAttribute("image_width"), m.Wc);
    EXPECT_DOUBLE_EQ(wide->widgetAttribute("image_height"), d);
    s.test.scheduler().advance(200ms);
    expectFrame(wide->imgView()->frame(), (375 - m.Wc) / 2, (667 - d) / 2, m.Wc, d, "picture");
    const auto close = s.find("closeBtn");
    EXPECT_EQ(close->imageResource(), "ot_close@2x.png");
    EXPECT_NEAR(close->center().x, 375 / 2.0, 1e-9);
    EXPECT_NEAR(close->center().y, (667 + d) / 2 + 1.5 * m.c, 1e-9);
    ASSERT_TRUE(OTHeadlessRenderer::tap(s.find("imgView")));
    s.test.scheduler().advance(50ms);
    EXPECT_EQ(s.events.back(), (std::pair<std::int64_t, std::optional<std::string>>{2, "DetailVC?id=1"}));

    // Without a link the tap is ignored and the dialog stays.
    auto plain = s.pop({{"style", 1}, {"picture", "https://cdn.test/wide.png"}});
    s.test.scheduler().advance(200ms);
    const auto count = s.events.size();
    EXPECT_TRUE(OTHeadlessRenderer::tap(s.find("imgView")));
    s.test.scheduler().advance(1s);
    EXPECT_EQ(s.events.size(), count);
    EXPECT_TRUE(plain->isShowing());
}

TEST(OTPopWindow, WebPageDialogsAndToolWindowsAndUnknownStyles) {
    Screen s;
    const auto m = OTPopWindow::Metrics::forScreen(375, 667);
    auto web = s.pop({{"style", 4}, {"h5Url", "https://survey.test/q1"}});
    EXPECT_NEAR(web->widgetAttribute("webview_height"), m.Wc * 1.4953271028037385, 1e-9);
    ASSERT_EQ(s.test.uiHost().webViews().size(), 1u);
    EXPECT_EQ(s.test.uiHost().webViews()[0]->requests().front(), "load https://survey.test/q1");
    s.test.scheduler().advance(200ms);
    const auto page = web->webController()->view()->frame();
    expectFrame(page, (375 - m.Wc) / 2, (667 - m.Wc * 1.4953271028037385) / 2, m.Wc, m.Wc * 1.4953271028037385, "page");
    EXPECT_NEAR(s.find("closeBtn")->center().y, page.origin.y + page.size.height + 1.5 * m.c, 1e-9);
    EXPECT_EQ(s.events.back().first, 1);

    // A tool window: never laid out or registered, reports -1 and then its buttons.
    const auto before = OTPopWindowManager::sharedManager()->popWindows().size();
    auto tool = std::make_shared<OTPopWindow>();
    std::vector<std::int64_t> toolEvents;
    tool->popWithTitle("提示", std::nullopt, [&](std::int64_t type, const auto&) { toolEvents.push_back(type); });
    EXPECT_EQ(tool->data()->content()->text(), "未取到userId，请重启APP");
    EXPECT_EQ(tool->data()->leftBtnAttribute()->text(), "取消");
    EXPECT_EQ(tool->data()->rightBtnAttribute()->text(), "确定");
    EXPECT_EQ(OTPopWindowManager::sharedManager()->popWindows().size(), before);
    s.test.scheduler().advance(200ms);
    EXPECT_EQ(toolEvents, std::vector<std::int64_t>{-1});
    tool->jumpOut(tool->leftBtn());
    s.test.scheduler().advance(50ms);
    EXPECT_EQ(toolEvents, (std::vector<std::int64_t>{-1, 4}));

    // An unknown style shows nothing and never calls back.
    s.events.clear();
    auto unknown = s.pop({{"style", 9}, {"title", {{"text", "x"}}}});
    s.test.scheduler().advance(1s);
    EXPECT_TRUE(s.events.empty());
    EXPECT_TRUE(unknown->isShowing());  // a fresh window counts as showing, and is never registered
    EXPECT_EQ(OTPopWindowManager::sharedManager()->popWindows().size(), 1u);  // the web page dialog
    EXPECT_EQ(unknown->node()->superview(), nullptr);                         // and nothing is laid over the app
}

TEST(OTPopWindow, HostileCampaignsFallBackWithoutCrashing) {
    Screen s;
    const auto m = OTPopWindow::Metrics::forScreen(375, 667);
    const std::string huge(100 * 1024, 'W');
    s.cachePicture("https://cdn.test/zero.png", 0, 0);  // not a picture: no size at all
    for (const json& campaign :
         {json{{"style", 2},
               {"title", {{"text", huge}}},
               {"content", {{"text", huge}}},
               {"picture", "https://cdn.test/zero.png"}},
          json{{"style", 3},
               {"title", {{"text", "中文" + huge}}},
               {"buttonLeft", {{"text", huge}}},
               {"buttonRight", nullptr}},
          json{{"style", 1}, {"picture", "not a url"}}, json{{"style", 1}}, json{{"style", 4}, {"h5Url", 42}},
          json{{"style", "3"}}, json{{"style", -1}}, json::array(), json(nullptr)}) {
        auto window = s.pop(campaign);
        s.test.scheduler().advance(300ms);
        EXPECT_LE(window->imageAndTextWindowHeight(), m.M);
        EXPECT_LE(window->textWindowHeight(), m.M + m.Bh + 4 * m.g);
        if (window->isShowing() && window->data() && window->data()->style() >= 1 && window->data()->style() <= 4) {
            window->closeWithCompletion(nullptr);
            s.test.scheduler().advance(50ms);
        }
    }
    // The 100 KB texts were measured by the text model and clamped to the screen, and nothing
    // is left over the app.
    s.test.scheduler().runUntilIdle();
    EXPECT_TRUE(s.window->scene()->subviews().empty());
}

TEST(OTPopWindow, HTMLDrawsEachStyleWithItsBoxesAtTheComputedFrames) {
    Screen s;
    s.cachePicture("https://cdn.test/p.png", 600, 300);
    s.test.uiHost().textMeasurer().setHeight("Big <sale> & more", 30);
    for (const json& campaign :
         {json{{"style", 1}, {"picture", "https://cdn.test/p.png"}},
          json{{"style", 2},
               {"picture", "https://cdn.test/p.png"},
               {"title", {{"text", "Big <sale> & more"}}},
               {"buttonMiddle", {{"text", "Go"}, {"background", "#FF5500"}, {"color", "#FFFFFF"}}}},
          json{{"style", 3},
               {"title", {{"text", "Big <sale> & more"}, {"color", "#123456"}}},
               {"buttonLeft", {{"text", "A"}}},
               {"buttonRight", {{"text", "B"}}}},
          json{{"style", 4}, {"h5Url", "https://survey.test/q1"}}}) {
        auto window = s.pop(campaign);
        s.test.scheduler().advance(200ms);
        const auto html = OTHTMLRenderer::render(s.window->scene(), {375, 667});
        // A node's box is its touch area: the close button's is 44 points, padded back to its drawing.
        const auto box = [&](const std::shared_ptr<OTSceneNode>& node) {
            const auto f = node->touchFrame();
            return " style=\"left:" + OTHTMLRenderer::px(f.origin.x) + "px;top:" + OTHTMLRenderer::px(f.origin.y) +
                   "px;width:" + OTHTMLRenderer::px(f.size.width) + "px;height:" + OTHTMLRenderer::px(f.size.height) +
                   "px";
        };
        EXPECT_NE(html.find("<div id=\"screen\" style=\"width:375px;height:667px\">"), std::string::npos);
        // The dialog is a modal dialog named by its campaign's words, or by what it is.
        EXPECT_NE(html.find("data-name=\"OTPopWindow\" role=\"dialog\" aria-modal=\"true\" aria-label=\"" +
                            OTHTMLRenderer::escape(window->node()->spokenAs()->label) + "\""),
                  std::string::npos);
        EXPECT_NE(html.find("data-name=\"backgroundView\" aria-hidden=\"true\""), std::string::npos);
        EXPECT_NE(html.find(box(window->backgroundView()) + ";background:rgba(0,0,0,0.3)"), std::string::npos);
        EXPECT_NE(html.find(box(s.find("closeBtn") ? s.find("closeBtn") : window->contentView())), std::string::npos);
        switch (window->data()->style()) {
            case 1:
                // The picture is the message and a button; a picture with no words says what it is.
                EXPECT_NE(html.find("<html lang=\"zh-Hans\">"), std::string::npos);
                EXPECT_NE(html.find("data-name=\"imgView\" role=\"button\" tabindex=\"0\" aria-label=\"活动图片\"" +
                                    box(window->imgView())),
                          std::string::npos);
                EXPECT_NE(html.find("<img src=\"https://cdn.test/p.png\" alt=\"\" "
                                    "style=\"width:100%;height:100%;object-fit:contain\">"),
                          std::string::npos);
                EXPECT_NE(html.find("data-name=\"closeBtn\" role=\"button\" tabindex=\"0\" aria-label=\"关闭\"" +
                                    box(window->closeBtn()) + ";padding:"),
                          std::string::npos);
                EXPECT_NE(html.find("src=\"data:image/png;base64,iVBORw0KGgo"), std::string::npos);  // the close button
                break;
            case 2:
                EXPECT_NE(html.find(box(window->contentView()) +
                                    ";background:rgba(255,255,255,1);border-radius:3px;overflow:hidden"),
                          std::string::npos);
                EXPECT_NE(html.find(box(window->middleBtn()) + ";padding:"), std::string::npos);
                EXPECT_NE(html.find(";background:rgba(255,85,0,1);border-radius:6px"), std::string::npos);
                EXPECT_NE(html.find("Big &lt;sale&gt; &amp; more"), std::string::npos);
                EXPECT_NE(html.find("filter:drop-shadow(-1px 1px 3px rgba(0,0,0,0.49))"), std::string::npos);
                // Beside the words the picture decorates; the title is a heading, the button says its text.
                EXPECT_NE(html.find("data-name=\"imgView\" aria-hidden=\"true\""), std::string::npos);
                EXPECT_NE(html.find("alt=\"\""), std::string::npos);
                EXPECT_NE(html.find("data-name=\"titleLbl\" role=\"heading\" aria-level=\"2\""), std::string::npos);
                EXPECT_NE(html.find("data-name=\"middleBtn\" role=\"button\" tabindex=\"0\" aria-label=\"Go\""),
                          std::string::npos);
                break;
            case 3:
                EXPECT_NE(html.find(box(window->titleLbl())), std::string::npos);
                EXPECT_NE(html.find("color:rgba(18,52,86,1)"), std::string::npos);
                EXPECT_NE(html.find(box(window->rightBtn())), std::string::npos);
                break;
            default:
                EXPECT_NE(html.find(box(window->webController()->view())), std::string::npos);
                EXPECT_NE(html.find("<iframe src=\"https://survey.test/q1\" title=\"活动页面\""), std::string::npos);
        }
        window->closeWithCompletion(nullptr);
        s.test.scheduler().advance(50ms);
        EXPECT_EQ(OTHTMLRenderer::render(s.window->scene(), {375, 667}).find("OTPopWindow"), std::string::npos);
    }
}

TEST(OTPopWindow, TheSceneTellsAScreenReaderWhatEachPartIsAndKeepsItInTheDialog) {
    Screen s;
    s.cachePicture("https://cdn.test/p.png", 600, 300);
    const auto scene = [&] {
        std::uint64_t next = 0;
        return OTSceneJSONRenderer::render(s.find("OTPopWindow"), [&next](const auto&) { return ++next; });
    };
    const std::function<json(const json&, const std::string&)> part = [&part](const json& node,
                                                                              const std::string& name) -> json {
        if (node.value("name", "") == name) return node;
        for (const auto& child : node["children"]) {
            if (auto found = part(child, name); !found.is_null()) return found;
        }
        return nullptr;
    };

    // A picture-only campaign: its picture speaks the campaign's words and is the button to press.
    auto picture = s.pop({{"style", 1}, {"picture", "https://cdn.test/p.png"}, {"title", {{"text", "春季上新"}}}});
    s.test.scheduler().advance(200ms);
    auto root = scene();
    EXPECT_EQ(root["modal"], true);
    EXPECT_EQ(root["accessibility"]["label"], "春季上新");
    EXPECT_EQ(part(root, "backgroundView")["accessibility"], (json{{"hidden", true}}));
    EXPECT_EQ(part(root, "imgView")["accessibility"], (json{{"label", "春季上新"}, {"traits", {"image", "button"}}}));
    // The close "×" is named and answers touches over 44 points about its centre.
    const auto close = part(root, "closeBtn");
    EXPECT_EQ(close["accessibility"], (json{{"label", "关闭"}, {"traits", {"button"}}}));
    const auto& drawn = close["frame"];
    ASSERT_LT(drawn["width"].get<double>(), 44);
    EXPECT_EQ(close["touchFrame"]["width"], 44);
    EXPECT_EQ(close["touchFrame"]["height"], 44);
    EXPECT_DOUBLE_EQ(close["touchFrame"]["x"].get<double>() + 22,
                     drawn["x"].get<double>() + drawn["width"].get<double>() / 2);
    picture->closeWithCompletion(nullptr);
    s.test.scheduler().advance(50ms);

    // A text dialog: a heading, the text, buttons by their titles.
    auto text = s.pop({{"style", 3},
                       {"title", {{"text", "Welcome"}}},
                       {"content", {{"text", "Enjoy"}}},
                       {"buttonLeft", {{"text", "Later"}}},
                       {"buttonRight", {{"text", "Show me"}}}});
    s.test.scheduler().advance(200ms);
    root = scene();
    EXPECT_EQ(part(root, "titleLbl")["accessibility"], (json{{"label", "Welcome"}, {"traits", {"header"}}}));
    EXPECT_EQ(part(root, "textLbl")["accessibility"], (json{{"label", "Enjoy"}, {"traits", {"staticText"}}}));
    EXPECT_EQ(part(root, "rightBtn")["accessibility"], (json{{"label", "Show me"}, {"traits", {"button"}}}));
    EXPECT_EQ(part(root, "rightBtn")["touchFrame"]["height"], 44) << "drawn lower than a finger";
    EXPECT_EQ(part(root, "rightBtn")["touchFrame"]["width"], part(root, "rightBtn")["frame"]["width"]);
    const auto designed = text->metrics();
    const auto buttonFont = text->rightBtn()->fontSize();
    text->closeWithCompletion(nullptr);
    s.test.scheduler().advance(50ms);

    // At twice the text size the fonts double, the buttons grow and their titles wrap.
    s.test.environment().accessibility().setTextScale(2);
    auto larger = s.pop({{"style", 3},
                         {"title", {{"text", "Welcome"}, {"size", "40pd"}}},
                         {"buttonLeft", {{"text", "Later"}}},
                         {"buttonRight", {{"text", "Show me"}}}});
    s.test.scheduler().advance(200ms);
    EXPECT_DOUBLE_EQ(larger->metrics().textFontSize, designed.textFontSize * 2);
    EXPECT_DOUBLE_EQ(larger->metrics().Bh, designed.Bh * 2);
    EXPECT_DOUBLE_EQ(larger->titleLbl()->fontSize(), 40);
    EXPECT_DOUBLE_EQ(larger->rightBtn()->fontSize(), buttonFont * 2);
    EXPECT_EQ(larger->rightBtn()->numberOfLines(), 0);
    EXPECT_DOUBLE_EQ(larger->rightBtn()->ot_height(), designed.Bh * 2);
    larger->closeWithCompletion(nullptr);
    s.test.scheduler().advance(50ms);
    s.test.environment().accessibility().setTextScale(1);

    // The host's close label.
    s.test.environment().accessibility().setCloseLabel("Dismiss");
    s.pop({{"style", 1}, {"picture", "https://cdn.test/p.png"}});
    s.test.scheduler().advance(200ms);
    root = scene();
    EXPECT_EQ(part(root, "closeBtn")["accessibility"]["label"], "Dismiss");
    EXPECT_EQ(root["accessibility"]["label"], "活动") << "a dialog without words says what it is";

    // The built-in labels follow the device language; an empty host label gives them back; text
    // scales stay within the content size categories.
    OTAccessibilityPreferences english("en-GB");
    EXPECT_EQ(english.closeLabel(), "Close");
    english.setCloseLabel("");
    EXPECT_EQ(english.closeLabel(), "Close");
    EXPECT_EQ(english.text("活动", "Campaign"), "Campaign");
    english.setTextScale(9);
    EXPECT_EQ(english.textScale(), OTAccessibilityPreferences::kMaxTextScale);
    english.setTextScale(std::nan(""));
    EXPECT_EQ(english.textScale(), OTAccessibilityPreferences::kMaxTextScale);
}

}  // namespace corvane
