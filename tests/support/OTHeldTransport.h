#pragma once

#include <algorithm>
#include <functional>
#include <mutex>
#include <nlohmann/json.hpp>
#include <optional>
#include <string>
#include <vector>

#include "platform/OTHTTPTransport.h"

namespace corvane {

// An HTTP transport that holds every request until the test answers it, in whatever order the test
// likes; or, with `answerAtOnce`, answers inside `send` before the caller has gone on.
class OTHeldTransport final : public OTHTTPTransport {
public:
    static constexpr const char* kLoginPath = "/push/sdk/login";
    static constexpr const char* kInAppPath = "/push/sdk/in_app";

    struct Held {
        Request request;
        Completion completion;
        nlohmann::json body() const { return nlohmann::json::parse(request.body.value_or("null"), nullptr, false); }
        bool isFor(const std::string& path) const {
            return request.url.size() >= path.size() &&
                   request.url.compare(request.url.size() - path.size(), path.size(), path) == 0;
        }
    };
    using Answerer = std::function<std::string(const Held& held)>;

    void send(Request request, Completion completion) override {
        Held held{std::move(request), std::move(completion)};
        Answerer now;
        {
            std::lock_guard lock(mutex_);
            sent_.push_back(held);
            now = answerAtOnce_;
            if (!now) pending_.push_back(held);
        }
        if (now) held.completion(200, now(held), std::nullopt);
    }
    void shutdown() override {}

    void setAnswerAtOnce(Answerer answerer) {
        std::lock_guard lock(mutex_);
        answerAtOnce_ = std::move(answerer);
    }
    // Answers and forgets the first held request to `path` sent with this "userId"; false when none.
    bool answer(const std::string& path, const std::string& userId, const std::string& body) {
        Held held;
        {
            std::lock_guard lock(mutex_);
            auto it = pending_.begin();
            while (it != pending_.end() && !(it->isFor(path) && it->body().value("userId", "") == userId)) ++it;
            if (it == pending_.end()) return false;
            held = *it;
            pending_.erase(it);
        }
        held.completion(200, body, std::nullopt);
        return true;
    }
    // Completes the first held request to `path` with any status, body or transport failure;
    // false when none is held.
    bool complete(const std::string& path, long status, const std::string& body,
                  const std::optional<Failure>& failure = std::nullopt) {
        Held held;
        {
            std::lock_guard lock(mutex_);
            auto it = std::find_if(pending_.begin(), pending_.end(), [&](const Held& h) { return h.isFor(path); });
            if (it == pending_.end()) return false;
            held = *it;
            pending_.erase(it);
        }
        held.completion(status, body, failure);
        return true;
    }
    // The bodies of the requests sent to `path` so far, in order.
    std::vector<nlohmann::json> bodiesTo(const std::string& path) const {
        std::lock_guard lock(mutex_);
        std::vector<nlohmann::json> bodies;
        for (const auto& held : sent_) {
            if (held.isFor(path)) bodies.push_back(held.body());
        }
        return bodies;
    }
    std::vector<Held> sent() const {
        std::lock_guard lock(mutex_);
        return sent_;
    }
    void forgetSent() {
        std::lock_guard lock(mutex_);
        sent_.clear();
    }

private:
    mutable std::mutex mutex_;
    std::vector<Held> sent_;
    std::vector<Held> pending_;
    Answerer answerAtOnce_;
};

}  // namespace corvane
