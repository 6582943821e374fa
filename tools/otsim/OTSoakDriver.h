#pragma once

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <memory>
#include <nlohmann/json.hpp>
#include <ostream>
#include <string>

#include "OTSoakLedger.h"
#include "OTSoakScenario.h"

namespace corvane {

class OTDevServer;

// What the soak (real processes) and the simulation (one process, virtual time) share: the dev
// server with the soak's offers, the scenario drawn from the seed, the books, what the driver knows
// of the app (user, network, dialog on screen, the cap's period), and how a drawn step is taken
// and what the app tells is booked. Each says how an action reaches its app, how a life ends and
// what the time is.
class OTSoakDriver {
public:
    virtual ~OTSoakDriver();
    OTSoakDriver(const OTSoakDriver&) = delete;
    OTSoakDriver& operator=(const OTSoakDriver&) = delete;

protected:
    struct Tally {
        std::size_t steps = 0;
        std::size_t events = 0;
        std::size_t faults = 0;
        std::size_t clockMoves = 0;
        std::size_t dialogs = 0;
        std::size_t cappedDialogs = 0;
        std::size_t restarts = 0;
        std::size_t actionErrors = 0;
    };

    OTSoakDriver(std::uint64_t seed, std::ostream& out);

    // The server (not yet listening) with the soak's offers, the scenario and the books.
    void prepare(const std::filesystem::path& campaigns);
    // Takes one drawn step.
    void take(const OTSoakScenario::Step& step);
    // The app's state as the scenario draws from it.
    OTSoakScenario::State state() const { return {dialogOnScreen_, networkDown_, secondOfDay()}; }
    // What an action changes of the driver's knowledge: the user, the network, the cap's period.
    void track(const nlohmann::json& action);
    // Books what the app told; `verbose` prints reports and dialogs as they come.
    void observed(const nlohmann::json& observation, bool verbose);
    void takeServerRequests(bool verbose);
    // A step's line in a transcript.
    static std::string describe(const OTSoakScenario::Step& step);

    // Sends an action to the app and takes what it caused.
    virtual void perform(const nlohmann::json& action) = 0;
    virtual void endLife(OTSoakLedger::End how) = 0;
    virtual void killDuring(const OTSoakScenario::Step& step) = 0;
    virtual void breach(const std::string& what) = 0;
    // Seconds of the run (on the scheduler's time), and the app's calendar day and second of it.
    virtual double seconds() const = 0;
    virtual std::int64_t localDay() const = 0;
    virtual std::int64_t secondOfDay() const = 0;
    virtual void clockMoved(double /*advance*/) {}

    const std::uint64_t seed_;
    std::ostream& out_;
    std::unique_ptr<OTDevServer> server_;
    std::unique_ptr<OTSoakScenario> scenario_;
    std::unique_ptr<OTSoakLedger> ledger_;
    Tally tally_;
    bool networkDown_ = false;
    bool dialogOnScreen_ = false;
    // A new period starts where the app rightly counts its dialogs afresh.
    std::int64_t period_ = 0;
    std::int64_t userEpoch_ = 0;
    // How long a dialog decided now may take to appear, and when the last action that may have
    // decided one was sent.
    double dialogSeconds_ = 0;
    double lastActionAt_ = 0;
    std::string user_;

private:
    // A change of user or a clock move: the app counts later dialogs for another user or day.
    bool changesWhatDialogsCount(const nlohmann::json& action) const;
};

}  // namespace corvane
