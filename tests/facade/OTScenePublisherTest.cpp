#include "facade/OTScenePublisher.h"

#include <gtest/gtest.h>

#include <nlohmann/json.hpp>

#include "support/OTTestEnvironment.h"
#include "view/OTSceneNode.h"
#include "view/OTWindow.h"

namespace corvane {

using nlohmann::json;
using Role = OTSceneNode::Role;

namespace {
struct HostScreen {
    std::vector<std::pair<std::uint64_t, json>> shows;
    std::vector<std::uint64_t> dismisses;

    OTScenePublisher::Presenter presenter() {
        return {
            [this](std::uint64_t surface, const std::string& text) { shows.emplace_back(surface, json::parse(text)); },
            [this](std::uint64_t surface) { dismisses.push_back(surface); }};
    }
};
}  // namespace

TEST(OTScenePublisher, SendsOnlyWhatChangedKeepsIdsAndTakesTouchesOnlyOnShownNodes) {
    OTTestEnvironment test;
    const auto app = test.installHostApp();
    auto publisher = OTScenePublisher::shared();
    HostScreen screen;
    publisher->setPresenter(screen.presenter());

    auto ball = std::make_shared<OTSceneNode>(Role::View, "OTFloatingBall");
    ball->setFrame({{10, 20}, {60, 60}});
    auto button = std::make_shared<OTSceneNode>(Role::Button, "go");
    button->setText("Go");
    int taps = 0;
    button->addAction(OTSceneNode::kTouchUpInside, [&] { ++taps; });
    auto list = std::make_shared<OTSceneNode>(Role::Scroll, "list");
    list->setContentSize({600, 60});
    std::vector<std::string> drag;
    for (const auto* event : {OTSceneNode::kWillBeginDragging, OTSceneNode::kDidScroll, OTSceneNode::kDidEndDragging,
                              OTSceneNode::kDidEndDecelerating}) {
        list->addAction(event, [&, event, weak = std::weak_ptr(list)] {
            drag.push_back(std::string(event) + "@" + std::to_string(static_cast<int>(weak.lock()->contentOffset().x)));
        });
    }
    auto field = std::make_shared<OTSceneNode>(Role::TextField, "alias");
    field->setPlaceholder(std::string("name this page"));
    // Drawn above the button although added first.
    list->setZPosition(1);
    ball->addSubview(list);
    ball->addSubview(button);
    ball->addSubview(field);
    app.window->addSubview(ball);

    publisher->publish();
    ASSERT_EQ(screen.shows.size(), 1u);
    const auto [surface, shown] = screen.shows[0];
    EXPECT_EQ(shown["kind"], "overlay");
    EXPECT_EQ(shown["root"]["name"], "OTFloatingBall");
    EXPECT_EQ(shown["root"]["frame"], (json{{"x", 10}, {"y", 20}, {"width", 60}, {"height", 60}}));
    ASSERT_EQ(shown["root"]["children"].size(), 3u);
    const auto& drawnButton = shown["root"]["children"][0];
    const auto& drawnField = shown["root"]["children"][1];
    const auto& drawnList = shown["root"]["children"][2];
    EXPECT_EQ(drawnField["role"], "textField");
    EXPECT_EQ(drawnField["placeholder"], "name this page");
    EXPECT_FALSE(drawnField.contains("text")) << "an empty field shows only its placeholder";
    EXPECT_EQ(drawnButton["name"], "go");
    EXPECT_EQ(drawnButton["text"], "Go");
    EXPECT_EQ(drawnButton["font"], (json{{"name", ""}, {"size", 17}}));
    EXPECT_EQ(drawnList["contentSize"], (json{{"width", 600}, {"height", 60}}));
    EXPECT_EQ(drawnList["actions"], (json{"didEndDecelerating", "didEndDragging", "didScroll", "willBeginDragging"}));
    const auto buttonId = drawnButton["id"].get<std::uint64_t>();
    const auto listId = drawnList["id"].get<std::uint64_t>();

    publisher->publish();
    EXPECT_EQ(screen.shows.size(), 1u) << "nothing changed";

    // A change sends the surface again, every id kept.
    button->setText("Go on");
    publisher->publish();
    ASSERT_EQ(screen.shows.size(), 2u);
    EXPECT_EQ(screen.shows[1].first, surface);
    EXPECT_EQ(screen.shows[1].second["root"]["children"][0]["id"], buttonId);
    EXPECT_EQ(screen.shows[1].second["root"]["children"][0]["text"], "Go on");

    EXPECT_TRUE(publisher->tap(buttonId));
    EXPECT_EQ(taps, 1);
    EXPECT_FALSE(publisher->tap(listId)) << "no tap action";
    EXPECT_TRUE(publisher->scroll(listId, {120, 0}));
    EXPECT_EQ(drag, (std::vector<std::string>{"willBeginDragging@0", "didScroll@120", "didEndDragging@120",
                                              "didEndDecelerating@120"}));
    EXPECT_FALSE(publisher->scroll(buttonId, {1, 0})) << "a button does not scroll";
    list->setScrollEnabled(false);
    EXPECT_FALSE(publisher->scroll(listId, {0, 0}));

    // Touches reach only what a user could touch.
    button->setUserInteractionEnabled(false);
    EXPECT_FALSE(publisher->tap(buttonId));
    button->setUserInteractionEnabled(true);
    ball->setHidden(true);
    EXPECT_FALSE(publisher->tap(buttonId));
    ball->setHidden(false);
    button->removeFromSuperview();
    EXPECT_FALSE(publisher->tap(buttonId)) << "off every surface";
    EXPECT_EQ(taps, 1);

    app.window->removeSubview(ball);
    publisher->publish();
    EXPECT_EQ(screen.dismisses, (std::vector<std::uint64_t>{surface}));

    // A node that is gone never lends its id to another.
    ball.reset();
    list.reset();
    button.reset();
    auto next = std::make_shared<OTSceneNode>(Role::View, "next");
    app.window->addSubview(next);
    publisher->publish();
    ASSERT_EQ(screen.shows.size(), 3u);
    EXPECT_GT(screen.shows[2].first, listId);

    // Without a presenter nothing is sent; a new one gets the screen afresh.
    publisher->setPresenter(std::nullopt);
    next->setAlpha(0.5);
    publisher->publish();
    EXPECT_EQ(screen.shows.size(), 3u);
    HostScreen fresh;
    publisher->setPresenter(fresh.presenter());
    publisher->publish();
    ASSERT_EQ(fresh.shows.size(), 1u);
    EXPECT_EQ(fresh.shows[0].second["root"]["alpha"], 0.5);
}

}  // namespace corvane
