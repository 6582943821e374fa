#include "corvane/CorvaneOtManager.h"

#include "core/OTPopWindowManager.h"
#include "core/OTPushManager.h"
#include "core/OTSDKManager.h"
#include "facade/OTHostPages.h"
#include "facade/OTScenePublisher.h"
#include "platform/OTEnvironment.h"
#include "server/OTEventReporter.h"
#include "server/OTIdentityUploader.h"
#include "services/OTDownloadManager.h"
#include "services/OTLogger.h"
#include "tagging/OTTagManager.h"
#include "ui/OTBannerManager.h"
#include "ui/OTPopWindowPresenter.h"

namespace corvane {

namespace {
// The engine as the host reaches it: dialogs are shown in dialog windows and banners come from
// the banner manager, unless something else was set first.
std::shared_ptr<OTSDKManager> engine() {
    OTPopWindowManager::sharedManager()->setPresenterIfNone([] { return std::make_shared<OTPopWindowPresenter>(); });
    auto engine = OTSDKManager::sharedManager();
    engine->setBannerHandlerIfNone([] { return OTBannerManager::sharedManager(); });
    return engine;
}
}  // namespace

// Nothing thrown inside the library reaches the host.
std::shared_ptr<CorvaneOtObserver> CorvaneOtManager::getObserverListener(const std::string& groupIdentifier) {
    try {
        return engine()->managerWithGroupIdentifier(groupIdentifier);
    } catch (...) {
        return nullptr;
    }
}

void CorvaneOtManager::startWithConfig(const std::shared_ptr<CorvaneOtConfig>& config) {
    try {
        engine()->startWithConfiguration(config);
    } catch (...) {}
}

std::string CorvaneOtManager::SDKVersion() { return OTSDKManager::SDKVersion(); }

void CorvaneOtManager::configLogLevel(std::uint64_t level) {
    try {
        OTLogger::configLogLevel(static_cast<std::int64_t>(level));
    } catch (...) {}
}

void CorvaneOtManager::configLogFileLimit(std::uint64_t bytes) {
    try {
        OTLogger::getInstance()->setMaxFileBytes(bytes);
    } catch (...) {}
}

void CorvaneOtManager::setDialogVisible(bool visible) {
    try {
        OTPopWindowManager::sharedManager()->setAutoPopWindow(visible);
    } catch (...) {}
}

std::size_t CorvaneOtManager::runMainQueue() {
    try {
        auto& scheduler = OTEnvironment::current()->scheduler();
        if (!scheduler.isMainThread()) return 0;
        const auto ran = scheduler.drainMainQueue();
        OTScenePublisher::shared()->publish();
        return ran;
    } catch (...) {
        return 0;
    }
}

void CorvaneOtManager::setMainQueueWaker(const std::function<void()>& waker) {
    try {
        OTEnvironment::current()->scheduler().setMainQueueWaker(waker);
    } catch (...) {}
}

void CorvaneOtManager::setCloseLabel(const std::optional<std::string>& label) {
    try {
        OTEnvironment::current()->accessibility().setCloseLabel(label);
    } catch (...) {}
}

void CorvaneOtManager::setTextScale(double scale) {
    try {
        OTEnvironment::current()->accessibility().setTextScale(scale);
    } catch (...) {}
}

void CorvaneOtManager::setDecisionListener(std::function<void(const nlohmann::json& record)> listener) {
    try {
        engine()->setDecisionListener(std::move(listener));
    } catch (...) {}
}

void CorvaneOtManager::setReportListener(std::function<void(const nlohmann::json& record)> listener) {
    try {
        engine()->reporter().setReportListener(std::move(listener));
    } catch (...) {}
}

void CorvaneOtManager::setConsole(std::function<void(std::int64_t level, const std::string& message)> sink) {
    try {
        OTEnvironment::current()->setConsoleSink(std::move(sink));
    } catch (...) {}
}

void CorvaneOtManager::setNavigationListener(std::function<void(const nlohmann::json& navigation)> listener) {
    try {
        OTPushManager::sharedManager()->setNavigationListener(std::move(listener));
    } catch (...) {}
}

void CorvaneOtManager::registerPage(const std::string& className, const std::vector<std::string>& properties) {
    try {
        OTHostPages::registerPage(className, properties);
    } catch (...) {}
}

void CorvaneOtManager::pageShown(const std::string& className) {
    try {
        OTHostPages::pageShown(className);
    } catch (...) {}
}

void CorvaneOtManager::picture(const std::string& url,
                               std::function<void(const std::optional<std::string>& bytes)> completion) {
    if (!completion) return;
    try {
        // Weakly: the download's completion lives in the environment's own transport.
        std::weak_ptr<OTEnvironment> environment = OTEnvironment::current();
        auto hand = [environment, completion = std::move(completion)](std::optional<std::string> bytes) {
            if (auto alive = environment.lock()) {
                alive->mainQueue()->async(
                    [completion, bytes = std::move(bytes)] { OTLogger::guarded([&] { completion(bytes); }); });
            }
        };
        OTDownloadManager::sharedManager()->downloadImageWithURL(
            url, [hand](const std::shared_ptr<OTImage>&, const std::optional<std::string>& data,
                        const std::optional<OTDownloadManager::Error>&, bool) { hand(data); });
    } catch (...) {}
}

void CorvaneOtManager::pushTrack(std::int64_t type, const nlohmann::json& msg, const std::string& groupIdentifier) {
    try {
        engine()->pushTrack(type, msg, groupIdentifier);
    } catch (...) {}
}

void CorvaneOtManager::pushToken(const CorvanePushToken& token, const std::string& groupIdentifier) {
    try {
        engine()->pushToken(token, groupIdentifier);
    } catch (...) {}
}

void CorvaneOtManager::pushToken(const CorvanePushToken& token, std::uint64_t provider,
                                 const std::string& groupIdentifier) {
    try {
        engine()->pushToken(token, provider, groupIdentifier);
    } catch (...) {}
}

void CorvaneOtManager::setWeChatId(const std::optional<std::string>& weChatId, const std::optional<std::string>& appId,
                                   const std::optional<std::string>& openId) {
    try {
        engine()->identity().setWeChatId(weChatId, appId, openId);
    } catch (...) {}
}

void CorvaneOtManager::sendLogToEmail(const std::string& address) {
    try {
        engine()->sendLogToEmail(address, nullptr);
    } catch (...) {}
}

void CorvaneOtManager::setPageTagState(bool on) {
    try {
        auto apply = [on] {
            try {
                OTTagManager::manager()->setPageTagState(on);
            } catch (...) {}
        };
        const auto main = OTEnvironment::current()->mainQueue();
        if (main->isCurrent()) apply();
        else main->async(std::move(apply));
    } catch (...) {}
}

CorvaneOtManager::Size CorvaneOtManager::loadBanner(const std::shared_ptr<CorvaneBannerConfig>& config) {
    try {
        engine();
        const auto size = OTBannerManager::sharedManager()->renderBanner(config);
        return {size.width, size.height};
    } catch (...) {
        return {};
    }
}

void CorvaneOtManager::getBanner(const std::string& locationId,
                                 std::function<void(const std::optional<std::string>& json)> completion) {
    if (locationId.empty()) return;
    try {
        engine();
        OTBannerManager::sharedManager()->getBanner(locationId, std::move(completion));
    } catch (...) {}
}

}  // namespace corvane
