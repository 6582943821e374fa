#include "OTSoakDriver.h"

#include <cmath>

#include "OTDevServer.h"
#include "server/OTEventReporter.h"

namespace corvane {

using json = nlohmann::json;

OTSoakDriver::OTSoakDriver(std::uint64_t seed, std::ostream& out) : seed_(seed), out_(out) {}

OTSoakDriver::~OTSoakDriver() = default;

void OTSoakDriver::prepare(const std::filesystem::path& campaigns) {
    server_ = std::make_unique<OTDevServer>(OTDevServer::Options{campaigns});
    server_->addData("in_app", OTSoakScenario::offers());
    json lists;
    for (const char* list : {"in_app", "subscribe", "banners"}) lists[list] = server_->dataFor(list);
    scenario_ = std::make_unique<OTSoakScenario>(seed_, lists);
    ledger_ =
        std::make_unique<OTSoakLedger>(OTSoakScenario::dailyCapOf(campaigns), OTSoakScenario::campaignCountsOf(lists),
                                       OTSoakScenario::kAnswerWithinSeconds);
    user_ = scenario_->user();
    dialogSeconds_ = OTSoakScenario::longestDelayOf(lists) + OTSoakScenario::kDialogMarginSeconds;
}

void OTSoakDriver::take(const OTSoakScenario::Step& step) {
    switch (step.kind) {
        case OTSoakScenario::Kind::Action:
            // A dialog is counted when it is decided and appears a moment later: one decided before
            // a change of user or a clock move would appear counted for the earlier user or day.
            // Such a step waits for the dialogs already decided.
            if (changesWhatDialogsCount(step.action)) {
                const double pending = dialogSeconds_ - (seconds() - lastActionAt_);
                if (pending > 0) perform({{"action", "wait"}, {"seconds", std::ceil(pending * 10) / 10}});
            }
            perform(step.action);
            break;
        case OTSoakScenario::Kind::Fault:
            server_->injectFault(step.path, step.fault);
            ++tally_.faults;
            break;
        case OTSoakScenario::Kind::ExpireTokens:
            server_->expireTokens();
            ++tally_.faults;
            break;
        case OTSoakScenario::Kind::Restart: endLife(OTSoakLedger::End::Ended); break;
        case OTSoakScenario::Kind::KillDuring: killDuring(step); break;
    }
}

bool OTSoakDriver::changesWhatDialogsCount(const json& action) const {
    const std::string name = action.value("action", "");
    if (name == "clock") return true;
    return name == "profile" && action["profile"].value("xwho", "") != user_;
}

void OTSoakDriver::track(const json& action) {
    const std::string name = action.value("action", "");
    // Any action but a wait may lead the app to decide on a dialog.
    if (name != "wait") lastActionAt_ = seconds();
    if (name == "clock") {
        const double advance = action.value("advance", 0.0);
        ++tally_.clockMoves;
        // Back to a day already lived: the app counts its dialogs afresh.
        if (advance < 0) ++period_;
        clockMoved(advance);
    } else if (name == "profile") {
        const std::string user = action["profile"].value("xwho", "");
        if (user != user_) {
            user_ = user;
            ++userEpoch_;
            ++period_;
        }
    } else if (name == "network") {
        networkDown_ = action.value("state", "") == "down";
    } else if (name == "event") {
        ++tally_.events;
    } else if (name == "tap") {
        dialogOnScreen_ = false;
    }
}

void OTSoakDriver::observed(const json& observation, bool verbose) {
    const std::string type = observation.value("type", "");
    if (type == "report") {
        if (verbose) out_ << "  report " << observation.dump() << "\n";
        ledger_->reportObserved(tally_.steps, seconds(), observation);
    } else if (type == "dialog") {
        ++tally_.dialogs;
        dialogOnScreen_ = true;
        const std::string campaign = observation.value("campaign", "");
        if (verbose) out_ << "  dialog " << campaign << " on day " << localDay() << "\n";
        for (const auto& broken : ledger_->dialogShown(campaign, period_, localDay(), userEpoch_)) breach(broken);
    } else if (type == "decision") {
        for (const auto& campaign : observation.value("campaigns", json::array())) {
            if (campaign.is_object() && campaign.value("reason", "") == "dailyCap") ++tally_.cappedDialogs;
        }
    } else if (type == "closed") {
        dialogOnScreen_ = false;
    } else if (type == "error") {
        ++tally_.actionErrors;
        if (observation.value("line", 1) == 0) breach("the app could not start: " + observation.value("message", ""));
    }
}

void OTSoakDriver::takeServerRequests(bool verbose) {
    for (const auto& request : server_->takeRequests()) {
        if (request.path != OTEventReporter::kReportPath || !request.body.is_object()) continue;
        for (const auto& report : request.body.value("events", json::array())) {
            if (verbose) out_ << "  server " << (request.refused ? "refused " : "received ") << report.dump() << "\n";
            ledger_->serverReceived(report, request.refused);
        }
    }
}

std::string OTSoakDriver::describe(const OTSoakScenario::Step& step) {
    switch (step.kind) {
        case OTSoakScenario::Kind::Fault: return "fault " + step.faultName + " on " + step.path;
        case OTSoakScenario::Kind::ExpireTokens: return "tokens expire";
        case OTSoakScenario::Kind::Restart: return "restart";
        case OTSoakScenario::Kind::KillDuring:
            return "kill within " + std::to_string(step.killAfter.count()) + " ms of " + step.action.dump();
        case OTSoakScenario::Kind::Action: break;
    }
    return step.action.dump();
}

}  // namespace corvane
