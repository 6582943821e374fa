#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <memory>
#include <optional>
#include <ostream>
#include <string>

#include "OTSoakDriver.h"

namespace corvane {

class OTSoakChild;

// A long, seeded, random run of the app against the embedded dev server: events, users, network
// and server faults, clock moves, taps, banners, and restarts, some of them by killing the app at
// a random moment, always on the same files. Each life of the app is an otsim process of its own
// (this program again) fed a step at a time; this side keeps the server, the books and the
// invariants, and ends with the accounting as its last lines.
class OTSoak final : private OTSoakDriver {
public:
    static constexpr std::int64_t kDefaultDays = 7;
    static constexpr std::int64_t kMaxDays = 365;
    struct Options {
        std::uint64_t seed = 0;
        std::int64_t days = kDefaultDays;
        std::filesystem::path campaigns;
        // Where the app's files and the run's records go; a fresh temporary folder when absent,
        // removed after a run whose invariants held.
        std::optional<std::filesystem::path> folder;
        // The program that runs one life; this one by default.
        std::filesystem::path program = "/proc/self/exe";
        // Each step is printed as it is taken.
        bool verbose = false;
        std::size_t memoryBound = std::size_t{1} << 30;
        std::size_t diskBound = std::size_t{160} << 20;
        // A step that takes longer than this has hung.
        std::chrono::seconds stepTimeout{90};
    };

    OTSoak(Options options, std::ostream& out);
    ~OTSoak() override;

    // True when every invariant held.
    bool run();

private:
    struct Counts {
        std::size_t kills = 0;
        std::size_t peakMemory = 0;
        std::size_t peakDisk = 0;
    };

    bool setUp();
    bool startLife();
    // Ends the life: killed at once, or asked to finish and waited for.
    void endLife(OTSoakLedger::End how) override;
    // Tracks one action, then exchanges it.
    void perform(const nlohmann::json& action) override;
    void killDuring(const OTSoakScenario::Step& step) override;
    // Sends one action and reads what it caused until it is done; false when the app is gone.
    bool exchange(const nlohmann::json& action);
    void checkFiles();
    void measure();
    OTSoakLedger::Queues queuesOnDisk() const;
    void breach(const std::string& what) override;
    // Seconds since the run began.
    double seconds() const override;
    // Seconds since 1970 on the app's clock, in local time.
    double localSeconds() const;
    std::int64_t localDay() const override;
    std::int64_t secondOfDay() const override;
    void clockMoved(double advance) override;
    void printAccounting();

    Options options_;
    std::filesystem::path folder_;
    std::filesystem::path sandbox_;
    bool temporaryFolder_ = false;
    std::unique_ptr<OTSoakChild> child_;
    std::chrono::steady_clock::time_point began_;
    Counts counts_;
    std::size_t breaches_ = 0;
    std::size_t line_ = 0;
    double clockOffset_ = 0;
    double reached_ = 0;
};

}  // namespace corvane
