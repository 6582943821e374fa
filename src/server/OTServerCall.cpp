#include "server/OTServerCall.h"

#include <nlohmann/json.hpp>

#include "server/OTLoginClient.h"
#include "server/OTNetwork.h"
#include "server/OTServerOutcome.h"
#include "server/OTServerSession.h"
#include "services/OTLogger.h"

namespace corvane {

OTServerCall::OTServerCall(std::shared_ptr<OTServerSession> session, std::weak_ptr<OTLoginClient> login,
                           Request request, Handler handle, Done done)
    : session_(std::move(session)),
      login_(std::move(login)),
      request_(std::move(request)),
      handle_(std::move(handle)),
      done_(std::move(done)) {}

void OTServerCall::send() {
    auto body = request_.body();
    if (!body) return;
    const auto network =
        request_.group ? session_->network()->withGroupIdentifier(*request_.group) : session_->network();
    // The network holds the call until it answers; nothing else does.
    network->postRequestWithRelativeURLStr(
        request_.path, nullptr, *body,
        [self = shared_from_this()](const OTNetwork::Response& response, const std::string& data) {
            self->deliver(OTServerOutcome::answered(response.statusCode, data, self->request_.missingCode));
        },
        [self = shared_from_this()](const OTNetwork::Error& error) {
            self->deliver(OTServerOutcome::failed(error.code, error.localizedDescription));
        });
}

void OTServerCall::deliver(OTServerOutcome outcome) {
    handle_(*this, outcome);
    if (done_) done_(outcome);
    session_->observeOutcome(request_.path, outcome);
}

bool OTServerCall::logInAgainAndRepeat(std::atomic<std::uint64_t>& retries, bool quiet) {
    if (!quiet) OTLog(OTLogger::kLevelError, "token 失效，重新 login");
    auto login = login_.lock();
    return login && login->loginAgainWithin(retries, [self = shared_from_this()] { self->send(); });
}

void OTServerCall::repeatLater(std::atomic<std::uint64_t>& retries) {
    session_->retryWithin(retries, [self = shared_from_this()] { self->send(); });
}

void OTServerCall::repeatAfterTransportFailure(std::atomic<std::uint64_t>& retries, const OTServerOutcome& outcome) {
    OTLog(OTLogger::kLevelError, "code:%@\ndescripton:%@\n", outcome.errorCode(), outcome.errorDescription());
    repeatLater(retries);
}

}  // namespace corvane
