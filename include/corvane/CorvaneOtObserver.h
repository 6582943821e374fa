#pragma once

#include <nlohmann/json_fwd.hpp>
#include <string>

#include "corvane/corvane_export.h"

namespace corvane {

/// What the host's analytics SDK calls on the object that CorvaneOtManager::getObserverListener
/// returns: every recorded event, and changes of the user profile.
class CORVANE_EXPORT CorvaneOtObserver {
public:
    virtual ~CorvaneOtObserver() = default;

    /// One analytics event: a dictionary with "source" (0 CorvaneSDK, 1 Sensors Analytics),
    /// "appid", "xwhat", "xwho", "xcontext". Returns at once; the event is handled on the library's
    /// own queue.
    virtual void onEventDataReceived(const nlohmann::json& event) = 0;
    /// Profile values: "xwho" (the user id) and "calibration_time" (the server time offset).
    virtual void onUserProfile(const nlohmann::json& profile) = 0;
    /// One profile value; only "xwho" is taken on this path.
    virtual void onUserProfile(const std::string& key, const nlohmann::json& value) = 0;
};

}  // namespace corvane
