#include "support/OTServerHarness.h"

#include <gtest/gtest.h>

#include "core/OTSDKManager.h"
#include "corvane/CorvaneOtManager.h"
#include "foundation/OTFiles.h"
#include "services/OTLogger.h"

namespace corvane {

using namespace std::chrono_literals;

OTServerHarness::OTServerHarness() {
    EXPECT_TRUE(server.start());
    engine = std::static_pointer_cast<OTSDKManager>(CorvaneOtManager::getObserverListener("group.demo"));
    engine->setUserId("user-1");
}

void OTServerHarness::start() {
    auto config = std::make_shared<CorvaneOtConfig>();
    config->setApplicationGroupIdentifier("group.demo");
    config->setAppKey("app-key");
    config->setUrl(server.baseURL() + "/");
    CorvaneOtManager::startWithConfig(config);
}

bool OTServerHarness::waitFor(const std::function<bool()>& done, std::chrono::milliseconds limit) {
    return test.scheduler().runUntil(done, limit);
}

std::string OTServerHarness::log() { return test.log(); }

bool OTServerHarness::waitForLog(const std::string& fragment, std::size_t occurrences,
                                 std::chrono::milliseconds limit) {
    return waitFor([&] { return OTTestEnvironment::occurrences(log(), fragment) >= occurrences; }, limit);
}

}  // namespace corvane
