#pragma once

#include <chrono>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "OTDevServer.h"
#include "support/OTOutcomeRecorder.h"
#include "support/OTTestEnvironment.h"

namespace corvane {

class OTSDKManager;

// A test environment, the dev server with the sample campaigns on a loopback port, and the engine
// observing for "group.demo" as user "user-1". `start()` starts the library against the server.
class OTServerHarness {
public:
    OTServerHarness();

    void start();
    // Starts, waits until the start's lists and its "$pullDialog" report are answered, then
    // forgets the requests and outcomes so far.
    void startSettled();
    // Runs the queues until `done` holds, for at most `limit` of real time: a generous limit, since a
    // sanitizer build on a loaded machine is slow and a wait ends as soon as `done` holds.
    bool waitFor(const std::function<bool()>& done, std::chrono::milliseconds limit = std::chrono::seconds(30));
    // The log file so far, once the log queue has written everything.
    std::string log();
    // Answers are handled on the HTTP thread: tests wait until `count` requests to `path` have
    // been handled, whatever their outcome.
    bool waitForOutcomes(const std::string& path, std::size_t count = 1,
                         std::chrono::milliseconds limit = std::chrono::seconds(30));
    // Waits until a request to `path` has succeeded: the start asks for some lists before its login
    // is answered, so the first answer may be a refused token and the list come with the repeat.
    bool waitForSuccess(const std::string& path);
    // The outcomes of the requests to `path` handled so far, in order.
    std::vector<OTServerOutcome::Kind> outcomes(const std::string& path) const { return recorder->kinds(path); }
    // Forgets the outcomes so far: later waits count from here.
    void clearOutcomes() { recorder->clear(); }

    OTTestEnvironment test;
    OTDevServer server{{OT_SAMPLE_CAMPAIGNS}};
    std::shared_ptr<OTSDKManager> engine;

    std::shared_ptr<OTOutcomeRecorder> recorder = OTOutcomeRecorder::make();
};

}  // namespace corvane
