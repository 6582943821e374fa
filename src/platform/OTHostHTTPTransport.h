#pragma once

#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <deque>
#include <functional>
#include <map>
#include <mutex>
#include <string>
#include <thread>

#include "platform/OTHTTPTransport.h"

namespace corvane {

// HTTP carried by the host (URLSession on Apple, any client elsewhere): each request is handed to
// the host's sender with an id, and the host answers that id once, from any thread. The transport keeps the
// bounds whatever the host does: only http and https reach the host, an answer over
// kMaxAnswerBytes is a failure, a second answer to one id is refused, and a request the host never
// answers fails when its time-out passes. Completions run on the transport's own thread, in the
// order the answers came.
class OTHostHTTPTransport final : public OTHTTPTransport {
public:
    // Hands `request` to the host; the host answers with answer() or fail() and `id`.
    using Sender = std::function<void(std::uint64_t id, const Request& request)>;
    // The platform's code for a request that took longer than its time-out.
    static constexpr long kTimedOutCode = -1001;

    OTHostHTTPTransport();
    ~OTHostHTTPTransport() override;
    OTHostHTTPTransport(const OTHostHTTPTransport&) = delete;
    OTHostHTTPTransport& operator=(const OTHostHTTPTransport&) = delete;

    // Requests sent while no sender is set fail at once; those already handed over stay answerable.
    void setSender(Sender sender);
    void send(Request request, Completion completion) override;
    void shutdown() override;

    // The host's answer to request `id`: false when no request of that id waits (any more).
    bool answer(std::uint64_t id, long status, const char* body, std::size_t length);
    bool fail(std::uint64_t id, long code, std::string description);

private:
    struct Waiting {
        Completion completion;
        std::chrono::steady_clock::time_point deadline;
    };
    struct Finished {
        Completion completion;
        long status = 0;
        std::string body;
        std::optional<Failure> failure;
    };

    // Moves request `id` from waiting to finished; false when it was not waiting.
    bool finish(std::uint64_t id, long status, std::string body, std::optional<Failure> failure);
    void run();

    std::mutex mutex_;
    Sender sender_;
    std::condition_variable wake_;
    std::map<std::uint64_t, Waiting> waiting_;
    std::deque<Finished> finished_;
    std::uint64_t nextId_ = 1;
    bool stopped_ = false;
    std::thread thread_;
};

}  // namespace corvane
