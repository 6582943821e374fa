#pragma once

#include <memory>
#include <string>
#include <vector>

#include "core/OTCampaignStore.h"
#include "core/OTSDKManager.h"
#include "foundation/OTFiles.h"
#include "model/OTWindowData.h"
#include "server/OTNetwork.h"
#include "server/OTServerSession.h"
#include "services/OTLogger.h"
#include "support/OTHeldTransport.h"
#include "support/OTTestEnvironment.h"

namespace corvane {

// The engine configured and holding a token, its server requests held by the test until it
// answers them (or answered at once, with `transport->setAnswerAtOnce`).
class OTHeldEngine {
public:
    OTHeldEngine() {
        test.setHTTPTransport(transport);
        engine = OTSDKManager::sharedManager()->managerWithGroupIdentifier("group.demo");
        engine->session().network()->setConfig(OTNetworkConfig::withBaseURL("https://api.example.com"));
        auto config = std::make_shared<CorvaneOtConfig>();
        config->setAppKey("app-key");
        engine->session().setConfiguration(config);
        engine->session().setToken("token-1");
    }
    std::vector<std::string> campaignIds() const {
        std::vector<std::string> ids;
        for (const auto& campaign : engine->campaigns().inAppDataArray())
            ids.push_back(campaign->windowId().value_or(""));
        return ids;
    }
    // The log file once the queues have run.
    std::string log() const { return test.log(); }

    OTTestEnvironment test;
    std::shared_ptr<OTHeldTransport> transport = std::make_shared<OTHeldTransport>();
    std::shared_ptr<OTSDKManager> engine;
};

}  // namespace corvane
