#pragma once

#include <chrono>
#include <cstdint>
#include <filesystem>
#include <map>
#include <memory>
#include <mutex>
#include <nlohmann/json.hpp>
#include <optional>
#include <set>
#include <string>
#include <thread>
#include <vector>

namespace httplib {
class Server;
}

namespace corvane {

// The development server: every endpoint the library calls, campaigns and banners read from a
// folder of JSON files, tokens issued at login and expired on demand, every request recorded, and
// faults injected per path. Runs in-process on 127.0.0.1 with a port the system chooses.
//
// Campaign folder layout: in_app/*.json, subscribe/*.json, banners/*.json, default_banners/*.json
// (each file one object of its endpoint's "data" list, served in file-name order), an optional
// rule.json (the login answer's "rule" object) and media/ (files served by GET /media/<name>).
// "{{server}}" in a campaign file stands for the server's own address.
class OTDevServer {
public:
    struct Options {
        std::filesystem::path campaigns;
        std::string host = "127.0.0.1";
        int port = 0;  // 0: chosen by the system
    };
    struct RecordedRequest {
        std::string path;
        nlohmann::json body;  // null when the body was not JSON
        std::string rawBody;
        double time = 0;  // seconds since the server started
        // Not answered with success: a fault, an error status or a non-zero "code".
        bool refused = false;
    };
    // What the next `count` requests to a path get instead of a normal answer.
    struct Fault {
        int count = 1;
        std::optional<int> httpStatus;
        std::optional<std::int64_t> code;
        std::chrono::milliseconds delay{0};
        bool dropConnection = false;
        bool malformedBody = false;
        // Promises a whole answer, sends half of it and closes the connection.
        bool truncatedBody = false;
        // A valid answer padded to at least this many bytes.
        std::size_t paddedBodyBytes = 0;
        // Valid JSON that is not an object.
        bool nonObjectBody = false;
    };

    // What the server does with one request, as it would go over the wire.
    struct Reply {
        int status = 200;
        std::string body;
        std::string contentType = "application/json";
        std::chrono::milliseconds delay{0};
        bool dropped = false;    // the connection closes without an answer
        bool truncated = false;  // half the body is sent, then the connection closes
    };

    static constexpr std::int64_t kInvalidTokenCode = 10001;
    // Control for a test in another process, never recorded: GET requests (what was received, as
    // a JSON list of {"path", "body", "time", "refused"}), POST fault (a Fault as JSON: "path",
    // "count", "httpStatus", "code", "delayMs", "dropConnection", "malformedBody", "truncatedBody",
    // "paddedBodyBytes", "nonObjectBody"; 400 when it is not one) and POST expire-tokens.
    static constexpr const char* kControlPath = "/_dev/";
    static constexpr const char* kServerMarker = "{{server}}";

    explicit OTDevServer(Options options);
    ~OTDevServer();
    OTDevServer(const OTDevServer&) = delete;
    OTDevServer& operator=(const OTDevServer&) = delete;

    // Binds and serves on a thread of its own; false when the address cannot be bound.
    bool start();
    // Answers a request of an endpoint (POST) or a media file (GET) without the network, faults
    // included, recorded as the listening server records it: for a client in this process.
    Reply handle(const std::string& method, const std::string& path, const std::string& body);
    void stop();
    int port() const { return port_; }
    std::string baseURL() const;

    std::vector<RecordedRequest> requests() const;
    std::vector<RecordedRequest> requestsTo(const std::string& path) const;
    void clearRequests();
    // The requests recorded since the last call, handed over and forgotten in one step.
    std::vector<RecordedRequest> takeRequests();
    void injectFault(const std::string& path, Fault fault);
    void clearFaults();
    // Elements served after the campaign folder's own in `folder`'s list ("in_app", "banners", ...).
    void addData(const std::string& folder, nlohmann::json elements);
    // Every token issued so far stops being accepted.
    void expireTokens();
    // The endpoints' data lists as read from the campaign folder.
    nlohmann::json dataFor(const std::string& folder) const;

    static const std::vector<std::string>& endpoints();
    // The campaign files of one list of a campaign folder ("in_app", "banners", ...), in the order
    // they are served.
    static std::vector<std::filesystem::path> campaignFiles(const std::filesystem::path& campaigns,
                                                            const std::string& list);

    // The fault a control request describes; nothing when it is not one.
    static std::optional<Fault> faultFrom(const nlohmann::json& body);

private:
    void installControl();
    nlohmann::json answer(const std::string& path, const nlohmann::json& body);
    Reply endpointReply(const std::string& endpoint, const std::string& rawBody);
    Reply mediaReply(const std::string& path, const std::string& name);
    void record(RecordedRequest request);
    std::optional<Fault> takeFault(const std::string& path);
    nlohmann::json readCampaignFile(const std::filesystem::path& path) const;

    Options options_;
    std::unique_ptr<httplib::Server> server_;
    std::thread thread_;
    int port_ = 0;
    std::chrono::steady_clock::time_point started_;
    mutable std::mutex mutex_;
    std::vector<RecordedRequest> requests_;
    std::map<std::string, Fault> faults_;
    std::map<std::string, nlohmann::json> addedData_;
    std::set<std::string> validTokens_;
    std::uint64_t nextToken_ = 1;
};

}  // namespace corvane
