#pragma once

#include <chrono>
#include <cstdint>
#include <nlohmann/json.hpp>
#include <optional>
#include <string>
#include <string_view>
#include <variant>

namespace corvane {

// One line of an otsim scenario, read and checked before anything runs: a JSON object whose
// "action" names a known action and whose fields have that action's kinds and ranges. A line that
// is not one gives the reason instead, so that the simulator reports it and goes on.
class OTScenarioAction {
public:
    static constexpr std::chrono::milliseconds kMaxDuration = std::chrono::hours(1);
    // Seconds the clock may be moved by at once.
    static constexpr double kMaxClockAdvance = 100.0 * 365 * 24 * 3600;
    // The most campaigns or events one "campaigns" or "events" action makes.
    static constexpr std::int64_t kMaxCopies = 100000;

    static std::variant<OTScenarioAction, std::string> parse(std::string_view line);

    const std::string& name() const { return name_; }
    // The line as JSON, to echo it.
    const nlohmann::json& json() const { return json_; }
    // A field's value; null when absent.
    const nlohmann::json& value(const char* key) const;
    bool has(const char* key) const { return json_.contains(key); }
    std::string text(const char* key, const std::string& fallback) const;
    std::int64_t integer(const char* key, std::int64_t fallback) const;
    bool flag(const char* key, bool fallback) const;
    // A number of seconds as a duration (checked to lie within kMaxDuration).
    std::chrono::milliseconds duration(const char* key, double fallbackSeconds) const;

private:
    std::string name_;
    nlohmann::json json_;
};

}  // namespace corvane
