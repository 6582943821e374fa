#pragma once

#include <chrono>
#include <cstddef>
#include <functional>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace corvane {

// HTTP as the platform provides it: the platform's own stack on Apple, libcurl on Linux. One
// transport serves the whole library (server requests and media downloads). Every transport keeps
// the same bounds: only http and https addresses are fetched (anything else fails with
// kUnsupportedURLCode before a connection is made), and an answer body larger than
// kMaxAnswerBytes fails with kAnswerTooLargeCode as soon as it is known to be.
class OTHTTPTransport {
public:
    static constexpr std::size_t kMaxAnswerBytes = 16u << 20;
    // The platform's own codes for these failures.
    static constexpr long kUnsupportedURLCode = -1002;
    static constexpr long kAnswerTooLargeCode = -1103;

    struct Request {
        std::string url;
        std::string method = "GET";
        std::vector<std::pair<std::string, std::string>> headers;
        std::optional<std::string> body;
        std::chrono::milliseconds timeout{60000};
    };
    struct Failure {
        long code;
        std::string description;
    };
    // Status and body of an answer, or the transport failure.
    using Completion = std::function<void(long status, const std::string& body, const std::optional<Failure>& failure)>;

    virtual ~OTHTTPTransport() = default;

    // Sends `request`; `completion` runs once, on the transport's own thread (never the main queue).
    virtual void send(Request request, Completion completion) = 0;
    // Drops the requests under way without calling their completions; later sends do nothing.
    virtual void shutdown() = 0;

protected:
    // Runs a completion; whatever it throws goes no further, so that the transport's thread keeps
    // serving. The library's completions catch and log their own.
    static void complete(const Completion& completion, long status, const std::string& body,
                         const std::optional<Failure>& failure) noexcept;
};

}  // namespace corvane
