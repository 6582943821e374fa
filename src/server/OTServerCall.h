#pragma once

#include <atomic>
#include <cstdint>
#include <functional>
#include <memory>
#include <nlohmann/json_fwd.hpp>
#include <optional>
#include <string>

namespace corvane {

class OTLoginClient;
class OTNetwork;
class OTServerOutcome;
class OTServerSession;

// One request to the campaign server, kept so that it can be sent again. Its body is made at
// each sending, so that a repeat after a new login carries the new token. Its handler gets every
// outcome, on the HTTP thread, and decides from there whether the call repeats: after an expired
// token (log in again first) or a transport failure (after a random delay), each counted against
// the retries the handler names.
class OTServerCall final : public std::enable_shared_from_this<OTServerCall> {
public:
    // The request body, made at each sending; nothing is sent when its owner is gone.
    using Body = std::function<std::optional<nlohmann::json>()>;
    using Handler = std::function<void(OTServerCall& call, OTServerOutcome& outcome)>;
    // Hears each outcome after the handler: the first sending's and every repeat's.
    using Done = std::function<void(const OTServerOutcome& outcome)>;

    struct Request {
        const char* path = "";
        Body body;
        // The "code" an answer without one is read as.
        std::int64_t missingCode = -1;
        // The app group whose network sends it; the session's group when none.
        std::optional<std::string> group = std::nullopt;
    };

    OTServerCall(std::shared_ptr<OTServerSession> session, std::weak_ptr<OTLoginClient> login, Request request,
                 Handler handle, Done done);

    void send();
    // An expired token: logs "token 失效，重新 login" unless `quiet`, counts a retry and, within the
    // limit, logs in again and sends the call once more from the login's completion. False when the
    // retries are spent.
    bool logInAgainAndRepeat(std::atomic<std::uint64_t>& retries, bool quiet = false);
    // Counts a retry and, within the limit, sends the call again after a random delay.
    void repeatLater(std::atomic<std::uint64_t>& retries);
    // `repeatLater` after a transport failure, logged in the words every request shares.
    void repeatAfterTransportFailure(std::atomic<std::uint64_t>& retries, const OTServerOutcome& outcome);

private:
    void deliver(OTServerOutcome outcome);

    std::shared_ptr<OTServerSession> session_;
    std::weak_ptr<OTLoginClient> login_;
    Request request_;
    Handler handle_;
    Done done_;
};

}  // namespace corvane
