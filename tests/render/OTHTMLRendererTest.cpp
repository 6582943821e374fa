#include <gtest/gtest.h>

#include "foundation/OTFiles.h"
#include "render/OTHTMLRenderer.h"
#include "render/OTHeadlessRenderer.h"
#include "render/OTHeadlessUIHost.h"
#include "render/OTHeadlessWebView.h"
#include "services/OTLogger.h"
#include "support/OTTestEnvironment.h"

namespace corvane {

TEST(OTHTMLRenderer, OnlyWebAddressesReachThePageAndEveryTextIsEscaped) {
    auto root = std::make_shared<OTSceneNode>(OTSceneNode::Role::View, "root\"><script>alert(1)</script>");
    root->setFrame({{0, 0}, {100, 100}});
    auto addNode = [&](OTSceneNode::Role role, const char* name) {
        auto node = std::make_shared<OTSceneNode>(role, name);
        node->setFrame({{0, 0}, {10, 10}});
        root->addSubview(node);
        return node;
    };
    addNode(OTSceneNode::Role::Web, "page")->setUrl("javascript:alert(document.cookie)");
    addNode(OTSceneNode::Role::Web, "local")->setUrl("file:///etc/passwd");
    addNode(OTSceneNode::Role::Web, "shop")->setUrl("HTTPS://shop.example.com/a?b=1&c=\"2\"");
    addNode(OTSceneNode::Role::Image, "evil")->setImageURL(" javascript:alert(2)");
    addNode(OTSceneNode::Role::Image, "inline")->setImageURL("data:text/html,<script>alert(3)</script>");
    addNode(OTSceneNode::Role::Image, "coupon")->setImageURL("http://cdn.example.com/coupon.png");
    auto label = addNode(OTSceneNode::Role::Label, "label");
    label->setText("</span><script>alert(4)</script>");
    label->setFont("x'\"><script>alert(5)</script>", 12);

    const auto html = OTHTMLRenderer::render(root, {100, 100}, "<title>");
    EXPECT_EQ(html.find("<script"), std::string::npos);
    EXPECT_EQ(html.find("javascript:"), std::string::npos);
    EXPECT_EQ(html.find("file:"), std::string::npos);
    EXPECT_EQ(html.find("data:text"), std::string::npos);
    EXPECT_NE(html.find("<iframe src=\"HTTPS://shop.example.com/a?b=1&amp;c=&quot;2&quot;\""), std::string::npos);
    EXPECT_NE(html.find("<img src=\"http://cdn.example.com/coupon.png\""), std::string::npos);
    EXPECT_NE(html.find("<span>&lt;/span&gt;&lt;script&gt;alert(4)&lt;/script&gt;</span>"), std::string::npos);
    EXPECT_NE(html.find("font-family:'xscriptalert5script'"), std::string::npos);
    EXPECT_NE(html.find("<title>&lt;title&gt;</title>"), std::string::npos);
    EXPECT_EQ(std::count(html.begin(), html.end(), '<'), std::count(html.begin(), html.end(), '>'));
}

TEST(OTHTMLRenderer, AnEmptyTextFieldShowsItsPlaceholderAndTypedTextReplacesIt) {
    auto root = std::make_shared<OTSceneNode>(OTSceneNode::Role::View, "root");
    root->setFrame({{0, 0}, {200, 100}});
    auto field = std::make_shared<OTSceneNode>(OTSceneNode::Role::TextField, "field");
    field->setFrame({{0, 0}, {200, 40}});
    field->setPlaceholder(std::string("请填写<别名>"));
    field->setUserInteractionEnabled(true);
    root->addSubview(field);
    // A label's placeholder is no text field's: nothing of it is drawn.
    auto label = std::make_shared<OTSceneNode>(OTSceneNode::Role::Label, "label");
    label->setPlaceholder(std::string("never shown"));
    root->addSubview(label);
    const std::string grey = "<span style=\"color:#c7c7cd\">请填写&lt;别名&gt;</span>";

    auto html = OTHTMLRenderer::render(root, {200, 100});
    EXPECT_NE(html.find(grey), std::string::npos);
    EXPECT_EQ(html.find("never shown"), std::string::npos);
    EXPECT_EQ(OTHeadlessRenderer::snapshot(root)["children"][0]["placeholder"], "请填写<别名>");

    field->setText(std::string(""));
    EXPECT_NE(OTHTMLRenderer::render(root, {200, 100}).find(grey), std::string::npos);
    EXPECT_EQ(OTHTMLRenderer::render(root, {200, 100}).find("<span></span>"), std::string::npos);

    ASSERT_TRUE(OTHeadlessRenderer::type(field, "home"));
    html = OTHTMLRenderer::render(root, {200, 100});
    EXPECT_NE(html.find("<span>home</span>"), std::string::npos);
    EXPECT_EQ(html.find("请填写"), std::string::npos);
}

TEST(OTHeadlessUIHost, LocalFileAddressesAreRefusedWithALogLine) {
    OTTestEnvironment test;
    auto& host = test.uiHost();
    for (const char* url : {"file:///etc/passwd", "FILE:///etc/passwd", " file:/x"}) {
        SCOPED_TRACE(url);
        EXPECT_TRUE(OTHeadlessWebView::isLocalFileURL(url));
        EXPECT_FALSE(host.canOpenURL(url));
    }
    EXPECT_FALSE(OTHeadlessWebView::isLocalFileURL("https://example.com/file:///x"));
    EXPECT_TRUE(host.canOpenURL("myapp://open"));
    host.openURL("file:///etc/passwd");
    host.openURL("https://example.com");
    const auto records = host.records();
    EXPECT_NE(std::find(records.begin(), records.end(), "refused url: file:///etc/passwd"), records.end());
    EXPECT_NE(std::find(records.begin(), records.end(), "open url: https://example.com"), records.end());
    EXPECT_EQ(std::find(records.begin(), records.end(), "open url: file:///etc/passwd"), records.end());

    OTHeadlessWebView view;
    view.loadRequest(std::string("file:///etc/passwd"));
    view.loadRequest(std::string("https://example.com"));
    EXPECT_EQ(view.requests(), (std::vector<std::string>{"refused file:///etc/passwd", "load https://example.com"}));
    EXPECT_FALSE(view.canGoBack());
    const auto log = test.log();
    EXPECT_NE(log.find("拒绝打开本地文件地址：file:///etc/passwd"), std::string::npos);
    EXPECT_NE(log.find("拒绝加载本地文件地址：file:///etc/passwd"), std::string::npos);
}

}  // namespace corvane
