#include "OTSimulation.h"

#include <sys/resource.h>
#include <unistd.h>

#include <algorithm>
#include <cmath>

#include "OTDevServer.h"
#include "OTSimulatedTransport.h"
#include "OTSimulator.h"
#include "OTSimulatorClock.h"
#include "foundation/OTFiles.h"
#include "foundation/OTPropertyList.h"
#include "model/OTEvent.h"
#include "platform/OTRandomSource.h"
#include "platform/deterministic/OTManualReachabilitySource.h"
#include "platform/deterministic/OTManualScheduler.h"
#include "platform/deterministic/OTSimulatedFileSystem.h"
#include "platform/deterministic/OTVirtualClock.h"
#include "platform/linux/OTFileConsole.h"
#include "server/OTEventReporter.h"
#include "services/OTDataArchiver.h"

namespace corvane {

namespace fs = std::filesystem;
using json = nlohmann::json;
using namespace std::chrono_literals;

namespace {
constexpr double kDaySeconds = 24 * 3600;
// Each step lets the app run this long in virtual time; what it started goes on into later steps.
constexpr auto kSettle = 150ms;
// The app's clock starts here, in a UTC+8 zone.
constexpr auto kZone = std::chrono::hours(8);
// The chance, in percent, that a step sets the process to die inside one of its next writes.
constexpr std::int64_t kArmPercent = 4;

OTDeviceInfo simulatedDevice() {
    OTDeviceInfo device;
    device.systemVersion = "17.5";
    device.machine = "iPhone15,2";
    device.bundleIdentifier = "com.corvane.otsim";
    device.bundleShortVersion = "1.0.0";
    device.identifierForVendor = "5E1D0000-0000-4000-8000-000000000001";
    return device;
}

std::size_t peakMemoryBytes() {
    rusage usage{};
    ::getrusage(RUSAGE_SELF, &usage);
    return static_cast<std::size_t>(usage.ru_maxrss) * 1024;
}

// A stream that keeps nothing.
struct NullStream final : std::ostream {
    NullStream() : std::ostream(nullptr) {}
};
}  // namespace

OTSimulation::OTSimulation(Options options, std::ostream& transcript)
    : OTSoakDriver(options.seed, transcript), options_(std::move(options)), random_(options_.seed ^ 0x5EEDu) {}

OTSimulation::~OTSimulation() {
    if (app_) app_->abandon();
    app_.reset();
    if (!folder_.empty()) {
        std::error_code ec;
        fs::remove_all(folder_, ec);
    }
}

bool OTSimulation::setUp() {
    std::error_code ec;
    folder_ = fs::temp_directory_path(ec) /
              ("otsim-simulate-" + std::to_string(options_.seed) + "-" + std::to_string(::getpid()));
    fs::create_directories(folder_, ec);
    if (ec) {
        out_ << "simulate: cannot make " << folder_.string() << ": " << ec.message() << "\n";
        folder_.clear();
        return false;
    }
    appOutput_ = std::make_unique<NullStream>();
    prepare(options_.campaigns);
    files_ = std::make_shared<OTSimulatedFileSystem>();
    // The process stops inside the write: nothing after it runs, is sent or is seen.
    files_->setCrashListener([this] {
        crashed_ = true;
        if (scheduler_) scheduler_->halt();
    });
    time_ = std::make_shared<OTVirtualClock>(OTVirtualClock::defaultStart(), kZone);
    clock_ = std::make_shared<OTSimulatorClock>(time_);
    began_ = time_->now();
    return true;
}

bool OTSimulation::run() {
    if (!setUp()) return false;
    out_ << "simulate: seed " << options_.seed << ", " << options_.days << " simulated days\n";
    const double goal = static_cast<double>(options_.days) * kDaySeconds;
    while (counts_.breaches == 0 && counts_.days * kDaySeconds < goal) {
        if (!app_) startLife();
        if (options_.until && tally_.steps >= *options_.until) break;
        const auto step = scenario_->next(state());
        ++tally_.steps;
        out_ << "step " << tally_.steps << ": " << describe(step) << "\n";
        // Now and then the process is set to die inside one of its next writes, at any stage of it.
        if (!armed_ && between(0, 99) < kArmPercent) {
            armed_ = true;
            files_->planCrash(files_->writePoints() + static_cast<std::uint64_t>(between(1, 8)),
                              static_cast<OTSimulatedFileSystem::Stage>(between(0, 2)));
        }
        take(step);
        if (app_ && crashed_) {
            noteCrash();
            endLife(OTSoakLedger::End::Killed);
        }
        takeServerRequests(options_.verbose);
        checkFiles();
        counts_.days =
            std::max(counts_.days, std::chrono::duration<double>(clock_->now() - began_).count() / kDaySeconds);
    }
    // However it stopped, the last life ends on a quiet network, and then every report must be
    // accounted for.
    if (counts_.breaches == 0 && app_) {
        files_->disarm();
        server_->clearFaults();
        if (networkDown_) perform({{"action", "network"}, {"state", "up"}});
        perform({{"action", "wait"}, {"seconds", OTSoakScenario::kFinalWaitSeconds}});
        endLife(OTSoakLedger::End::Drained);
        for (const auto& lost : ledger_->lostReports()) {
            breach(lost.what + " (first seen at step " + std::to_string(lost.step) + ")");
        }
    }
    out_ << summary().dump() << "\n";
    out_.flush();
    return counts_.breaches == 0;
}

void OTSimulation::startLife() {
    files_->restart();
    crashed_ = false;
    armed_ = false;
    ++counts_.lives;
    scheduler_ = std::make_shared<OTManualScheduler>(time_);
    OTSimulator::Options::World world;
    world.parts.clock = clock_;
    world.parts.scheduler = scheduler_;
    world.parts.sandboxRoot = folder_ / "app";
    world.parts.device = simulatedDevice();
    world.parts.console = std::make_shared<OTFileConsole>(fs::path("/dev/null"));
    world.parts.random = std::make_shared<OTRandomSource>(static_cast<std::uint32_t>(between(0, 0xFFFFFFFF)));
    world.reachability = std::make_shared<OTManualReachabilitySource>();
    world.parts.reachability = world.reachability;
    world.parts.files = files_;
    world.serverURL = server_->baseURL();
    world.parts.http = std::make_shared<OTSimulatedTransport>(
        *server_, world.serverURL, scheduler_->queue("otsim.http"), static_cast<std::uint64_t>(between(0, INT64_MAX)));
    world.server = server_.get();
    world.scheduler = scheduler_;
    world.clock = clock_;
    world.crashed = [this] { return crashed_; };
    OTSimulator::Options options;
    options.campaigns = options_.campaigns;
    options.reports = true;
    options.settle = kSettle;
    options.world = std::move(world);
    app_ = std::make_unique<OTSimulator>(std::move(options), *appOutput_);
    app_->begin();
    // The environment has replayed any journal: a batch cut short by the crash landed whole or not
    // at all.
    if (const auto half = files_->halfLandedBatch()) breach("a batch of changes landed in part: " + *half);
    ledger_->lifeBegan(tally_.steps, queuesOnDisk());
    dialogOnScreen_ = false;
    line_ = 0;
    // The clock and the user carry over; the network's state is put back.
    for (const auto& action : scenario_->preamble(0, networkDown_)) perform(action);
}

void OTSimulation::endLife(OTSoakLedger::End how) {
    if (!app_) return;
    if (how != OTSoakLedger::End::Killed) perform({{"action", "wait"}, {"seconds", 0}});
    // A crash while the app finished its work is a kill all the same.
    if (crashed_ && how != OTSoakLedger::End::Killed) {
        noteCrash();
        how = OTSoakLedger::End::Killed;
    }
    takeServerRequests(options_.verbose);
    const auto queues = queuesOnDisk();
    app_->abandon();
    app_.reset();
    scheduler_.reset();
    if (how != OTSoakLedger::End::Drained) ++tally_.restarts;
    dialogOnScreen_ = false;
    checkFiles();
    ledger_->lifeEnded(tally_.steps, seconds(), how, queues);
}

void OTSimulation::perform(const json& action, std::optional<std::chrono::milliseconds> settle) {
    track(action);
    app_->feed(++line_, action.dump(), settle);
    takeObservations();
}

void OTSimulation::killDuring(const OTSoakScenario::Step& step) {
    perform(step.action, step.killAfter);
    crashed_ = true;
    noteCrash();
    endLife(OTSoakLedger::End::Killed);
}

void OTSimulation::noteCrash() {
    ++counts_.crashes;
    const auto inWrite = files_->crashed() ? files_->lastCrash() : std::nullopt;
    if (!inWrite) {
        out_ << "  killed\n";
        return;
    }
    ++counts_.crashesInWrites;
    out_ << "  crashed writing " << fs::path(inWrite->path).filename().string() << " ("
         << OTSimulatedFileSystem::stageName(inWrite->stage) << ")\n";
}

void OTSimulation::takeObservations() {
    if (!app_) return;
    for (const auto& observation : app_->takeObservations()) {
        if (options_.verbose && observation.value("type", "") != "action") out_ << "  " << observation.dump() << "\n";
        // Without every observation, the dialogs still show in the transcript.
        observed(observation, !options_.verbose && observation.value("type", "") == "dialog");
    }
}

void OTSimulation::checkFiles() {
    for (const auto& path : files_->takeChanged()) {
        const fs::path file(path);
        if (file.extension() != ".plist" || OTFiles::isTemporaryName(file.filename().string())) continue;
        const auto bytes = files_->readFile(file);
        if (bytes && !OTPropertyList::fromBinary(*bytes)) {
            breach("a file does not read back whole: " + fs::relative(file, folder_ / "app").string());
        }
    }
    counts_.peakDisk = std::max(counts_.peakDisk, files_->totalBytes());
    if (counts_.peakDisk > options_.diskBound)
        breach("the app's files reached " + std::to_string(counts_.peakDisk) + " bytes");
    if (const auto memory = peakMemoryBytes(); memory > options_.memoryBound) {
        breach("the process's memory reached " + std::to_string(memory) + " bytes");
    }
}

OTSoakLedger::Queues OTSimulation::queuesOnDisk() const {
    OTSoakLedger::Queues queues;
    for (const auto& [path, content] : files_->snapshot()) {
        const auto name = fs::path(path).filename().string();
        const bool window = name == OTEventReporter::kOfflineWindowEventsFileName;
        if (!window && name != OTEventReporter::kOfflinePushEventsFileName) continue;
        auto& reports = queues[window ? "window" : "push"];
        for (const auto& event :
             OTDataArchiver::getObjectsForPath<OTEvent>(path).value_or(std::vector<std::shared_ptr<OTEvent>>{})) {
            if (event) reports.push_back(event->toDictionary());
        }
    }
    return queues;
}

void OTSimulation::breach(const std::string& what) {
    out_ << "breach at step " << tally_.steps << " (seed " << options_.seed << "): " << what << "\n";
    // The first breach ends the run; its replay stops right after that step.
    if (counts_.breaches++ == 0) {
        out_ << "replay: otsim --simulate " << options_.seed << " --days " << options_.days << " --until "
             << tally_.steps << " --verbose\n";
    }
}

double OTSimulation::seconds() const { return std::chrono::duration<double>(time_->now() - began_).count(); }

std::int64_t OTSimulation::localDay() const {
    const auto now = clock_->now();
    const double local = std::chrono::duration<double>(now.time_since_epoch()).count() +
                         static_cast<double>(clock_->utcOffset(now).count());
    return static_cast<std::int64_t>(std::floor(local / kDaySeconds));
}

std::int64_t OTSimulation::secondOfDay() const {
    const auto now = clock_->now();
    const double local = std::chrono::duration<double>(now.time_since_epoch()).count() +
                         static_cast<double>(clock_->utcOffset(now).count());
    return static_cast<std::int64_t>(local - std::floor(local / kDaySeconds) * kDaySeconds);
}

OTSoakLedger::Totals OTSimulation::totals() const { return ledger_ ? ledger_->totals() : OTSoakLedger::Totals{}; }

OTSimulation::Counts OTSimulation::counts() const {
    auto counts = counts_;
    counts.steps = tally_.steps;
    counts.dialogs = tally_.dialogs;
    return counts;
}

json OTSimulation::summary() const {
    const auto books = totals();
    return {{"seed", options_.seed},
            {"days", std::round(counts_.days * 10) / 10},
            {"steps", tally_.steps},
            {"lives", counts_.lives},
            {"events", tally_.events},
            {"dialogs", tally_.dialogs},
            {"cappedDialogs", tally_.cappedDialogs},
            {"faults", tally_.faults},
            {"clockMoves", tally_.clockMoves},
            {"crashes", counts_.crashes},
            {"crashesInWrites", counts_.crashesInWrites},
            {"reports",
             {{"made", books.made},
              {"sent", books.sent},
              {"refused", books.refused},
              {"queued", books.queued},
              {"droppedByBound", books.droppedByBound},
              {"lostByDesign", books.lostByOverwrite + books.inFlightAtEnd},
              {"lostOtherwise", books.lostOtherwise},
              {"duplicates", books.duplicates}}},
            {"peakDiskBytes", counts_.peakDisk},
            {"breaches", counts_.breaches}};
}

}  // namespace corvane
