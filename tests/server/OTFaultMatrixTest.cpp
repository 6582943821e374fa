#include <gtest/gtest.h>

#include <map>
#include <optional>

#include "core/OTSDKManager.h"
#include "model/OTEvent.h"
#include "model/OTWindowData.h"
#include "platform/OTHostHTTPTransport.h"
#include "platform/linux/OTCurlHTTPTransport.h"
#include "server/OTEventReporter.h"
#include "server/OTLoginClient.h"
#include "services/OTDataArchiver.h"
#include "support/OTScopedTimeout.h"
#include "support/OTServerHarness.h"

namespace corvane {

using namespace std::chrono_literals;
using nlohmann::json;

namespace {
constexpr const char* kLogin = "/push/sdk/login";
constexpr const char* kInApp = "/push/sdk/in_app";
constexpr const char* kReport = "/push/sdk/in_app/callback";
constexpr const char* kTrigger = "/push/sdk/event/trigger";

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
// report answered, before any fault. `throughHost`: the requests go through a host's transport,
// which carries them with a client of its own (here libcurl) and answers the library.
struct Matrix : OTServerHarness {
    explicit Matrix(bool throughHost) {
        if (throughHost) {
            host->setSender([host = std::weak_ptr(host), client = client](std::uint64_t id, auto request) {
                client->send(std::move(request), [host, id](long status, const std::string& body, const auto& failure) {
                    auto transport = host.lock();
                    if (!transport) return;
                    if (failure) transport->fail(id, failure->code, failure->description);
                    else transport->answer(id, status, body.data(), body.size());
                });
            });
            test.environment().setHostHTTP(host);
        }
        startSettled();
    }
    ~Matrix() { client->shutdown(); }
    std::shared_ptr<OTHostHTTPTransport> host = std::make_shared<OTHostHTTPTransport>();
    std::shared_ptr<OTCurlHTTPTransport> client = std::make_shared<OTCurlHTTPTransport>();
    // Waits (in real time, bounded) until `count` outcomes of requests to `path` are in.
    std::vector<Kind> outcomesOf(const char* path, std::size_t count) {
        waitForOutcomes(path, count, 20s);
        return outcomes(path);
    }
    int sent(const char* path) const { return static_cast<int>(server.requestsTo(path).size()); }
    std::vector<std::shared_ptr<OTEvent>> queued() const {
        return OTDataArchiver::getObjectsForPath<OTEvent>(test.documents() /
                                                          OTEventReporter::kOfflineWindowEventsFileName)
            .value_or(std::vector<std::shared_ptr<OTEvent>>{});
    }
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

void runFamilyThrough(const Family& family, bool throughHost) {
    for (const auto& [fault, expected] : family.outcomes) {
        SCOPED_TRACE(std::string(family.path) + " × " + faultName(fault) + (throughHost ? " through the host" : ""));
        Matrix m(throughHost);
        m.server.injectFault(family.path, serverFault(fault));
        {
            std::optional<OTScopedTimeout> shortTimeout;
            if (fault == Fault::Late) shortTimeout.emplace(m.engine->session(), 150ms);
            family.request(m);
            ASSERT_TRUE(m.waitForOutcomes(family.path, 1, 20s));
        }
        m.test.scheduler().runUntilIdle();
        // Every retry waits less than three minutes.
        m.test.scheduler().advance(200s);
        EXPECT_EQ(m.outcomesOf(family.path, expected.size()), expected);
        EXPECT_EQ(m.sent(family.path), static_cast<int>(expected.size()));
        // Only an expired token logs in again (the login's own refusal aside).
        if (std::string(family.path) != kLogin) {
            EXPECT_EQ(m.sent(kLogin), expected.front() == Kind::TokenExpired ? 1 : 0);
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

// Through libcurl and through a host's transport alike.
void runFamily(const Family& family) {
    runFamilyThrough(family, false);
    runFamilyThrough(family, true);
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
