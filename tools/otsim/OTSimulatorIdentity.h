#pragma once

#include <cstddef>
#include <functional>
#include <nlohmann/json.hpp>
#include <optional>
#include <ostream>
#include <string>
#include <vector>

namespace corvane {

class OTHeadlessUIHost;
class OTScenarioAction;

// The host's identity actions: its push address (bytes written in hex, or a text), the user's
// WeChat identity, and mailing the library's logs. Every mail the composer is given is observed.
class OTSimulatorIdentity {
public:
    using Observe = std::function<void(nlohmann::json observation)>;
    using Error = std::function<void(const std::string& message)>;

    explicit OTSimulatorIdentity(Observe observe) : observe_(std::move(observe)) {}

    // `group` is the observed group, the default of the action's own.
    void pushToken(const OTScenarioAction& action, const std::string& group, const Error& error);
    void weChat(const OTScenarioAction& action);
    void mailLogs(const OTScenarioAction& action);
    // Looks for mails given to the composer since the last look.
    void collect(const OTHeadlessUIHost& host);
    // Prints a mail observation as text; false for other types.
    static bool print(std::ostream& out, const std::string& at, const nlohmann::json& o);
    // The bytes that pairs of hexadecimal digits write; nothing when `hex` is not such pairs.
    static std::optional<std::vector<std::uint8_t>> bytesFromHex(const std::string& hex);

private:
    Observe observe_;
    std::size_t seenMails_ = 0;
};

}  // namespace corvane
