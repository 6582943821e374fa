#include <gtest/gtest.h>

#include "foundation/OTFiles.h"
#include "model/OTBanner.h"
#include "platform/OTTextMeasurer.h"
#include "render/OTHeadlessRenderer.h"
#include "services/OTLogger.h"
#include "support/OTTestEnvironment.h"
#include "ui/OTBannerView.h"
#include "view/OTNavigationController.h"

namespace corvane {

using namespace std::chrono_literals;
using nlohmann::json;

namespace {
std::shared_ptr<OTBanner> banner(std::int64_t style, const json& resource, const json& content = nullptr) {
    auto made = std::make_shared<OTBanner>();
    json dic = {{"id", "7"},
                {"style", style},
                {"locationId", "home_top"},
                {"clickEvent", "DetailVC?id=7"},
                {"resource", resource}};
    if (!content.is_null()) dic["content"] = content;
    made->setModelWithDic(dic);
    return made;
}

const json kThreePictures = {{"picture",
                              {{{"url", "https://img.example.com/1.png"}, {"clickEvent", "DetailVC?id=1"}},
                               {{"url", "https://img.example.com/2.png"}, {"clickEvent", "DetailVC?id=2"}},
                               {{"url", "https://img.example.com/3.png"}, {"clickEvent", "MineVC"}}}}};

}  // namespace

TEST(OTBannerView, SizesAreFunctionsOfTheScreenWidthAndTheTextHeight) {
    // 375 points wide, no text: style 2 is 355 × 0.65625 + 20 = 252.97 high, and style 5 too.
    EXPECT_NEAR(OTBannerView::fetchSize(2, 375, 0).height, 252.96875, 1e-9);
    EXPECT_NEAR(OTBannerView::fetchSize(5, 375, 0).height, 252.96875, 1e-9);
    EXPECT_EQ(OTBannerView::fetchSize(2, 375, 0).width, 375);
    EXPECT_NEAR(OTBannerView::fetchSize(1, 375, 40).height, 355.0 / 3 * 0.65625 + 20, 1e-9);  // 97.66
    EXPECT_NEAR(OTBannerView::fetchSize(2, 375, 40).height, 40 + 355 * 0.65625 + 30, 1e-9);
    EXPECT_NEAR(OTBannerView::fetchSize(3, 375, 40).height, 40 + 115 * 0.65625 + 30, 1e-9);
    EXPECT_NEAR(OTBannerView::fetchSize(4, 375, 0).height, 355 * 0.5625 + 20, 1e-9);
    EXPECT_NEAR(OTBannerView::fetchSize(4, 414, 0).height, 394 * 0.5625 + 20, 1e-9);
    EXPECT_NEAR(OTBannerView::fetchSize(3, 414, 0).height, 128 * 0.65625 + 20, 1e-9);
    EXPECT_EQ(OTBannerView::fetchSize(9, 414, 10), (OTSize{}));

    // Layouts: the media start 15 below the text, or at the top margin without text; the content
    // is 10 taller than the media's bottom (fetchSize adds 5 more with text, as it always has).
    const auto icon = OTBannerView::layoutFor(1, 414, 30);
    EXPECT_NEAR(icon.textWidth, 384 - 394.0 / 3, 1e-9);
    EXPECT_NEAR(icon.media.origin.x, 404 - 394.0 / 3, 1e-9);
    EXPECT_EQ(icon.media.origin.y, 10);
    EXPECT_NEAR(icon.contentHeight, 394.0 / 3 * 0.65625 + 20, 1e-9);
    const auto image = OTBannerView::layoutFor(2, 375, 40);
    EXPECT_EQ(image.media, (OTRect{{10, 55}, {355, 355 * 0.65625}}));
    EXPECT_NEAR(image.contentHeight, 355 * 0.65625 + 65, 1e-9);
    EXPECT_EQ(OTBannerView::layoutFor(3, 375, 0).media, (OTRect{{10, 10}, {115, 115 * 0.65625}}));
    EXPECT_EQ(OTBannerView::layoutFor(4, 414, 20).media, (OTRect{{10, 35}, {394, 394 * 0.5625}}));
    EXPECT_EQ(OTBannerView::layoutFor(5, 375, 99).media, (OTRect{{10, 10}, {355, 355 * 0.65625}}));
    EXPECT_NEAR(OTBannerView::layoutFor(5, 375, 99).contentHeight, 252.96875, 1e-9);
    EXPECT_NEAR(OTBannerView::fontSizeFor(375), 375 / 590.5 * 28, 1e-12);
}

TEST(OTBannerView, ViewsLayOutEachStyleAndCapTheirText) {
    OTTestEnvironment test;
    test.setScreenSize(375, 812);
    auto& measurer = test.uiHost().textMeasurer();
    measurer.setHeight("两行文字", 40);
    measurer.setHeight("很长很长的文字", 500);

    auto style2 = OTBannerView::initWithBanner(banner(2, kThreePictures, {{"text", "两行文字"}}));
    EXPECT_NEAR(style2->fetchSize().height, 40 + 355 * 0.65625 + 30, 1e-9);
    style2->render();
    EXPECT_EQ(style2->findByName("textLbl")->frame(), (OTRect{{10, 10}, {355, 40}}));
    EXPECT_EQ(style2->findByName("imgView")->frame(), (OTRect{{10, 55}, {355, 355 * 0.65625}}));
    EXPECT_EQ(style2->findByName("imgView")->ot_imageURL(), "https://img.example.com/1.png");
    EXPECT_NEAR(style2->bounds().size.height, 355 * 0.65625 + 65, 1e-9);
    EXPECT_EQ(style2->findByName("textLbl")->textAlignment(), OTSceneNode::TextAlignment::Left);

    // A long text is cut at three lines; next to an icon, at the icon's height plus 10.
    const double lines = 3 * OTTextMeasurer::lineHeight(OTBannerView::fontSizeFor(375)) + 2 * 2;
    auto tall = OTBannerView::initWithBanner(banner(2, kThreePictures, {{"text", "很长很长的文字"}}));
    EXPECT_NEAR(tall->fetchSize().height, lines + 355 * 0.65625 + 30, 1e-9);
    auto besideIcon = OTBannerView::initWithBanner(banner(1, kThreePictures, {{"text", "很长很长的文字"}}));
    besideIcon->render();
    EXPECT_NEAR(besideIcon->findByName("textLbl")->ot_height(), std::min(lines, 355.0 / 3 * 0.65625 + 10), 1e-9);
    EXPECT_NEAR(besideIcon->bounds().size.height, 355.0 / 3 * 0.65625 + 20, 1e-9);

    // Three small pictures side by side; with one address only the first, at the full height.
    auto three = OTBannerView::initWithBanner(banner(3, kThreePictures));
    three->render();
    EXPECT_EQ(three->findByName("imgView3")->frame().origin.x, 10 + 2 * (115 + 5));
    auto one = OTBannerView::initWithBanner(banner(3, {{"picture", {{{"url", "https://img.example.com/1.png"}}}}}));
    one->render();
    EXPECT_NE(one->findByName("imgView1"), nullptr);
    EXPECT_EQ(one->findByName("imgView2"), nullptr);
    EXPECT_NEAR(one->bounds().size.height, 115 * 0.65625 + 20, 1e-9);

    // A video keeps its address: web addresses as they are, anything else as a file.
    auto video = OTBannerView::initWithBanner(banner(4, {{"video", {{{"url", "https://v.example.com/a.mp4"}}}}}));
    video->render();
    EXPECT_EQ(video->findByName("playerController")->url(), "https://v.example.com/a.mp4");
    EXPECT_EQ(video->findByName("playerController")->role(), OTSceneNode::Role::Video);
    auto local = OTBannerView::initWithBanner(banner(4, {{"video", {{{"url", "/var/videos/a.mp4"}}}}}));
    local->render();
    EXPECT_EQ(local->findByName("playerController")->url(), "file:///var/videos/a.mp4");

    // No banner, or a style nobody knows, is nothing.
    auto none = OTBannerView::initWithBanner(nullptr);
    none->render();
    EXPECT_EQ(none->fetchSize(), (OTSize{}));
    EXPECT_TRUE(none->subviews().empty());
    auto unknown = OTBannerView::initWithBanner(banner(8, kThreePictures));
    unknown->render();
    EXPECT_EQ(unknown->bounds().size, (OTSize{}));
}

TEST(OTBannerView, MissingMediaIsLoggedAndTheRestLaysOut) {
    OTTestEnvironment test;
    test.setScreenSize(414, 896);
    const char* texts[] = {"小图标缺失", "大图缺失", "多图缺失", "视频缺失", "轮播图缺失"};
    for (std::int64_t style = 1; style <= 5; ++style) {
        auto view = OTBannerView::initWithBanner(banner(style, "not a resource", {{"text", "文字"}}));
        view->render();
        EXPECT_NE(test.log().find(texts[style - 1]), std::string::npos) << style;
        EXPECT_EQ(view->bounds().size.width, 414) << style;
        EXPECT_GT(view->bounds().size.height, 0) << style;
        if (style != 5) {
            EXPECT_NE(view->findByName("textLbl"), nullptr) << style;
        }
    }
    auto empty = OTBannerView::initWithBanner(banner(5, {{"picture", json::array()}}));
    empty->render();
    EXPECT_EQ(empty->findByName("cycleScrollView"), nullptr);
}

TEST(OTBannerView, TapsFollowTheBannerLinkAndEachCarouselPageItsOwn) {
    OTTestEnvironment test;
    const auto app = test.installHostApp();
    auto view = OTBannerView::initWithBanner(banner(2, kThreePictures));
    view->render();
    ASSERT_TRUE(OTHeadlessRenderer::tap(view->findByName(OTSceneNode::kContentViewName)));
    test.scheduler().advance(600ms);
    ASSERT_EQ(app.stack->viewControllers().size(), 2u);
    EXPECT_EQ(app.stack->topViewController()->propertyValues().at("id"), "7");

    auto carousel = OTBannerView::initWithBanner(banner(5, kThreePictures));
    carousel->render();
    EXPECT_FALSE(carousel->findByName(OTSceneNode::kContentViewName)->hasAction(OTSceneNode::kTap));
    auto cycle = std::dynamic_pointer_cast<OTCycleScrollView>(carousel->findByName("cycleScrollView"));
    ASSERT_NE(cycle, nullptr);
    cycle->makeScrollViewScrollToIndex(1);
    ASSERT_TRUE(OTHeadlessRenderer::tap(cycle->visibleCells().front()));
    test.scheduler().advance(600ms);
    ASSERT_EQ(app.stack->viewControllers().size(), 3u);
    EXPECT_EQ(app.stack->topViewController()->propertyValues().at("id"), "2");
    // A page without a link of its own opens nothing.
    carousel->otCycleScrollViewDidSelectItemAtIndex(*cycle, 3);
    test.scheduler().advance(600ms);
    EXPECT_EQ(app.stack->viewControllers().size(), 3u);
}

}  // namespace corvane
