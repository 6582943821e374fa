#pragma once

#include <filesystem>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

namespace corvane {

// A run as one page a person reads: the timeline of the scenario's actions, of what the user saw
// and of what the server received; each dialog and banner drawn where it appeared (its HTML
// snapshot, and its PNG picture when there is one); under each event the library's decisions, a
// row per campaign with the reason in words; and the final state as tables. The page links only
// files beside it, so it works opened from disk, at phone and desktop widths alike.
class OTSimulatorReport {
public:
    static constexpr const char* kIndexName = "index.html";

    OTSimulatorReport() = delete;

    // Writes `directory`/index.html; snapshot pages and pictures the observations name are linked
    // relative to it. False when the file cannot be written.
    static bool write(const std::filesystem::path& directory, const std::vector<nlohmann::json>& observations,
                      const std::string& title);

private:
    static std::string entry(const nlohmann::json& o, const std::filesystem::path& directory,
                             const std::vector<nlohmann::json>& observations);
    static std::string decisionTable(const nlohmann::json& o);
    static std::string snapshot(const nlohmann::json& o, const std::filesystem::path& directory,
                                const std::vector<nlohmann::json>& observations);
    static std::string finalState(const nlohmann::json& state);
};

}  // namespace corvane
