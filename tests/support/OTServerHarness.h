#pragma once

#include <chrono>
#include <functional>
#include <memory>
#include <string>

#include "OTDevServer.h"
#include "support/OTTestEnvironment.h"

namespace corvane {

class OTSDKManager;

// A test environment, the dev server with the sample campaigns on a loopback port, and the engine
// observing for "group.demo" as user "user-1". `start()` starts the library against the server.
class OTServerHarness {
public:
    OTServerHarness();

    void start();
    // Runs the queues until `done` holds, for at most `limit` of real time.
    bool waitFor(const std::function<bool()>& done, std::chrono::milliseconds limit = std::chrono::seconds(10));
    // The log file so far, once the log queue has written everything.
    std::string log();
    // Answers are handled on the HTTP thread: tests wait for a handler's last log line.
    bool waitForLog(const std::string& fragment, std::size_t occurrences = 1,
                    std::chrono::milliseconds limit = std::chrono::seconds(10));

    OTTestEnvironment test;
    OTDevServer server{{OT_SAMPLE_CAMPAIGNS}};
    std::shared_ptr<OTSDKManager> engine;
};

}  // namespace corvane
