#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <memory>
#include <nlohmann/json.hpp>
#include <optional>
#include <ostream>
#include <random>
#include <string>

#include "OTSoakDriver.h"

namespace corvane {

class OTManualScheduler;
class OTSimulatedFileSystem;
class OTSimulator;
class OTSimulatorClock;
class OTVirtualClock;

// The soak's life of the app in one process, replayable from its seed: the library, the dev server
// and the host on the manual scheduler and virtual time, the network in process and the files in
// memory. Every step, fault, clock move and crash is drawn from the seed; a crash may land at any
// moment or inside any write, and the next life starts on the files as the crash left them. The
// soak's invariants and books are checked after every step; the transcript is the same, byte for
// byte, for the same seed and days.
class OTSimulation final : private OTSoakDriver {
public:
    static constexpr std::int64_t kDefaultDays = 30;
    static constexpr std::int64_t kMaxDays = 3650;
    struct Options {
        std::uint64_t seed = 0;
        std::int64_t days = kDefaultDays;
        std::filesystem::path campaigns;
        // Stops after this step (then ends as a whole run ends), as a replay of a breach does.
        std::optional<std::size_t> until;
        // The transcript shows every observation, not only the steps and what breaks.
        bool verbose = false;
        std::size_t memoryBound = std::size_t{1} << 30;
        std::size_t diskBound = std::size_t{160} << 20;
    };
    struct Counts {
        std::size_t steps = 0;
        std::size_t lives = 0;
        std::size_t dialogs = 0;
        std::size_t crashes = 0;
        std::size_t crashesInWrites = 0;
        std::size_t breaches = 0;
        double days = 0;
        std::size_t peakDisk = 0;
    };

    OTSimulation(Options options, std::ostream& transcript);
    ~OTSimulation() override;

    // True when every invariant held.
    bool run();
    Counts counts() const;
    OTSoakLedger::Totals totals() const;
    // One line of JSON with the counts and the books.
    nlohmann::json summary() const;

private:
    bool setUp();
    void startLife();
    // Ends the life: the process crashed (or was killed), ended, or ended after a quiet wait.
    void endLife(OTSoakLedger::End how) override;
    void perform(const nlohmann::json& action) override { perform(action, std::nullopt); }
    void perform(const nlohmann::json& action, std::optional<std::chrono::milliseconds> settle);
    // The app is killed a moment into the step's action (or inside a write on the way).
    void killDuring(const OTSoakScenario::Step& step) override;
    // Counts the crash that ends this life and says where it struck.
    void noteCrash();
    void takeObservations();
    void checkFiles();
    OTSoakLedger::Queues queuesOnDisk() const;
    void breach(const std::string& what) override;
    double seconds() const override;
    std::int64_t localDay() const override;
    std::int64_t secondOfDay() const override;
    std::int64_t between(std::int64_t low, std::int64_t high) {
        return std::uniform_int_distribution<std::int64_t>(low, high)(random_);
    }

    Options options_;
    std::filesystem::path folder_;
    std::shared_ptr<OTSimulatedFileSystem> files_;
    std::shared_ptr<OTVirtualClock> time_;
    std::shared_ptr<OTSimulatorClock> clock_;
    std::shared_ptr<OTManualScheduler> scheduler_;
    std::unique_ptr<OTSimulator> app_;
    // The app's own transcript, kept by nobody: the simulation keeps its own.
    std::unique_ptr<std::ostream> appOutput_;
    // The simulation's own draws (kill points, network latency seeds), apart from the scenario's.
    std::mt19937_64 random_;
    std::chrono::system_clock::time_point began_;
    Counts counts_;
    std::size_t line_ = 0;
    bool crashed_ = false;
    // A crash inside a coming write is planned.
    bool armed_ = false;
};

}  // namespace corvane
