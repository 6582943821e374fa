#include "core/OTSDKManagerCollaborators.h"

#include "core/OTPopWindowManager.h"
#include "core/OTPushManager.h"
#include "core/OTSwizzler.h"
#include "core/OTTaskManager.h"
#include "server/OTAliasUploader.h"
#include "server/OTBannerLists.h"
#include "server/OTCampaignDownloader.h"
#include "server/OTEventReporter.h"
#include "server/OTIdentityUploader.h"
#include "server/OTLoginClient.h"
#include "server/OTServerSession.h"
#include "services/OTDownloadManager.h"
#include "services/OTReachabilityManager.h"
#include "services/OTUserConfig.h"
#include "services/OTUserShare.h"

namespace corvane {

OTSDKManagerCollaborators OTSDKManagerCollaborators::of(OTEnvironment& environment, OTSDKManagerCollaborators given) {
    auto& c = given;
    if (!c.settings) c.settings = OTUserConfig::defaultConfig();
    if (!c.media) c.media = OTDownloadManager::sharedManager();
    if (!c.session) c.session = std::make_shared<OTServerSession>(environment, OTUserShare::share());
    if (!c.login) c.login = std::make_shared<OTLoginClient>(c.session, c.settings);
    if (!c.downloader) c.downloader = std::make_shared<OTCampaignDownloader>(c.session, c.login, c.settings, c.media);
    if (!c.reporter) c.reporter = std::make_shared<OTEventReporter>(c.session, c.login, c.settings);
    if (!c.identity) c.identity = std::make_shared<OTIdentityUploader>(c.session, c.login, c.reporter, c.settings);
    if (!c.bannerLists) c.bannerLists = std::make_shared<OTBannerLists>(c.login, c.settings);
    if (!c.aliases) c.aliases = std::make_shared<OTAliasUploader>(c.session, c.login, c.settings);
    if (!c.tasks) c.tasks = OTTaskManager::manager();
    if (!c.popWindows) c.popWindows = OTPopWindowManager::sharedManager();
    if (!c.push) c.push = OTPushManager::sharedManager();
    if (!c.reachability) c.reachability = OTReachabilityManager::sharedManager();
    if (!c.swizzler) c.swizzler = OTSwizzler::shared();
    return given;
}

}  // namespace corvane
