#pragma once

#include <chrono>
#include <filesystem>
#include <functional>
#include <initializer_list>
#include <nlohmann/json.hpp>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace corvane {

// Reads every campaign file of a campaign folder (in_app, subscribe, banners, default_banners and
// rule.json) as the library reads it, and says what would make a campaign misbehave: keys the
// library does not read (with the nearest one it does), values of the wrong kind, dates that do
// not parse or close the window, rule operators and data types it does not know, operands an
// operator cannot take, sequences with an empty step, banner styles without what they draw, and
// pictures or videos the folder's media does not hold.
class OTCampaignChecker {
public:
    using TimePoint = std::chrono::system_clock::time_point;
    // The local zone's offset from UTC in force at an instant.
    using OffsetAt = std::function<std::chrono::seconds(TimePoint)>;

    enum class Severity { Warning, NeverShows };
    struct Finding {
        std::string file;  // relative to the folder
        std::string path;  // key path inside the file, e.g. preEvents[1].rule[0].function
        std::string sentence;
        Severity severity = Severity::Warning;
    };

    OTCampaignChecker(std::filesystem::path folder, TimePoint now, OffsetAt offsetAt);

    std::vector<Finding> check();
    // 0 when nothing was found, 1 when some campaign would never show, 2 for warnings only.
    static int exitStatus(const std::vector<Finding>& findings);
    // "file: path: sentence", with "never shows" or "warning" in front.
    static std::string describe(const Finding& finding);
    // The known key nearest to `key`, when one is near enough to be a slip.
    static std::optional<std::string> nearest(const std::string& key, const std::vector<std::string>& known);

private:
    enum class Expect { Text, Integer, Number, Object, List, TextOrNumber, Boolean };
    struct Field {
        const char* key;
        Expect expect;
    };
    enum class Kind { InApp, Subscribe, Banner, DefaultBanner };

    void checkFile(const std::filesystem::path& file, Kind kind);
    void checkRuleFile(const std::filesystem::path& file);
    void checkDialog(const nlohmann::json& campaign, Kind kind);
    void checkDialogWindow(const nlohmann::json& campaign);
    // "startTime" and "endTime" read as dates; one that does not parse is said, with `unparsed`
    // after the sentence.
    std::pair<std::optional<TimePoint>, std::optional<TimePoint>> window(const nlohmann::json& campaign,
                                                                         const std::string& unparsed,
                                                                         Severity severity);
    void checkTextAttribute(const nlohmann::json& attribute, const std::string& path);
    void checkBanner(const nlohmann::json& banner, bool isDefault);
    void checkCondition(const nlohmann::json& condition, const std::string& path);
    void checkRule(const nlohmann::json& rule, const std::string& path);
    void checkOperands(const nlohmann::json& rule, const std::string& path);
    // Unknown keys and values of the wrong kind; false when `value` is not an object.
    bool checkFields(const nlohmann::json& value, const std::string& path, std::initializer_list<Field> fields);
    void checkMedia(const nlohmann::json& address, const std::string& path, const char* what);
    std::optional<TimePoint> date(const std::string& text) const;
    void add(const std::string& path, std::string sentence, Severity severity = Severity::Warning);

    std::filesystem::path folder_;
    TimePoint now_;
    OffsetAt offsetAt_;
    std::string file_;
    std::vector<std::string> ids_;
    std::vector<Finding> findings_;
};

}  // namespace corvane
