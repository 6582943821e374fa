#pragma once

#include <chrono>

#include "server/OTNetwork.h"

namespace corvane {

// Shortens the shared network's time-out for one scope; the default comes back however the scope
// is left, an assertion's early return included.
class OTScopedTimeout {
public:
    explicit OTScopedTimeout(std::chrono::milliseconds timeout) { OTNetwork::network()->setTimeoutInterval(timeout); }
    ~OTScopedTimeout() { OTNetwork::network()->setTimeoutInterval(OTNetwork::kDefaultTimeout); }
    OTScopedTimeout(const OTScopedTimeout&) = delete;
    OTScopedTimeout& operator=(const OTScopedTimeout&) = delete;
};

}  // namespace corvane
