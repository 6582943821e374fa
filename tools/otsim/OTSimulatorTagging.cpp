#include "OTSimulatorTagging.h"

#include <fstream>

#include "OTScenarioAction.h"
#include "core/OTNavigation.h"
#include "corvane/CorvaneOtManager.h"
#include "platform/OTEnvironment.h"
#include "render/OTHTMLRenderer.h"
#include "render/OTHeadlessRenderer.h"
#include "tagging/OTFloatingBall.h"
#include "tagging/OTTagDetailController.h"
#include "tagging/OTTagManager.h"
#include "view/OTSceneNode.h"

namespace corvane {

using nlohmann::json;
using namespace std::chrono_literals;

namespace {
constexpr auto kSnapWait = 3s;
constexpr auto kUploadWait = 15s;
constexpr double kBarHeight = 88;

std::shared_ptr<OTFloatingBall> shownBall() {
    const auto ball = OTTagManager::manager()->floatingBall();
    return ball && ball->view()->superview() && ball->view()->isVisible() ? ball : nullptr;
}
}  // namespace

OTSimulatorTagging::OTSimulatorTagging(Observe observe, Pump pump, std::optional<std::filesystem::path> htmlDirectory,
                                       OTSize screen)
    : observe_(std::move(observe)), pump_(std::move(pump)), htmlDirectory_(std::move(htmlDirectory)), screen_(screen) {}

void OTSimulatorTagging::observeBall() {
    const auto ball = OTTagManager::manager()->floatingBall();
    json x;
    json y;
    if (ball) {
        const auto origin = ball->view()->frame().origin;
        x = origin.x;
        y = origin.y;
    }
    observe_({{"type", "tagBall"}, {"shown", shownBall() != nullptr}, {"x", x}, {"y", y}});
}

void OTSimulatorTagging::pageTag(const OTScenarioAction& action) {
    CorvaneOtManager::setPageTagState(action.flag("on", true));
    observeBall();
}

void OTSimulatorTagging::dragTagBall(const OTScenarioAction& action, const Error& error) {
    const auto ball = shownBall();
    if (!ball) return error("the tag ball is not shown");
    const auto& to = action.value("to");
    const OTPoint target{to[0].get<double>(), to[1].get<double>()};
    const auto from = ball->view()->center();
    ball->touchesBegan(from);
    ball->touchesMoved(target);
    ball->touchesEnded(target);
    pump_(kSnapWait, [&] { return !ball->isAnimating(); });
    observeBall();
}

void OTSimulatorTagging::tapTagBall(const Error& error) {
    const auto ball = shownBall();
    if (!ball) return error("the tag ball is not shown");
    const auto center = ball->view()->center();
    if (ball->hitTest(center) != ball->view()) return error("the tag ball takes no touch");
    ball->touchesBegan(center);
    ball->touchesEnded(center);
}

void OTSimulatorTagging::tagAlias(const OTScenarioAction& action, const Error& error) {
    const auto detail = std::dynamic_pointer_cast<OTTagDetailController>(
        OTNavigation(OTEnvironment::current()->uiHost()).currentViewController());
    if (!detail) return error("the naming screen is not shown; tap the tag ball first");
    OTHeadlessRenderer::type(detail->aliasField(), action.text("alias", ""));
    const auto choose = [&](std::size_t row, const char* key, bool chosen) {
        if (!action.has(key) || action.flag(key, false) == chosen) return;
        if (!OTHeadlessRenderer::tap(detail->cell(row))) error(std::string("the \"") + key + "\" row cannot be chosen");
    };
    choose(0, "native", detail->cell1Choosed());
    choose(1, "web", detail->cell2Choosed());
    const auto toasts = detail->toastsShown();
    if (!OTHeadlessRenderer::tap(detail->submitButton())) {
        return error("the submit button is disabled: it needs an alias that is not blank and a chosen row");
    }
    pump_(kUploadWait, [&] { return detail->toastsShown() > toasts; });
}

void OTSimulatorTagging::collect() {
    const auto current = std::dynamic_pointer_cast<OTTagDetailController>(
        OTNavigation(OTEnvironment::current()->uiHost()).currentViewController());
    if (current && current != screenSeen_.lock()) {
        screenSeen_ = current;
        toastsSeen_ = current->toastsShown();
        writeSnapshot("screen");
    }
    const auto detail = screenSeen_.lock();
    if (!detail || detail->toastsShown() <= toastsSeen_) return;
    toastsSeen_ = detail->toastsShown();
    const auto toast = detail->toast();
    const auto text = toast ? toast->findByName("text") : nullptr;
    observe_({{"type", "toast"}, {"text", text ? json(text->text().value_or("")) : json()}});
    writeSnapshot("toast");
}

void OTSimulatorTagging::writeSnapshot(const std::string& kind) {
    const auto detail = screenSeen_.lock();
    if (!htmlDirectory_ || !detail) return;
    std::error_code ec;
    std::filesystem::create_directories(*htmlDirectory_, ec);
    // The host's navigation bar, with the screen's title, over the screen the library draws.
    auto root = std::make_shared<OTSceneNode>(OTSceneNode::Role::View, "screen");
    root->setFrame({{0, 0}, screen_});
    root->addSubview(detail->view());
    auto bar = std::make_shared<OTSceneNode>(OTSceneNode::Role::View, "navigationBar");
    bar->setFrame({{0, 0}, {screen_.width, kBarHeight}});
    bar->setBackgroundColor(OTColor(0.98, 0.98, 0.98, 1));
    auto title = std::make_shared<OTSceneNode>(OTSceneNode::Role::Label, "title");
    title->setFrame({{0, kBarHeight - 34}, {screen_.width, 24}});
    title->setText(std::string(OTTagDetailController::kTitle));
    title->setFont("PingFangSC-Semibold", 17);
    title->setTextAlignment(OTSceneNode::TextAlignment::Center);
    bar->addSubview(title);
    root->addSubview(bar);
    const auto file = *htmlDirectory_ / ("tag-" + std::to_string(++snapshots_) + "-" + kind + ".html");
    std::ofstream(file) << OTHTMLRenderer::render(root, screen_, "page tag " + kind);
    detail->view()->removeFromSuperview();
    observe_({{"type", "snapshot"}, {"tag", kind}, {"file", file.string()}});
}

bool OTSimulatorTagging::print(std::ostream& out, const std::string& at, const json& o) {
    const std::string type = o.value("type", "");
    if (type == "tagBall") {
        out << at << "  tag ball ";
        if (o["shown"].get<bool>()) out << "shown at (" << o["x"].dump() << ", " << o["y"].dump() << ")\n";
        else out << "hidden\n";
        return true;
    }
    if (type == "toast") {
        out << at << "  toast " << (o["text"].is_string() ? o["text"].get<std::string>() : "?") << "\n";
        return true;
    }
    return false;
}

}  // namespace corvane
