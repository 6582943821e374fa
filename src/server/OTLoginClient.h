#pragma once

#include <atomic>
#include <cstdint>
#include <functional>
#include <memory>

namespace corvane {

class OTServerSession;

// Login: sends the app key and user, keeps the session token (also in the group's settings) and
// applies the server's rule. Transport failures are retried after a random delay; other code
// paths log in again through `loginAgainWithin` when their token has expired.
class OTLoginClient final : public std::enable_shared_from_this<OTLoginClient> {
public:
    explicit OTLoginClient(std::shared_ptr<OTServerSession> session);

    // `completion` runs on the HTTP thread after a successful login only.
    void loginWithCompletion(const std::function<void()>& completion);
    // An expired token: logs in again and then runs `retry`, while `retries` stays within the limit.
    void loginAgainWithin(std::atomic<std::uint64_t>& retries, const std::function<void()>& retry);

    std::uint64_t loginRetryCount() const { return loginRetryCount_.load(); }
    void setLoginRetryCount(std::uint64_t value) { loginRetryCount_.store(value); }

private:
    std::shared_ptr<OTServerSession> session_;
    std::atomic<std::uint64_t> loginRetryCount_{0};
};

}  // namespace corvane
