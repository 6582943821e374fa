#pragma once

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <map>
#include <nlohmann/json.hpp>
#include <set>
#include <string>
#include <vector>

namespace corvane {

// The books of a soak run: every usage report the app made, across all its lives, and where each
// ended up; and the dialogs shown, against the daily cap and each campaign's count. A report is
// known by its dictionary, which is the same whether it is made, queued on disk or received by
// the server. It is accounted for when the server received it (sent) or refused it, when it is
// still in a queue file at the end, when a full queue dropped it, when an earlier life's queue file
// holding it was overwritten before that life flushed it, or when the life ended with it in memory:
// made or read back and still waiting for its answer (for less than `answerWithin`), or lost in
// transport and not yet queued when the app was killed. Anything else is lost.
class OTSoakLedger {
public:
    // Reports by queue ("window", "push"), as a queue file holds them.
    using Queues = std::map<std::string, std::vector<nlohmann::json>>;
    struct Breach {
        std::size_t step = 0;
        std::string what;
    };
    struct Totals {
        std::size_t made = 0;
        std::size_t sent = 0;
        std::size_t refused = 0;
        std::size_t queued = 0;
        std::size_t droppedByBound = 0;
        std::size_t lostByOverwrite = 0;
        std::size_t inFlightAtEnd = 0;
        std::size_t lostOtherwise = 0;
        // Requests that carried a report the server had already received.
        std::size_t duplicates = 0;
    };

    // How a life ended: killed, ended at once, or ended after a quiet wait in which every report
    // had time to be answered.
    enum class End { Killed, Ended, Drained };

    // `dailyCap` 0 sets no cap; `campaignCounts` gives, for campaigns limited by a plain usage
    // count, the most showings per user; `answerWithin` is the longest a report may wait for its
    // answer, in seconds.
    OTSoakLedger(std::int64_t dailyCap, std::map<std::string, std::int64_t> campaignCounts, double answerWithin);

    void lifeBegan(std::size_t step, const Queues& onDisk);
    // A "report" observation of the running app, at `now` seconds.
    void reportObserved(std::size_t step, double now, const nlohmann::json& observation);
    void serverReceived(const nlohmann::json& report, bool refused);
    // A dialog shown on calendar day `day` of the cap's `period` (a new period starts where the
    // app rightly counts afresh: the clock moved back, or the user changed) for user `user`
    // (a new number for each change of user). Gives the limits it breaks.
    std::vector<std::string> dialogShown(const std::string& campaign, std::int64_t period, std::int64_t day,
                                         std::int64_t user);
    void lifeEnded(std::size_t step, double now, End end, const Queues& onDisk);
    // The reports accounted for in no way, by the step where each was first seen; meaningful once
    // the last life has ended.
    std::vector<Breach> lostReports() const;
    Totals totals() const;

    // The files under `folder` whose kind the app reads back and that do not read back whole.
    static std::vector<std::filesystem::path> unreadableFiles(const std::filesystem::path& folder);

private:
    struct Report {
        std::size_t firstStep = 0;
        std::string label;
        bool sent = false;
        bool refused = false;
        std::size_t received = 0;
        bool dropped = false;
        bool overwritten = false;
        bool inFlight = false;
        bool onDisk = false;
    };
    // A report of the life under way, from when it was made or read back.
    struct Active {
        double since = 0;
        bool answered = false;  // sent, refused, or queued on disk
        bool failed = false;    // lost in transport
    };
    Report& note(std::size_t step, const nlohmann::json& report);
    static std::string keyOf(const nlohmann::json& report);

    std::int64_t dailyCap_;
    std::map<std::string, std::int64_t> campaignCounts_;
    double answerWithin_;
    std::map<std::string, Report> reports_;
    std::map<std::pair<std::int64_t, std::int64_t>, std::int64_t> shownPerDay_;
    std::map<std::pair<std::int64_t, std::string>, std::int64_t> shownPerUser_;
    // The life under way.
    Queues atStart_;
    std::set<std::string> loaded_;
    std::set<std::string> overwrote_;
    std::map<std::string, Active> active_;
    std::size_t requests_ = 0;
};

}  // namespace corvane
