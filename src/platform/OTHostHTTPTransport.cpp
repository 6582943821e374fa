#include "platform/OTHostHTTPTransport.h"

#include <algorithm>
#include <cctype>
#include <utility>

namespace corvane {

namespace {
bool startsWithNoCase(const std::string& text, const std::string& prefix) {
    return text.size() >= prefix.size() && std::equal(prefix.begin(), prefix.end(), text.begin(), [](char a, char b) {
               return std::tolower(static_cast<unsigned char>(a)) == std::tolower(static_cast<unsigned char>(b));
           });
}
}  // namespace

OTHostHTTPTransport::OTHostHTTPTransport() : thread_([this] { run(); }) {}

OTHostHTTPTransport::~OTHostHTTPTransport() { shutdown(); }

void OTHostHTTPTransport::setSender(Sender sender) {
    std::lock_guard lock(mutex_);
    sender_ = std::move(sender);
}

void OTHostHTTPTransport::send(Request request, Completion completion) {
    std::uint64_t id = 0;
    Sender sender;
    {
        std::lock_guard lock(mutex_);
        if (stopped_) return;
        sender = sender_;
        id = nextId_++;
        const auto timeout = std::max(request.timeout, std::chrono::milliseconds(0));
        waiting_.emplace(id, Waiting{std::move(completion), std::chrono::steady_clock::now() + timeout});
    }
    wake_.notify_all();
    if (!startsWithNoCase(request.url, "http://") && !startsWithNoCase(request.url, "https://")) {
        finish(id, 0, {}, Failure{kUnsupportedURLCode, "unsupported URL"});
        return;
    }
    if (!sender) {
        finish(id, 0, {}, Failure{kUnsupportedURLCode, "no host transport"});
        return;
    }
    try {
        sender(id, request);
    } catch (...) {
        finish(id, 0, {}, Failure{kUnsupportedURLCode, "the host did not take the request"});
    }
}

bool OTHostHTTPTransport::answer(std::uint64_t id, long status, const char* body, std::size_t length) {
    if (length > kMaxAnswerBytes) {
        return finish(id, 0, {},
                      Failure{kAnswerTooLargeCode, "answer larger than " + std::to_string(kMaxAnswerBytes) + " bytes"});
    }
    return finish(id, status, body == nullptr ? std::string() : std::string(body, length), std::nullopt);
}

bool OTHostHTTPTransport::fail(std::uint64_t id, long code, std::string description) {
    return finish(id, 0, {}, Failure{code, std::move(description)});
}

bool OTHostHTTPTransport::finish(std::uint64_t id, long status, std::string body, std::optional<Failure> failure) {
    {
        std::lock_guard lock(mutex_);
        auto waiting = waiting_.find(id);
        if (stopped_ || waiting == waiting_.end()) return false;
        finished_.push_back({std::move(waiting->second.completion), status, std::move(body), std::move(failure)});
        waiting_.erase(waiting);
    }
    wake_.notify_all();
    return true;
}

void OTHostHTTPTransport::shutdown() {
    {
        std::lock_guard lock(mutex_);
        stopped_ = true;
        waiting_.clear();
        finished_.clear();
    }
    wake_.notify_all();
    if (thread_.joinable()) {
        // Shut down from one of its own completions, the thread ends after that completion.
        if (thread_.get_id() == std::this_thread::get_id()) thread_.detach();
        else thread_.join();
    }
}

void OTHostHTTPTransport::run() {
    std::unique_lock lock(mutex_);
    while (!stopped_) {
        const auto now = std::chrono::steady_clock::now();
        for (auto it = waiting_.begin(); it != waiting_.end();) {
            if (it->second.deadline > now) {
                ++it;
                continue;
            }
            finished_.push_back({std::move(it->second.completion), 0, {}, Failure{kTimedOutCode, "timed out"}});
            it = waiting_.erase(it);
        }
        if (finished_.empty()) {
            auto next = std::min_element(waiting_.begin(), waiting_.end(), [](const auto& a, const auto& b) {
                return a.second.deadline < b.second.deadline;
            });
            if (next == waiting_.end()) {
                wake_.wait(lock);
            } else {
                // A copy: the entry may go while the lock is let go.
                const auto deadline = next->second.deadline;
                wake_.wait_until(lock, deadline);
            }
            continue;
        }
        Finished done = std::move(finished_.front());
        finished_.pop_front();
        lock.unlock();
        complete(done.completion, done.status, done.body, done.failure);
        done = Finished{};  // the completion's captures go outside the lock
        lock.lock();
    }
}

}  // namespace corvane
