#include "support/OTServerHarness.h"

#include <gtest/gtest.h>

#include <algorithm>

#include "core/OTSDKManager.h"
#include "corvane/CorvaneOtManager.h"
#include "foundation/OTFiles.h"
#include "server/OTServerSession.h"
#include "services/OTLogger.h"

namespace corvane {

using namespace std::chrono_literals;

OTServerHarness::OTServerHarness() {
    EXPECT_TRUE(server.start());
    engine = std::static_pointer_cast<OTSDKManager>(CorvaneOtManager::getObserverListener("group.demo"));
    engine->session().setUserId("user-1");
    recorder->observe(engine->session());
}

void OTServerHarness::start() {
    auto config = std::make_shared<CorvaneOtConfig>();
    config->setApplicationGroupIdentifier("group.demo");
    config->setAppKey("app-key");
    config->setUrl(server.baseURL() + "/");
    CorvaneOtManager::startWithConfig(config);
}

void OTServerHarness::startSettled() {
    start();
    EXPECT_TRUE(waitForOutcomes("/push/sdk/in_app"));
    EXPECT_TRUE(waitForOutcomes("/push/sdk/event/subscribe"));
    EXPECT_TRUE(waitForOutcomes("/push/sdk/in_app/callback"));
    server.clearRequests();
    clearOutcomes();
}

bool OTServerHarness::waitFor(const std::function<bool()>& done, std::chrono::milliseconds limit) {
    return test.scheduler().runUntil(done, limit);
}

std::string OTServerHarness::log() { return test.log(); }

bool OTServerHarness::waitForOutcomes(const std::string& path, std::size_t count, std::chrono::milliseconds limit) {
    return waitFor([&] { return recorder->count(path) >= count; }, limit);
}

bool OTServerHarness::waitForSuccess(const std::string& path) {
    return waitFor([&] {
        const auto kinds = outcomes(path);
        return std::find(kinds.begin(), kinds.end(), OTServerOutcome::Kind::Success) != kinds.end();
    });
}

}  // namespace corvane
