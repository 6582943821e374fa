#include <gtest/gtest.h>

#include <map>
#include <mutex>
#include <optional>

#include "OTDevServer.h"
#include "core/OTSDKManager.h"
#include "corvane/CorvaneOtManager.h"
#include "model/OTEvent.h"
#include "model/OTWindowData.h"
#include "platform/linux/OTCurlHTTPTransport.h"
#include "server/OTEventReporter.h"
#include "server/OTLoginClient.h"
#include "server/OTNetwork.h"
#include "server/OTServerOutcome.h"
#include "server/OTServerSession.h"
#include "services/OTDataArchiver.h"
#include "support/OTOutcomeRecorder.h"
#include "support/OTScopedTimeout.h"
#include "support/OTTestEnvironment.h"

namespace corvane {

using namespace std::chrono_literals;
using nlohmann::json;

namespace {
constexpr const char* kLogin = "/push/sdk/login";
constexpr const char* kInApp = "/push/sdk/in_app";
constexpr const char* kReport = "/push/sdk/in_app/callback";
constexpr const char* kTrigger = "/push/sdk/event/trigger";

// libcurl against the dev server, counting what the library sends and what has been handled, per
// path: a send happens on the caller's thread, so a retry that a timer fires is counted at once.
class CountingTransport final : public OTHTTPTransport {
public:
    void send(Request request, Completion completion) override {
        const auto path = pathOf(request.url);
        {
            std::lock_guard lock(mutex_);
            ++sent_[path];
        }
        inner_.send(std::move(request), [this, path, completion = std::move(completion)](
                                            long status, const std::string& body, const std::optional<Failure>& f) {
            completion(status, body, f);
            std::lock_guard lock(mutex_);
            ++handled_[path];
        });
    }
    void shutdown() override { inner_.shutdown(); }
    int sent(const std::string& path) const {
        std::lock_guard lock(mutex_);
        const auto it = sent_.find(path);
        return it == sent_.end() ? 0 : it->second;
    }
    int handled(const std::string& path) const {
        std::lock_guard lock(mutex_);
        const auto it = handled_.find(path);
        return it == handled_.end() ? 0 : it->second;
    }
    void reset() {
        std::lock_guard lock(mutex_);
        sent_.clear();
        handled_.clear();
    }

private:
    static std::string pathOf(const std::string& url) {
        const auto scheme = url.find("://");
        const auto slash = url.find('/', scheme == std::string::npos ? 0 : scheme + 3);
        const auto query = url.find('?');
        return slash == std::string::npos ? "/" : url.substr(slash, query == std::string::npos ? query : query - slash);
    }

    OTCurlHTTPTransport inner_;
    mutable std::mutex mutex_;
    std::map<std::string, int> sent_;
    std::map<std::string, int> handled_;
};

enum class Fault { Status500, ExpiredToken, Garbage, NonObject, CutBody, Dropped, Late, Oversized };
using Kind = OTServerOutcome::Kind;

const char* faultName(Fault fault) {
    switch (fault) {
        case Fault::Status500: return "500";
        case Fault::ExpiredToken: return "10001";
        case Fault::Garbage: return "garbage";
        case Fault::NonObject: return "non-object";
        case Fault::CutBody: return "cut body";
        case Fault::Dropped: return "dropped connection";
        case Fault::Late: return "late answer";
        case Fault::Oversized: return "oversized body";
    }
    return "";
}

OTDevServer::Fault serverFault(Fault fault) {
    OTDevServer::Fault f;
    switch (fault) {
        case Fault::Status500: f.httpStatus = 500; break;
        case Fault::ExpiredToken: f.code = OTDevServer::kInvalidTokenCode; break;
        case Fault::Garbage: f.malformedBody = true; break;
        case Fault::NonObject: f.nonObjectBody = true; break;
        case Fault::CutBody:
            f.truncatedBody = true;
            f.paddedBodyBytes = 4096;
            break;
        case Fault::Dropped: f.dropConnection = true; break;
        case Fault::Late: f.delay = 600ms; break;
        case Fault::Oversized: f.paddedBodyBytes = OTHTTPTransport::kMaxAnswerBytes + 1; break;
    }
    return f;
}

// The library started against the dev server: logged in, both lists downloaded, and the start's
// report answered.
struct Matrix {
    Matrix() {
        test.setHTTPTransport(transport);
        EXPECT_TRUE(server.start());
        engine = std::static_pointer_cast<OTSDKManager>(CorvaneOtManager::getObserverListener("group.demo"));
        engine->session().setUserId("user-1");
        recorder->observe(engine->session());
        auto config = std::make_shared<CorvaneOtConfig>();
        config->setApplicationGroupIdentifier("group.demo");
        config->setAppKey("app-key");
        config->setUrl(server.baseURL() + "/");
        CorvaneOtManager::startWithConfig(config);
        // The start's downloads and its "$pullDialog" report are all answered before any fault.
        EXPECT_TRUE(settled(kInApp, 1));
        EXPECT_TRUE(settled("/push/sdk/event/subscribe", 1));
        EXPECT_TRUE(settled(kReport, 1));
        transport->reset();
        server.clearRequests();
        recorder->clear();
    }
    // Waits (in real time, bounded) until `count` answers to `path` have been handled.
    bool settled(const char* path, int count) {
        return test.scheduler().runUntil([&] { return transport->handled(path) >= count; }, 20s);
    }
    // Waits (in real time, bounded) until `count` outcomes of requests to `path` are in.
    std::vector<Kind> outcomesOf(const char* path, std::size_t count) {
        test.scheduler().runUntil([&] { return recorder->count(path) >= count; }, 20s);
        return recorder->kinds(path);
    }
    std::vector<std::shared_ptr<OTEvent>> queued() const {
        return OTDataArchiver::getObjectsForPath<OTEvent>(test.documents() /
                                                          OTEventReporter::kOfflineWindowEventsFileName)
            .value_or(std::vector<std::shared_ptr<OTEvent>>{});
    }

