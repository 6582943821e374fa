#include <gtest/gtest.h>

#include <algorithm>

#include "core/OTNavigation.h"
#include "corvane/CorvaneOtManager.h"
#include "render/OTHeadlessRenderer.h"
#include "server/OTAliasUploader.h"
#include "services/OTUserConfig.h"
#include "support/OTHeldEngine.h"
#include "tagging/OTFloatingBall.h"
#include "tagging/OTTagDetailController.h"
#include "tagging/OTTagListController.h"
#include "tagging/OTTagManager.h"

namespace corvane {

using namespace std::chrono_literals;
using nlohmann::json;

namespace {
constexpr const char* kUploadPath = "/push/sdk/pageview/upload";

// The engine with held requests, observing "group.demo" whose shared settings hold a token and user.
struct Tagging : OTHeldEngine {
    Tagging() {
        settings()->setUserId(std::string("user-1"));
        settings()->setToken(std::string("token-1"));
    }
    static std::shared_ptr<OTUserConfig> settings() {
        return OTUserConfig::defaultConfig()->configWithGroupIdentifier(std::string("group.demo"));
    }
    // Uploads and records what the completion said, and how often it ran.
    void upload(const std::optional<std::string>& alias, const std::optional<std::string>& url,
                const std::optional<std::string>& h5Url) {
        OTTagManager::manager()->uploadAlias(alias, url, h5Url, [this](bool success) { outcomes.push_back(success); });
        test.scheduler().runUntilIdle();
    }
    std::vector<bool> outcomes;
};

// The naming screen pushed by a tap on the ball.
std::shared_ptr<OTTagDetailController> tapBall(OTTestEnvironment::HostApp& app) {
    auto ball = OTTagManager::manager()->floatingBall();
    if (!ball) return nullptr;
    const auto center = ball->view()->center();
    ball->touchesBegan(center);
    ball->touchesEnded(center);
    return std::dynamic_pointer_cast<OTTagDetailController>(app.stack->topViewController());
}
}  // namespace

TEST(OTTagManager, TheUploadBodyKeyByKeyAndTheArgumentsItRefuses) {
    Tagging c;
    // No alias, a blank one, or no page: nothing is sent and the completion never runs.
    c.upload(std::nullopt, std::string("HomeVC"), std::nullopt);
    c.upload(std::string(), std::string("HomeVC"), std::string("https://h5.test/a"));
    c.upload(std::string("home"), std::nullopt, std::nullopt);
    c.upload(std::string("home"), std::string(), std::string());
    OTTagManager::manager()->uploadAlias(std::string("home"), std::string("HomeVC"), std::nullopt, nullptr);
    c.test.scheduler().runUntilIdle();
    ASSERT_EQ(c.transport->bodiesTo(kUploadPath).size(), 1u);
    EXPECT_TRUE(c.transport->complete(kUploadPath, 200, R"({"code":0})"));
    EXPECT_TRUE(c.outcomes.empty());

    c.upload(std::string("home"), std::string("HomeVC"), std::nullopt);
    c.upload(std::string("活动页"), std::string(), std::string("https://h5.test/a?x=1"));
    const auto bodies = c.transport->bodiesTo(kUploadPath);
    ASSERT_EQ(bodies.size(), 3u);
    const json os = {{"brand", "iphone"},
                     {"channel", "default"},
                     {"packageName", "com.corvane.test"},
                     {"platform", "ios"},
                     {"version", "17.5"}};
    EXPECT_EQ(
        bodies[1],
        (json{
            {"os", os},
            {"sdkVersion", "2.2.2"},
            {"token", "token-1"},
            {"userId", "user-1"},
            {"events",
             {{{"alias", "home"}, {"xwhat", "$pageview"}, {"xcontext", {{"$title", "title"}, {"$url", "HomeVC"}}}}}}}));
    // A page given empty is still given; one not given is left out.
    EXPECT_EQ(bodies[2]["events"][0]["alias"], "活动页");
    EXPECT_EQ(bodies[2]["events"][0]["xcontext"],
              (json{{"$title", "title"}, {"$url", ""}, {"$h5Url", "https://h5.test/a?x=1"}}));
    // The token and user are those of the engine's group; a group with nothing stored sends empty texts.
    c.engine->session().setGroupIdentifier(std::string("group.empty"));
    EXPECT_EQ(c.engine->aliases().body("a", std::nullopt, std::string("u"))["token"], "");
    EXPECT_EQ(c.engine->aliases().body("a", std::nullopt, std::string("u"))["userId"], "");
    c.engine->session().setGroupIdentifier(std::string("group.demo"));

    ASSERT_TRUE(c.transport->complete(kUploadPath, 200, R"({"code":0,"message":"ok"})"));
    c.test.scheduler().runUntilIdle();
    EXPECT_EQ(c.outcomes, std::vector<bool>{true});
    // Also the upload without a completion succeeded.
    EXPECT_EQ(c.test.logCount("上传别名成功, url:HomeVC, h5Url:(null), alias:home"), 2u);
    EXPECT_EQ(c.test.logCount("上传别名 data:\n{\n    code = 0;\n    message = ok;\n}"), 1u);
}

TEST(OTTagManager, FailuresEndFalseAndAnExpiredLoginRepeatsTheSameUpload) {
    Tagging c;
    c.upload(std::string("home"), std::string("HomeVC"), std::nullopt);
    ASSERT_TRUE(c.transport->complete(kUploadPath, 500, "{}"));
    c.upload(std::string("home"), std::string("HomeVC"), std::nullopt);
    ASSERT_TRUE(c.transport->complete(kUploadPath, 200, R"({"code":3,"message":"bad alias"})"));
    c.upload(std::string("home"), std::string("HomeVC"), std::nullopt);
    ASSERT_TRUE(c.transport->complete(kUploadPath, 200, "not json"));
    c.upload(std::string("home"), std::string("HomeVC"), std::nullopt);
    ASSERT_TRUE(c.transport->complete(kUploadPath, 0, "", OTHTTPTransport::Failure{-1009, "offline"}));
    c.test.scheduler().runUntilIdle();
    EXPECT_EQ(c.outcomes, (std::vector<bool>{false, false, false, false}));
    EXPECT_EQ(c.test.logCount("statusCode:500\ndescripton:internal server error\n"), 1u);
    EXPECT_EQ(c.test.logCount("code:3\nmessage:bad alias\n"), 1u);
    EXPECT_EQ(c.test.logCount("code:-1\nmessage:(null)\n"), 1u);
    EXPECT_EQ(c.test.logCount("code:-1009\ndescripton:offline\n"), 1u);

    // 10001: log in, then the same upload again with the new token.
    c.outcomes.clear();
    c.upload(std::string("home"), std::string("HomeVC"), std::string("https://h5.test/a"));
    ASSERT_TRUE(c.transport->complete(kUploadPath, 200, R"({"code":10001})"));
    c.test.scheduler().runUntilIdle();
    EXPECT_TRUE(c.outcomes.empty());
    ASSERT_TRUE(c.transport->complete(OTHeldTransport::kLoginPath, 200, R"({"code":0,"token":"token-2"})"));
    c.test.scheduler().runUntilIdle();
    auto bodies = c.transport->bodiesTo(kUploadPath);
    ASSERT_EQ(bodies.size(), 6u);
    EXPECT_EQ(bodies[5]["token"], "token-2");
    EXPECT_EQ(bodies[5]["events"], bodies[4]["events"]);
    ASSERT_TRUE(c.transport->complete(kUploadPath, 200, R"({"code":0})"));
    c.test.scheduler().runUntilIdle();
    EXPECT_EQ(c.outcomes, std::vector<bool>{true});
}

TEST(OTTagManager, TheBallOpensOneNamingScreenForThePageOnShowAndItsWebPage) {
    Tagging c;
    auto app = c.test.installHostApp();
    EXPECT_EQ(tapBall(app), nullptr);
    CorvaneOtManager::setPageTagState(true);
    CorvaneOtManager::setPageTagState(true);
    c.test.scheduler().runUntilIdle();
    const auto ball = OTTagManager::manager()->floatingBall();
    ASSERT_NE(ball, nullptr);
    // One ball, above the key window's pages, showing the tag picture.
    ASSERT_EQ(app.window->scene()->subviews().size(), 1u);
    EXPECT_EQ(app.window->scene()->subviews()[0], ball->view());
    EXPECT_EQ(ball->view()->findByRole(OTSceneNode::Role::Image).at(0)->imageResource(), "ot_tag@3x.png");
    EXPECT_EQ(ball->stayMode(), OTFloatingBall::NearerSide);

    auto detail = tapBall(app);
    ASSERT_NE(detail, nullptr);
    EXPECT_EQ(detail->controllerName(), "HomeVC");
    EXPECT_EQ(detail->h5Url(), "");
    EXPECT_EQ(app.stack->viewControllers().size(), 2u);
    // On the naming screen itself the ball opens nothing more.
    EXPECT_EQ(tapBall(app), detail);
    EXPECT_EQ(app.stack->viewControllers().size(), 2u);

    // Over a web page, the screen gets the page's address.
    app.stack->popViewController(false);
    app.window->addWebView("PromoWeb", std::string("https://h5.test/promo?id=7"));
    EXPECT_EQ(OTNavigation(c.test.uiHost()).currentWebviewURL(), "https://h5.test/promo?id=7");
    detail = tapBall(app);
    ASSERT_NE(detail, nullptr);
    EXPECT_EQ(detail->h5Url(), "https://h5.test/promo?id=7");
    EXPECT_EQ(detail->cell(1)->contentView()->findByName("detail")->text(), "https://h5.test/promo?id=7");

    // Switched off, the ball hides and takes no touch.
    CorvaneOtManager::setPageTagState(false);
    c.test.scheduler().runUntilIdle();
    EXPECT_TRUE(ball->view()->hidden());
    app.stack->popViewController(false);
    EXPECT_EQ(tapBall(app), nullptr);

    // Without a navigation stack, or without any window, a tap opens nothing and nothing breaks.
    CorvaneOtManager::setPageTagState(true);
    c.test.scheduler().runUntilIdle();
    app.window->setRootViewController(app.home);
    OTTagManager::manager()->openAliasScreen();
    EXPECT_EQ(app.stack->viewControllers().size(), 1u);
    EXPECT_EQ(c.test.logCount("当前页面不在导航栈中，无法添加别名"), 1u);
    c.test.uiHost().setWindows({});
    OTTagManager::manager()->openAliasScreen();
    EXPECT_EQ(c.test.logCount("当前页面不在导航栈中，无法添加别名"), 2u);
}

TEST(OTTagManager, TheSubmitButtonFollowsTheAliasAndTheRowsAndTheToastTellsTheOutcome) {
    Tagging c;
    auto app = c.test.installHostApp();
    auto detail = OTTagDetailController::make();
    detail->setControllerName("HomeVC");
    auto view = detail->view();
    EXPECT_EQ(std::string(detail->title()), "添加别名");
    EXPECT_EQ(view->findByName("header")->text(), "填写别名");
    EXPECT_EQ(detail->aliasField()->placeholder(), "请填写您需要的别名");
    EXPECT_EQ(detail->cell(0)->contentView()->findByName("title")->text(), "原生页面");
    EXPECT_EQ(detail->cell(0)->contentView()->findByName("detail")->text(), "HomeVC");
    EXPECT_EQ(detail->cell(1)->contentView()->findByName("detail")->text(), "当前页面没有网页");
    EXPECT_EQ(detail->cell(2), nullptr);

    const OTColor enabled(12 / 255.0, 219 / 255.0, 93 / 255.0, 1);
    const OTColor disabled(177 / 255.0, 183 / 255.0, 190 / 255.0, 1);
    const auto submit = detail->submitButton();
    const auto state = [&] {
        const bool on = submit->userInteractionEnabled();
        EXPECT_EQ(submit->backgroundColor(), on ? enabled : disabled);
        return on;
    };
    EXPECT_FALSE(state());
    EXPECT_FALSE(OTHeadlessRenderer::tap(submit));
    // A blank alias is no alias; an alias alone is not enough either.
    ASSERT_TRUE(OTHeadlessRenderer::type(detail->aliasField(), " \t\n "));
    EXPECT_TRUE(OTHeadlessRenderer::tap(detail->cell(0)));
    EXPECT_TRUE(detail->cell1Choosed());
    EXPECT_FALSE(detail->cell(0)->contentView()->findByName("checkmark")->hidden());
    EXPECT_FALSE(state());
    ASSERT_TRUE(OTHeadlessRenderer::type(detail->aliasField(), " home "));
    EXPECT_TRUE(state());
    EXPECT_TRUE(OTHeadlessRenderer::tap(detail->cell(0)));
    EXPECT_FALSE(detail->cell1Choosed());
    EXPECT_FALSE(state());
    // Without a web page the web row cannot be chosen.
    EXPECT_FALSE(OTHeadlessRenderer::tap(detail->cell(1)));
    EXPECT_FALSE(detail->cell2Choosed());
    detail->setH5Url("https://h5.test/a");
    EXPECT_TRUE(OTHeadlessRenderer::tap(detail->cell(1)));
    EXPECT_TRUE(state());
    EXPECT_TRUE(OTHeadlessRenderer::tap(detail->cell(0)));

    // Both rows: both pages go, with the alias as typed.
    ASSERT_TRUE(OTHeadlessRenderer::tap(submit));
    c.test.scheduler().runUntilIdle();
    const auto bodies = c.transport->bodiesTo(kUploadPath);
    ASSERT_EQ(bodies.size(), 1u);
    EXPECT_EQ(bodies[0]["events"][0],
              (json{{"alias", " home "},
                    {"xwhat", "$pageview"},
                    {"xcontext", {{"$title", "title"}, {"$url", "HomeVC"}, {"$h5Url", "https://h5.test/a"}}}}));
    EXPECT_EQ(detail->toast(), nullptr);
    ASSERT_TRUE(c.transport->complete(kUploadPath, 200, R"({"code":0})"));
    c.test.scheduler().runUntilIdle();

    // The toast: a white panel centred at 0.4 of the screen's height, picture and text inside.
    auto toast = detail->toast();
    ASSERT_NE(toast, nullptr);
    EXPECT_EQ(toast->superview(), view);
    EXPECT_EQ(toast->frame(), (OTRect{{95, 844 * 0.4 - 81}, {200, 162}}));
    EXPECT_EQ(toast->cornerRadius(), 25);
    EXPECT_EQ(toast->backgroundColor(), OTColor(1, 1, 1, 1));
    EXPECT_EQ(toast->alpha(), 1);
    const auto image = toast->findByName("image");
    EXPECT_EQ(image->frame(), (OTRect{{75.5, 22.5}, {49, 49}}));
    EXPECT_EQ(image->imageResource(), "ot_submit_success@3x.png");
    const auto text = toast->findByName("text");
    EXPECT_EQ(text->frame(), (OTRect{{48.5, 95}, {103, 33.5}}));
    EXPECT_EQ(text->text(), "提交成功");
    EXPECT_EQ(text->fontName(), "PingFangSC-Semibold");
    EXPECT_EQ(text->fontSize(), 24);
    EXPECT_EQ(text->textColor(), OTColor::fromHexText("#444444"));
    EXPECT_EQ(text->textAlignment(), OTSceneNode::TextAlignment::Center);
    EXPECT_EQ(detail->toastsShown(), 1u);

    // A failure shows the other picture and text, replacing the first toast and its timing.
    c.test.scheduler().advance(1s);
    ASSERT_TRUE(OTHeadlessRenderer::tap(submit));
    c.test.scheduler().runUntilIdle();
    ASSERT_TRUE(c.transport->complete(kUploadPath, 503, ""));
    c.test.scheduler().runUntilIdle();
    toast = detail->toast();
    ASSERT_NE(toast, nullptr);
    EXPECT_EQ(toast->findByName("text")->text(), "提交失败");
    EXPECT_EQ(toast->findByName("image")->imageResource(), "ot_submit_fail@3x.png");
    EXPECT_EQ(std::count_if(view->subviews().begin(), view->subviews().end(),
                            [](const auto& node) { return node->name() == "toast"; }),
              1);
    c.test.scheduler().advance(1999ms);
    EXPECT_EQ(detail->toast(), toast);
    c.test.scheduler().advance(1ms);
    EXPECT_EQ(toast->alpha(), 0);
    c.test.scheduler().advance(OTTagDetailController::kToastFade);
    EXPECT_EQ(detail->toast(), nullptr);
    EXPECT_EQ(toast->superview(), nullptr);
    EXPECT_EQ(detail->toastsShown(), 2u);
}

TEST(OTTagManager, TheListScreenHandsTheChosenRowToItsOwner) {
    OTTestEnvironment test;
    std::vector<std::size_t> chosen;
    auto list = OTTagListController::make([&](std::size_t row) { chosen.push_back(row); });
    const auto cells = list->view()->findByRole(OTSceneNode::Role::TableCell);
    ASSERT_EQ(cells.size(), 2u);
    EXPECT_EQ(cells[0]->contentView()->findByName("title")->text(), "选择页面");
    EXPECT_EQ(cells[1]->contentView()->findByName("title")->text(), "选择页面元素");
    EXPECT_EQ(cells[1]->absoluteFrame().origin.y, OTTagListController::kTopInset + 51);
    EXPECT_TRUE(OTHeadlessRenderer::tap(cells[1]));
    EXPECT_TRUE(OTHeadlessRenderer::tap(cells[0]));
    list->didSelectRowAtIndex(2);
    EXPECT_EQ(chosen, (std::vector<std::size_t>{1, 0}));
}

}  // namespace corvane
