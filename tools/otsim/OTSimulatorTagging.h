#pragma once

#include <chrono>
#include <cstddef>
#include <filesystem>
#include <functional>
#include <memory>
#include <nlohmann/json.hpp>
#include <optional>
#include <ostream>
#include <string>

#include "foundation/OTGeometry.h"

namespace corvane {

class OTScenarioAction;
class OTTagDetailController;

// The developer's page tagging: the tag ball switched on and off, dragged and tapped, and the
// naming screen filled in and submitted. The ball is observed as "tagBall" (its origin), each
// result toast as "toast"; the naming screen and each toast are written as HTML when asked.
class OTSimulatorTagging {
public:
    using Observe = std::function<void(nlohmann::json observation)>;
    using Error = std::function<void(const std::string& message)>;
    // Runs the main loop for at most the duration, until the condition holds.
    using Pump = std::function<void(std::chrono::milliseconds, const std::function<bool()>&)>;

    OTSimulatorTagging(Observe observe, Pump pump, std::optional<std::filesystem::path> htmlDirectory, OTSize screen);

    void pageTag(const OTScenarioAction& action);
    void dragTagBall(const OTScenarioAction& action, const Error& error);
    void tapTagBall(const Error& error);
    void tagAlias(const OTScenarioAction& action, const Error& error);
    // Looks for a naming screen that appeared and toasts shown since the last look.
    void collect();
    // Prints a tag ball or toast observation as text; false for other types.
    static bool print(std::ostream& out, const std::string& at, const nlohmann::json& o);

private:
    void observeBall();
    void writeSnapshot(const std::string& kind);

    Observe observe_;
    Pump pump_;
    std::optional<std::filesystem::path> htmlDirectory_;
    OTSize screen_;
    std::weak_ptr<OTTagDetailController> screenSeen_;
    std::size_t toastsSeen_ = 0;
    std::size_t snapshots_ = 0;
};

}  // namespace corvane