    OTTestEnvironment test;
    std::shared_ptr<CountingTransport> transport = std::make_shared<CountingTransport>();
    OTDevServer server{{OT_SAMPLE_CAMPAIGNS}};
    std::shared_ptr<OTSDKManager> engine;
    std::shared_ptr<OTOutcomeRecorder> recorder = OTOutcomeRecorder::make();
};

// What one family of requests makes of each fault: the outcomes of its requests, the first one's
// and any repeat's, in order. A family that queues its transport failures sends them once the
// network returns.
struct Family {
    const char* path;
    std::function<void(Matrix&)> request;
    std::map<Fault, std::vector<Kind>> outcomes;
    bool queuesTransportFailures = false;
};

void runFamily(const Family& family) {
    for (const auto& [fault, expected] : family.outcomes) {
        SCOPED_TRACE(std::string(family.path) + " × " + faultName(fault));
        Matrix m;
        m.server.injectFault(family.path, serverFault(fault));
        {
            std::optional<OTScopedTimeout> shortTimeout;
            if (fault == Fault::Late) shortTimeout.emplace(150ms);
            family.request(m);
            ASSERT_TRUE(m.settled(family.path, 1));
        }
        m.test.scheduler().runUntilIdle();
        // Every retry waits less than three minutes.
        m.test.scheduler().advance(200s);
        EXPECT_EQ(m.outcomesOf(family.path, expected.size()), expected);
        EXPECT_EQ(m.transport->sent(family.path), static_cast<int>(expected.size()));
        // Only an expired token logs in again (the login's own refusal aside).
        if (std::string(family.path) != kLogin) {
            EXPECT_EQ(m.transport->sent(kLogin), expected.front() == Kind::TokenExpired ? 1 : 0);
        }
        const auto queued = m.queued();
        if (family.queuesTransportFailures && expected.front() == Kind::TransportFailure) {
            ASSERT_EQ(queued.size(), 1u);
            // The network goes and comes back: the queue is sent and emptied.
            m.test.reachability().setFlags(0);
            m.test.reachability().setFlags(OTManualReachabilitySource::kWiFiFlags);
            EXPECT_EQ(m.outcomesOf(family.path, 2), (std::vector{Kind::TransportFailure, Kind::Success}));
            EXPECT_TRUE(m.test.scheduler().runUntil([&] { return m.queued().empty(); }, 20s));
            const auto received = m.server.requestsTo(family.path);
            ASSERT_FALSE(received.empty());
            EXPECT_EQ(received.back().body["events"][0]["xwhat"], queued[0]->xwhat());
        } else {
            EXPECT_TRUE(queued.empty());
        }
        // Whatever happened, the main queue still runs.
        bool ran = false;
        m.test.environment().mainQueue()->async([&] { ran = true; });
        m.test.scheduler().runUntilIdle();
        EXPECT_TRUE(ran);
    }
}

// The outcomes of a family for each fault: refusals end the request; an expired token and the
// transport failures lead to `expired` and `transportFailure`.
std::map<Fault, std::vector<Kind>> answered(std::vector<Kind> expired, std::vector<Kind> transportFailure) {
    return {{Fault::Status500, {Kind::Refused}}, {Fault::ExpiredToken, expired},
            {Fault::Garbage, {Kind::Refused}},   {Fault::NonObject, {Kind::Refused}},
            {Fault::CutBody, transportFailure},  {Fault::Dropped, transportFailure},
            {Fault::Late, transportFailure},     {Fault::Oversized, transportFailure}};
}
const std::vector<Kind> kRepeated = {Kind::TransportFailure, Kind::Success};
const std::vector<Kind> kLoggedInAgain = {Kind::TokenExpired, Kind::Success};
}  // namespace

TEST(OTFaultMatrix, LoginRetriesTransportFailuresAndDropsWhatTheServerRefused) {
    runFamily({kLogin, [](Matrix& m) { m.engine->login().loginWithCompletion([] {}); },
               answered({Kind::TokenExpired}, kRepeated)});
}

TEST(OTFaultMatrix, ListsRetryTransportFailuresAndLogInAgainForAnExpiredToken) {
    runFamily({kInApp, [](Matrix& m) { m.engine->getListData(true); }, answered(kLoggedInAgain, kRepeated)});
}

TEST(OTFaultMatrix, DialogReportsAreQueuedOnTransportFailuresAndSentWhenTheNetworkReturns) {
    runFamily({kReport,
               [](Matrix& m) {
                   auto data = std::make_shared<OTWindowData>();
                   data->setModelWithDic(json{{"id", "7"}, {"type", 1}});
                   m.engine->reportWindowEventWithName("$clickDialog", 2, data);
               },
               answered(kLoggedInAgain, {Kind::TransportFailure}), true});
}

TEST(OTFaultMatrix, SubscriptionTriggersLogInAgainForAnExpiredTokenAndDropTheRest) {
    runFamily({kTrigger,
               [](Matrix& m) {
                   m.engine->onEventDataReceived(json{{"source", 0}, {"xwhat", "purchase"}, {"xwho", "user-1"}});
               },
               answered(kLoggedInAgain, {Kind::TransportFailure})});
}

}  // namespace corvane
