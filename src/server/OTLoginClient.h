#pragma once

#include <atomic>
#include <cstdint>
#include <functional>
#include <memory>

#include "server/OTServerCall.h"

namespace corvane {

class OTServerSession;
class OTUserConfig;

// Login: sends the app key and user, keeps the session token (also in the group's settings) and
// applies the server's rule. Transport failures are retried after a random delay; the other
// requests are sent through `send`, whose calls log in again when their token has expired.
class OTLoginClient final : public std::enable_shared_from_this<OTLoginClient> {
public:
    // `settings` keep the token and the server's rule.
    OTLoginClient(std::shared_ptr<OTServerSession> session, std::shared_ptr<OTUserConfig> settings);

    // `completion` runs on the HTTP thread after a successful login only; `done` hears every
    // outcome.
    void loginWithCompletion(const std::function<void()>& completion, OTServerCall::Done done = {});
    // Sends a request of the server link as a call that can log in again and repeat.
    void send(OTServerCall::Request request, OTServerCall::Handler handle, OTServerCall::Done done = {});
    // An expired token: logs in again and then runs `retry`, while `retries` stays within the limit;
    // false when it does not.
    bool loginAgainWithin(std::atomic<std::uint64_t>& retries, const std::function<void()>& retry);

    std::uint64_t loginRetryCount() const { return loginRetryCount_.load(); }

private:
    std::shared_ptr<OTServerSession> session_;
    std::shared_ptr<OTUserConfig> settings_;
    std::atomic<std::uint64_t> loginRetryCount_{0};
};

}  // namespace corvane
