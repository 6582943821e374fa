#pragma once

#include <memory>

namespace corvane {

class OTAliasUploader;
class OTBannerLists;
class OTCampaignDownloader;
class OTDownloadManager;
class OTEnvironment;
class OTEventReporter;
class OTIdentityUploader;
class OTLoginClient;
class OTPopWindowManager;
class OTPushManager;
class OTReachabilityManager;
class OTServerSession;
class OTSwizzler;
class OTTaskManager;
class OTUserConfig;

// What the engine works with besides its own state: the server link and the shared managers it
// hands work to. A test or a host may pass its own; `of` fills in whatever is left empty.
struct OTSDKManagerCollaborators {
    std::shared_ptr<OTServerSession> session;
    std::shared_ptr<OTLoginClient> login;
    std::shared_ptr<OTCampaignDownloader> downloader;
    std::shared_ptr<OTEventReporter> reporter;
    std::shared_ptr<OTIdentityUploader> identity;
    std::shared_ptr<OTBannerLists> bannerLists;
    std::shared_ptr<OTAliasUploader> aliases;
    std::shared_ptr<OTTaskManager> tasks;
    std::shared_ptr<OTPopWindowManager> popWindows;
    std::shared_ptr<OTPushManager> push;
    std::shared_ptr<OTReachabilityManager> reachability;
    std::shared_ptr<OTSwizzler> swizzler;
    std::shared_ptr<OTUserConfig> settings;
    std::shared_ptr<OTDownloadManager> media;

    // A server link of its own on `environment` and the environment's shared managers, for
    // whatever `given` leaves empty.
    static OTSDKManagerCollaborators of(OTEnvironment& environment, OTSDKManagerCollaborators given = {});
};

}  // namespace corvane
