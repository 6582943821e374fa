#pragma once

#include <chrono>
#include <functional>
#include <nlohmann/json.hpp>
#include <ostream>
#include <string>

namespace corvane {

class OTDevServer;
class OTScenarioAction;

// Load actions: many copies of one campaign on the embedded server, and a stream of one event
// sent at a steady pace. A stream is observed as "load": how long its events took to send, and
// how far the library's event queue was behind when the last one had been sent.
class OTSimulatorLoad {
public:
    using Observe = std::function<void(nlohmann::json observation)>;
    using Error = std::function<void(const std::string& message)>;
    // Runs the host's main loop for a while, or until `done` holds.
    using Pump = std::function<void(std::chrono::milliseconds limit, const std::function<bool()>& done)>;

    OTSimulatorLoad(Observe observe, Pump pump) : observe_(std::move(observe)), pump_(std::move(pump)) {}

    // `server` is the embedded server, or nullptr when the run uses another.
    void campaigns(const OTScenarioAction& action, OTDevServer* server, const Error& error);
    void events(const OTScenarioAction& action, const std::function<void(const nlohmann::json&)>& send,
                const Error& error);
    // Prints a load observation as text; false for other types.
    static bool print(std::ostream& out, const std::string& at, const nlohmann::json& o);

private:
    Observe observe_;
    Pump pump_;
};

}  // namespace corvane
