#pragma once

#include <chrono>
#include <cstdint>
#include <filesystem>
#include <map>
#include <nlohmann/json.hpp>
#include <random>
#include <string>
#include <vector>

#include "OTDevServer.h"
#include "server/OTNetwork.h"

namespace corvane {

// The random life of a soak run, drawn from a seed: what the user and the world do next. Events
// are drawn from the campaigns' own triggers and property rules, hits and misses alike, plus
// page views and events no campaign knows; a third go to the soak's own offers ("soak_" events).
class OTSoakScenario {
public:
    enum class Kind {
        Action,  // a host action for the app
        Fault,   // the server fails the next requests to a path
        ExpireTokens,
        Restart,     // the app ends and is started again on the same files
        KillDuring,  // the app is killed while it performs `action`
    };
    struct Step {
        Kind kind = Kind::Action;
        nlohmann::json action;
        std::string path;
        OTDevServer::Fault fault;
        std::string faultName;
        std::chrono::milliseconds killAfter{0};
    };
    // What the driver knows of the app now.
    struct State {
        bool dialogOnScreen = false;
        bool networkDown = false;
        // Seconds of the local day the app's clock reads.
        std::int64_t secondOfDay = 0;
    };
    static constexpr const char* kMainPage = "HomeVC";
    // The longest an injected delay holds an answer back.
    static constexpr double kMaxDelaySeconds = 2.5;
    static constexpr const char* kGroup = "group.soak";
    // The last life ends on a quiet network, with time to send what is left.
    static constexpr double kFinalWaitSeconds = 3;
    // How long a dialog decided now may take to appear, beyond the longest delay of a campaign: the
    // fixed 0.2 s, the animation and the steps between.
    static constexpr double kDialogMarginSeconds = 0.5;
    // A report is answered within the transport's time-out, after the longest delay the soak injects.
    static constexpr double kAnswerWithinSeconds =
        std::chrono::duration<double>(OTNetwork::kDefaultTimeout).count() + kMaxDelaySeconds + 5;

    // Dialogs a user can see many times, so that the daily cap is reached day after day: one
    // limited by its count, one by click and close rules. The server serves them beside its own.
    static nlohmann::json offers();
    // The daily cap of the campaign folder's rule.json; 0 for none.
    static std::int64_t dailyCapOf(const std::filesystem::path& campaigns);
    // Campaigns limited by a plain usage count (those without click and close rules): their counts.
    static std::map<std::string, std::int64_t> campaignCountsOf(const nlohmann::json& lists);
    // The longest a dialog campaign waits between its event and its showing, in seconds.
    static double longestDelayOf(const nlohmann::json& lists);

    // `campaigns` holds the server's lists by folder ("in_app", "subscribe", "banners").
    OTSoakScenario(std::uint64_t seed, const nlohmann::json& campaigns);

    Step next(const State& state);
    // The actions that bring the app up at the start of a life.
    std::vector<nlohmann::json> preamble(double clockOffsetSeconds, bool networkDown) const;
    // The user the app has now: a profile step changes it.
    const std::string& user() const { return user_; }
    // A draw in [0, 1), for the driver's own choices.
    double chance() { return std::uniform_real_distribution<double>(0, 1)(random_); }

private:
    struct Trigger {
        std::string xwhat;
        std::vector<nlohmann::json> contexts;
    };
    void addTrigger(const nlohmann::json& event);
    nlohmann::json event();
    nlohmann::json clockMove(const State& state);
    Step fault();
    std::int64_t between(std::int64_t low, std::int64_t high) {
        return std::uniform_int_distribution<std::int64_t>(low, high)(random_);
    }
    template <typename T>
    const T& pick(const std::vector<T>& choices) {
        return choices[static_cast<std::size_t>(between(0, static_cast<std::int64_t>(choices.size()) - 1))];
    }

    std::mt19937_64 random_;
    std::vector<Trigger> triggers_;
    // Triggers of the campaigns the soak adds ("soak_..." events).
    std::vector<Trigger> offers_;
    std::vector<std::string> locations_;
    std::string user_ = "u1";
};

}  // namespace corvane
