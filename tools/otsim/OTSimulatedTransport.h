#pragma once

#include <chrono>
#include <cstdint>
#include <memory>
#include <random>
#include <string>

#include "platform/OTHTTPTransport.h"

namespace corvane {

class OTDevServer;
class OTDispatchQueue;

// HTTP in the process, for a simulation: each request is answered by the dev server's handler
// and its completion is posted to `queue` (a lane of the manual scheduler) after a latency drawn
// from `seed` plus whatever delay a fault adds. Faults end as the platform's transport ends them:
// a dropped connection or a cut answer as a transport failure, an answer over the limit as too
// large, a delay past the request's time-out as a time-out. Addresses of other servers are refused
// at once, as a closed port is.
class OTSimulatedTransport final : public OTHTTPTransport {
public:
    static constexpr long kCouldNotConnect = 7;
    static constexpr long kTimedOut = 28;
    static constexpr long kGotNothing = 52;
    static constexpr long kPartialFile = 18;

    OTSimulatedTransport(OTDevServer& server, std::string serverURL, std::shared_ptr<OTDispatchQueue> queue,
                         std::uint64_t seed);

    void send(Request request, Completion completion) override;
    void shutdown() override;

private:
    OTDevServer& server_;
    const std::string serverURL_;
    const std::shared_ptr<OTDispatchQueue> queue_;
    std::mt19937_64 random_;
    // Completions of this transport run only while it is not shut down.
    std::shared_ptr<bool> open_ = std::make_shared<bool>(true);
};

}  // namespace corvane
