#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>

namespace corvane {

class OTEvent;
class OTSDKManager;
class OTWindowData;
class OTWindowRecordTreeNode;

// The engine's dialog flow: a matched campaign is filled with the event's properties, checked for
// eligibility and shown after its delay; each reaction is recorded in the campaign's usage node,
// reported, followed (its link opened) and may let matching go on from the next campaign.
class OTDialogFlow {
public:
    using EventAction = std::function<void(std::int64_t type, const std::optional<std::string>& link)>;

    // The engine owns the flow and outlives it; scheduled work holds the engine weakly.
    explicit OTDialogFlow(OTSDKManager& engine) : engine_(engine) {}

    // Shows the campaign matched at `index` of the walk for `event`; matching goes on from the
    // campaign after it when it cannot show, or after a reaction that lets it.
    void prepareForPopWindowWithData(const std::shared_ptr<const OTWindowData>& data,
                                     const std::shared_ptr<OTEvent>& event, std::uint64_t index);
    void _showWindowWithData(const std::shared_ptr<const OTWindowData>& data, const EventAction& eventAction,
                             const std::function<void(bool shown)>& callback);
    // Whether matching goes on after a reaction: closes do, and taps whose link stays in the app.
    static bool _handleWindowClickCallback(std::int64_t type, const std::optional<std::string>& link);
    void syncTreeNode(const std::shared_ptr<OTWindowRecordTreeNode>& node, std::int64_t eventType);

private:
    void reactToDialogEvent(const std::shared_ptr<const OTWindowData>& data, std::int64_t type,
                            const std::optional<std::string>& link);

    OTSDKManager& engine_;
};

}  // namespace corvane
