#pragma once

#include <chrono>
#include <condition_variable>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <thread>
#include <vector>

// One HTTP session over libcurl: a single multi handle on its own thread, connections reused
// between requests, completions called on that thread.
class OTHTTPSession {
public:
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

    OTHTTPSession();
    ~OTHTTPSession();
    OTHTTPSession(const OTHTTPSession&) = delete;
    OTHTTPSession& operator=(const OTHTTPSession&) = delete;

    void start(Request request, Completion completion);

private:
    struct Transfer;
    void run();

    std::mutex mutex_;
    std::vector<std::unique_ptr<Transfer>> incoming_;
    bool stopping_ = false;
    void* multi_ = nullptr;
    std::thread thread_;
};
