#include "OTFuzzSupport.h"
#include "OTFuzzTargets.h"
#include "foundation/OTKeyedArchiver.h"
#include "foundation/OTKeyedUnarchiver.h"
#include "model/OTBanner.h"
#include "render/OTHTMLRenderer.h"
#include "support/OTHeldTransport.h"
#include "support/OTTestEnvironment.h"
#include "ui/OTBannerManager.h"
#include "ui/OTBannerView.h"

namespace corvane {

namespace {
// Picture downloads are answered at once with nothing: a banner's addresses never leave the process.
struct BannerScreen {
    BannerScreen() {
        test.setHTTPTransport(transport);
        transport->setAnswerAtOnce([](const OTHeldTransport::Held&) { return std::string(); });
    }
    OTTestEnvironment test;
    std::shared_ptr<OTHeldTransport> transport = std::make_shared<OTHeldTransport>();
};
}  // namespace

// A banner answer's list: every banner reads, sizes, lays out, draws without script and archives;
// the raw walk of getBanner keeps no more than it was given.
int otFuzzBanner(const std::uint8_t* data, std::size_t size) {
    const auto json = OTFuzzSupport::json(data, size);
    if (json.is_discarded()) return 0;
    auto& screen = OTFuzzSupport::rig<BannerScreen>();
    const OTFuzzSupport::Settle settle(screen.test);
    const auto& list = json.is_object() && json.contains("data") ? json["data"] : json;
    const auto elements = list.is_array() ? list : nlohmann::json::array({list});
    std::vector<std::shared_ptr<OTBanner>> banners;
    for (const auto& element : elements) {
        auto banner = std::make_shared<OTBanner>();
        banner->setModelWithDic(element);
        auto view = OTBannerView::initWithBanner(banner);
        const auto preferred = view->fetchSize();
        OTFuzzSupport::require(std::isfinite(preferred.height) && preferred.height >= 0, "a finite preferred height");
        view->render();
        OTFuzzSupport::require(std::isfinite(view->bounds().size.height), "a finite laid-out height");
        const auto html = OTHTMLRenderer::render(view, {375, 667});
        OTFuzzSupport::require(html.find("<script") == std::string::npos, "no script element");
        banners.push_back(std::move(banner));
    }
    const auto bytes = OTKeyedArchiver::archivedData(banners);
    OTFuzzSupport::require(bytes.has_value(), "banners from bounded JSON archive");
    OTFuzzSupport::require(OTPropertyList::fromBinary(*bytes).has_value(), "archived banners read");
    const auto back = OTKeyedUnarchiver::unarchivedArrayOfObjectsOfClass<OTBanner>(*bytes);
    OTFuzzSupport::require(back.has_value() && back->size() == banners.size(), "every banner reads back");
    for (std::size_t i = 0; i < banners.size(); ++i) {
        OTFuzzSupport::require((*back)[i]->dataMD5() == banners[i]->dataMD5(), "the digest survives the archive");
    }
    const auto kept = OTBannerManager::filterJsonData(list, "home_top");
    OTFuzzSupport::require(kept.size() <= (list.is_array() ? list.size() : 0), "the walk adds nothing");
    screen.test.scheduler().advance(std::chrono::seconds(3));
    screen.transport->forgetSent();
    return 0;
}

}  // namespace corvane
