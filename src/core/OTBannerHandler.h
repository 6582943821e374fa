#pragma once

#include <memory>
#include <optional>
#include <string>

namespace corvane {

class OTDecisionTrace;
class OTEvent;

// What the engine asks of the banner campaigns: download them after the dialog lists and match
// each incoming event against their trigger conditions. The banner manager answers; the facade
// installs it, so the engine itself never reaches up to the views.
class OTBannerHandler {
public:
    virtual ~OTBannerHandler() = default;
    virtual void loadBannerDefault(const std::optional<std::string>& groupIdentifier) = 0;
    virtual void loadBanner(const std::optional<std::string>& groupIdentifier) = 0;
    // Called on the event queue, with the pass's trace when it is traced.
    virtual void triggerEventMatch(const std::shared_ptr<OTEvent>& event, OTDecisionTrace* trace) = 0;
    // Banners are closed by the configuration: each banner campaign goes into the traced pass as
    // not activated.
    virtual void traceBannersClosed(OTDecisionTrace& trace) = 0;
};

}  // namespace corvane
