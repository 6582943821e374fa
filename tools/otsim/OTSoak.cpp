#include "OTSoak.h"

#include <signal.h>
#include <unistd.h>

#include <algorithm>
#include <cmath>
#include <iomanip>
#include <sstream>

#include "OTDevServer.h"
#include "OTSoakChild.h"
#include "model/OTEvent.h"
#include "platform/linux/OTSystemClock.h"
#include "server/OTEventReporter.h"
#include "services/OTDataArchiver.h"

namespace corvane {

namespace fs = std::filesystem;
using json = nlohmann::json;

namespace {
constexpr double kDaySeconds = 24 * 3600;
// Each step runs the app's main loop this long; what it started goes on into the next steps.
constexpr int kSettleMilliseconds = 40;

std::string mebibytes(std::size_t bytes) {
    std::ostringstream text;
    text << std::fixed << std::setprecision(1) << static_cast<double>(bytes) / (1 << 20) << " MiB";
    return text.str();
}
}  // namespace

OTSoak::OTSoak(Options options, std::ostream& out) : OTSoakDriver(options.seed, out), options_(std::move(options)) {}

OTSoak::~OTSoak() {
    child_.reset();
    if (server_) server_->stop();
}

bool OTSoak::setUp() {
    std::error_code ec;
    if (options_.folder) {
        folder_ = *options_.folder;
    } else {
        folder_ = fs::temp_directory_path(ec) /
                  ("otsoak-" + std::to_string(options_.seed) + "-" + std::to_string(::getpid()));
        temporaryFolder_ = true;
    }
    sandbox_ = folder_ / "app";
    fs::create_directories(sandbox_, ec);
    if (ec) {
        out_ << "soak: cannot make " << sandbox_.string() << ": " << ec.message() << "\n";
        return false;
    }
    prepare(options_.campaigns);
    if (!server_->start()) {
        out_ << "soak: the dev server cannot start\n";
        return false;
    }
    return true;
}

bool OTSoak::run() {
    // A life that dies while being written to must not take this process with it.
    ::signal(SIGPIPE, SIG_IGN);
    began_ = std::chrono::steady_clock::now();
    if (!setUp()) return false;
    out_ << "soak: seed " << options_.seed << ", " << options_.days << " simulated days, files in " << folder_.string()
         << std::endl;
    const double goal = static_cast<double>(options_.days) * kDaySeconds;
    while (breaches_ == 0 && reached_ < goal) {
        if ((!child_ || !child_->running()) && !startLife()) break;
        const auto step = scenario_->next(state());
        ++tally_.steps;
        if (options_.verbose) out_ << "step " << tally_.steps << ": " << describe(step) << std::endl;
        take(step);
        takeServerRequests(options_.verbose);
    }
    if (breaches_ == 0 && child_ && child_->running()) {
        server_->clearFaults();
        if (networkDown_) perform({{"action", "network"}, {"state", "up"}});
        perform({{"action", "wait"}, {"seconds", OTSoakScenario::kFinalWaitSeconds}});
        endLife(OTSoakLedger::End::Drained);
    }
    if (breaches_ == 0) {
        for (const auto& lost : ledger_->lostReports()) {
            out_ << "breach at step " << lost.step << " (seed " << options_.seed << "): " << lost.what << "\n";
            ++breaches_;
        }
    }
    printAccounting();
    child_.reset();
    server_->stop();
    if (breaches_ == 0 && temporaryFolder_) {
        std::error_code ec;
        fs::remove_all(folder_, ec);
    } else if (breaches_ > 0) {
        out_ << "soak: the run's files are kept in " << folder_.string() << "\n";
    }
    return breaches_ == 0;
}

bool OTSoak::startLife() {
    ledger_->lifeBegan(tally_.steps, queuesOnDisk());
    child_ = std::make_unique<OTSoakChild>();
    const std::vector<std::string> arguments{"--server",
                                             server_->baseURL(),
                                             "--sandbox",
                                             sandbox_.string(),
                                             "--campaigns",
                                             options_.campaigns.string(),
                                             "--json",
                                             "--steps",
                                             "--reports",
                                             "--console",
                                             "--settle",
                                             std::to_string(kSettleMilliseconds),
                                             "-"};
    if (!child_->spawn(options_.program, arguments, folder_ / "stderr.log")) {
        breach("cannot start " + options_.program.string());
        return false;
    }
    line_ = 0;
    dialogOnScreen_ = false;
    // The preamble puts back the clock, user and network this run has reached; it changes none.
    for (const auto& action : scenario_->preamble(clockOffset_, networkDown_)) {
        if (!exchange(action)) return false;
    }
    return true;
}

void OTSoak::endLife(OTSoakLedger::End how) {
    const bool kill = how == OTSoakLedger::End::Killed;
    if (!child_ || !child_->running()) return;
    measure();
    OTSoakChild::End end;
    if (kill) {
        child_->kill();
        end = child_->wait();
        if (end.exited || end.status != SIGKILL) breach("the app " + end.describe() + " before it was killed");
        ++counts_.kills;
    } else {
        child_->closeInput();
        const auto read = child_->readUntil([](const json&) { return false; }, options_.stepTimeout,
                                            [this](const json& o) { observed(o, options_.verbose); });
        if (read == OTSoakChild::Read::TimedOut) {
            breach("the app did not finish within " + std::to_string(options_.stepTimeout.count()) + " s");
            child_->kill();
        }
        end = child_->wait();
        if (read != OTSoakChild::Read::TimedOut && (!end.exited || end.status != 0)) {
            breach("the app " + end.describe());
        }
    }
    if (how != OTSoakLedger::End::Drained) ++tally_.restarts;
    dialogOnScreen_ = false;
    takeServerRequests(options_.verbose);
    checkFiles();
    ledger_->lifeEnded(tally_.steps, seconds(), how, queuesOnDisk());
}

void OTSoak::perform(const json& action) {
    track(action);
    exchange(action);
}

void OTSoak::killDuring(const OTSoakScenario::Step& step) {
    track(step.action);
    if (child_->send(step.action.dump())) {
        ++line_;
        child_->readUntil([](const json&) { return false; }, step.killAfter,
                          [this](const json& o) { observed(o, options_.verbose); });
    }
    endLife(OTSoakLedger::End::Killed);
}

void OTSoak::clockMoved(double advance) {
    clockOffset_ += advance;
    reached_ = std::max(reached_, clockOffset_);
}

bool OTSoak::exchange(const json& action) {
    if (!child_->send(action.dump())) {
        // Gone, or no longer reading: how it ended says which.
        child_->kill();
        breach("the app " + child_->wait().describe() + " on " + action.dump());
        return false;
    }
    const auto line = ++line_;
    const auto read = child_->readUntil(
        [line](const json& o) { return o.value("type", "") == "step" && o.value("line", std::size_t{0}) == line; },
        options_.stepTimeout, [this](const json& o) { observed(o, options_.verbose); });
    if (read == OTSoakChild::Read::Found) {
        measure();
        return true;
    }
    if (read == OTSoakChild::Read::TimedOut) {
        breach("the app hung on " + action.dump());
        child_->kill();
    }
    const auto end = child_->wait();
    if (read == OTSoakChild::Read::Ended) breach("the app " + end.describe() + " on " + action.dump());
    return false;
}

void OTSoak::checkFiles() {
    for (const auto& file : OTSoakLedger::unreadableFiles(sandbox_)) {
        breach("a file does not read back whole: " + fs::relative(file, sandbox_).string());
    }
}

void OTSoak::measure() {
    counts_.peakMemory = std::max(counts_.peakMemory, child_ ? child_->peakMemoryBytes() : 0);
    std::size_t disk = 0;
    std::error_code ec;
    for (fs::recursive_directory_iterator it(sandbox_, ec), end; !ec && it != end; it.increment(ec)) {
        if (it->is_regular_file(ec)) disk += static_cast<std::size_t>(it->file_size(ec));
    }
    counts_.peakDisk = std::max(counts_.peakDisk, disk);
    if (counts_.peakMemory > options_.memoryBound && breaches_ == 0) {
        breach("the app's memory reached " + mebibytes(counts_.peakMemory) + ", over the bound of " +
               mebibytes(options_.memoryBound));
    }
    if (counts_.peakDisk > options_.diskBound && breaches_ == 0) {
        breach("the app's files reached " + mebibytes(counts_.peakDisk) + ", over the bound of " +
               mebibytes(options_.diskBound));
    }
}

OTSoakLedger::Queues OTSoak::queuesOnDisk() const {
    OTSoakLedger::Queues queues;
    std::error_code ec;
    for (fs::recursive_directory_iterator it(sandbox_, ec), end; !ec && it != end; it.increment(ec)) {
        const auto name = it->path().filename().string();
        const bool window = name == OTEventReporter::kOfflineWindowEventsFileName;
        if (!window && name != OTEventReporter::kOfflinePushEventsFileName) continue;
        auto& reports = queues[window ? "window" : "push"];
        for (const auto& event :
             OTDataArchiver::getObjectsForPath<OTEvent>(it->path()).value_or(std::vector<std::shared_ptr<OTEvent>>{})) {
            if (event) reports.push_back(event->toDictionary());
        }
    }
    return queues;
}

void OTSoak::breach(const std::string& what) {
    ++breaches_;
    out_ << "breach at step " << tally_.steps << " (seed " << options_.seed << "): " << what << std::endl;
}

double OTSoak::seconds() const {
    return std::chrono::duration<double>(std::chrono::steady_clock::now() - began_).count();
}

double OTSoak::localSeconds() const {
    const auto now = std::chrono::system_clock::now() + std::chrono::duration_cast<std::chrono::system_clock::duration>(
                                                            std::chrono::duration<double>(clockOffset_));
    return std::chrono::duration<double>(now.time_since_epoch()).count() +
           static_cast<double>(OTSystemClock().utcOffset(now).count());
}

std::int64_t OTSoak::localDay() const { return static_cast<std::int64_t>(std::floor(localSeconds() / kDaySeconds)); }

std::int64_t OTSoak::secondOfDay() const {
    const auto local = localSeconds();
    return static_cast<std::int64_t>(local - std::floor(local / kDaySeconds) * kDaySeconds);
}

void OTSoak::printAccounting() {
    const auto totals = ledger_->totals();
    const auto seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - began_).count();
    out_ << "soak accounting (seed " << options_.seed << "):\n"
         << "  simulated days        " << std::fixed << std::setprecision(1) << reached_ / kDaySeconds << " in "
         << seconds << " s\n"
         << "  steps                 " << tally_.steps << "\n"
         << "  events                " << tally_.events << "\n"
         << "  dialogs shown         " << tally_.dialogs << " (" << tally_.cappedDialogs
         << " held back by the daily cap)\n"
         << "  clock moves           " << tally_.clockMoves << "\n"
         << "  faults injected       " << tally_.faults << "\n"
         << "  restarts              " << tally_.restarts << " (" << counts_.kills << " killed)\n"
         << "  reports made          " << totals.made << "\n"
         << "    sent                " << totals.sent << "\n"
         << "    refused             " << totals.refused << "\n"
         << "    queued              " << totals.queued << "\n"
         << "    dropped, queue full " << totals.droppedByBound << "\n"
         << "    lost by design      " << totals.lostByOverwrite + totals.inFlightAtEnd << " ("
         << totals.lostByOverwrite << " in an overwritten queue file, " << totals.inFlightAtEnd
         << " in memory when the app ended)\n"
         << "    lost otherwise      " << totals.lostOtherwise << "\n"
         << "    duplicates          " << totals.duplicates << "\n"
         << "  peak memory           " << mebibytes(counts_.peakMemory) << " (bound " << mebibytes(options_.memoryBound)
         << ")\n"
         << "  peak disk             " << mebibytes(counts_.peakDisk) << " (bound " << mebibytes(options_.diskBound)
         << ")\n"
         << "  invariants            " << (breaches_ == 0 ? "held" : std::to_string(breaches_) + " breached") << "\n";
    out_.flush();
}

}  // namespace corvane
