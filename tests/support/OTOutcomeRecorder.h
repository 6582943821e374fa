#pragma once

#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "server/OTServerCall.h"
#include "server/OTServerOutcome.h"
#include "server/OTServerSession.h"

namespace corvane {

// Collects the outcomes of server calls, from the HTTP thread, for a test to wait on: those a
// caller hears (`done`, kept under the path "") or every one a session hears, by path. What it
// hands out holds it, so an answer landing after the test's end finds it still there.
class OTOutcomeRecorder : public std::enable_shared_from_this<OTOutcomeRecorder> {
public:
    using Kind = OTServerOutcome::Kind;

    static std::shared_ptr<OTOutcomeRecorder> make() { return std::make_shared<OTOutcomeRecorder>(); }

    OTServerCall::Done done() {
        return [self = shared_from_this()](const OTServerOutcome& outcome) { self->record("", outcome); };
    }
    void observe(OTServerSession& session) {
        session.setOutcomeObserver(
            [self = shared_from_this()](const std::string& path, const OTServerOutcome& outcome) {
                self->record(path, outcome);
            });
    }
    std::vector<OTServerOutcome> outcomes(const std::string& path = "") const {
        std::lock_guard lock(mutex_);
        const auto found = outcomes_.find(path);
        return found == outcomes_.end() ? std::vector<OTServerOutcome>{} : found->second;
    }
    std::vector<Kind> kinds(const std::string& path = "") const {
        std::vector<Kind> kinds;
        for (const auto& outcome : outcomes(path)) kinds.push_back(outcome.kind());
        return kinds;
    }
    std::size_t count(const std::string& path = "") const { return outcomes(path).size(); }
    void clear() {
        std::lock_guard lock(mutex_);
        outcomes_.clear();
    }

private:
    void record(const std::string& path, const OTServerOutcome& outcome) {
        std::lock_guard lock(mutex_);
        outcomes_[path].push_back(outcome);
    }

    mutable std::mutex mutex_;
    std::map<std::string, std::vector<OTServerOutcome>> outcomes_;
};

}  // namespace corvane
