#include <cctype>

#include "OTFuzzSupport.h"
#include "OTFuzzTargets.h"
#include "model/OTWindowData.h"
#include "render/OTHTMLRenderer.h"
#include "support/OTHeldTransport.h"
#include "support/OTTestEnvironment.h"
#include "ui/OTPopWindow.h"
#include "view/OTNavigationController.h"
#include "view/OTWindow.h"

namespace corvane {

namespace {
// A screen whose picture downloads are answered at once with nothing: a campaign's addresses
// never leave the process.
struct Screen {
    Screen() {
        test.setHTTPTransport(transport);
        transport->setAnswerAtOnce([](const OTHeldTransport::Held&) { return std::string(); });
        window =
            std::make_shared<OTWindow>(OTNavigationController::withRoot(std::make_shared<OTViewController>("HomeVC")));
        test.uiHost().setWindows({window});
    }
    OTTestEnvironment test;
    std::shared_ptr<OTHeldTransport> transport = std::make_shared<OTHeldTransport>();
    std::shared_ptr<OTWindow> window;
};
}  // namespace

// A campaign shown as a dialog and drawn as a page: whatever the campaign holds, the page runs
// nothing and fetches only web addresses.
int otFuzzHTML(const std::uint8_t* data, std::size_t size) {
    const auto json = OTFuzzSupport::json(data, size);
    if (!json.is_object()) return 0;
    auto& screen = OTFuzzSupport::rig<Screen>();
    auto campaign = std::make_shared<OTWindowData>();
    campaign->setModelWithDic(json);
    auto dialog = std::make_shared<OTPopWindow>();
    dialog->popWithData(campaign, [](std::int64_t, const std::optional<std::string>&) {});
    screen.test.scheduler().advance(std::chrono::milliseconds(500));
    const auto html = OTHTMLRenderer::render(screen.window->scene(), {375, 667});
    OTFuzzSupport::require(html.find("<script") == std::string::npos, "no script element");
    for (auto at = html.find(" src=\""); at != std::string::npos; at = html.find(" src=\"", at + 1)) {
        std::string source = html.substr(at + 6, 24);
        for (auto& c : source) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
        OTFuzzSupport::require(source.starts_with("http://") || source.starts_with("https://") ||
                                   source.starts_with("data:image/png;base64,"),
                               "only web addresses and our own pictures as sources");
    }
    dialog->_close();
    screen.test.scheduler().advance(std::chrono::seconds(1));
    screen.transport->forgetSent();
    return 0;
}

}  // namespace corvane
