#pragma once

#include <chrono>

#include <memory>

#include "server/OTNetwork.h"
#include "server/OTServerSession.h"

namespace corvane {

// Shortens a session's time-out for one scope; the default comes back however the scope is left,
// an assertion's early return included.
class OTScopedTimeout {
public:
    OTScopedTimeout(OTServerSession& session, std::chrono::milliseconds timeout) : network_(session.network()) {
        network_->setTimeoutInterval(timeout);
    }
    ~OTScopedTimeout() { network_->setTimeoutInterval(OTNetwork::kDefaultTimeout); }
    OTScopedTimeout(const OTScopedTimeout&) = delete;
    OTScopedTimeout& operator=(const OTScopedTimeout&) = delete;

private:
    std::shared_ptr<OTNetwork> network_;
};

}  // namespace corvane
