#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <nlohmann/json_fwd.hpp>
#include <optional>
#include <string>

#include "server/OTNetworkConfig.h"

namespace corvane {

class OTHTTPTransport;
class OTUserShare;

// The library's HTTP client: a relative path becomes a URL of the chosen server environment (or
// of the custom base URL in the shared store), the body is sent as pretty-printed JSON, and the
// callbacks run on the session's own thread, never on the main queue.
class OTNetwork {
public:
    struct Response {
        long statusCode = 0;
    };
    struct Error {
        long code = 0;
        std::string localizedDescription;
    };
    using Success = std::function<void(const Response& response, const std::string& data)>;
    using Failure = std::function<void(const Error& error)>;
    using Parameters = std::vector<std::pair<std::string, std::string>>;

    static constexpr std::chrono::milliseconds kDefaultTimeout{60000};

    // Sends through `http` while it lives (after that, nothing is sent); a custom base URL or server
    // environment is read from `share`.
    OTNetwork(const std::shared_ptr<OTHTTPTransport>& http, std::shared_ptr<OTUserShare> share);

    // The process-wide client of the class-level operations. A server session has a client of its
    // own (OTServerSession::network), so that engines keep to their own servers.
    static std::shared_ptr<OTNetwork> network();
    static void configEnvironment(const OTNetworkConfig& config);
    static std::shared_ptr<OTNetwork> networkWithGroupIdentifier(const std::string& groupIdentifier);

    void setConfig(const OTNetworkConfig& config);
    void setGroupIdentifier(std::string groupIdentifier);
    // A client with this one's servers and time-out, for another group's requests.
    std::shared_ptr<OTNetwork> withGroupIdentifier(std::string groupIdentifier) const;

    void postRequestWithRelativeURLStr(const std::string& path, const nlohmann::json& header,
                                       const nlohmann::json& body, Success success, Failure failure);
    // Type 0 GET, 1 POST. An empty path sends nothing and calls neither callback.
    void requestWithRelativeUrl(const std::string& path, std::int64_t type, const Parameters& parameters,
                                const nlohmann::json& header, const nlohmann::json& body, Success success,
                                Failure failure);
    // The path with its query ("k=v&k2=v2", nothing encoded) behind the base URL of the
    // environment in force, or as it stands when it is already an http or https address.
    std::string getHttpURLWithRelativeUrl(const std::string& path, const Parameters& parameters) const;
    // The body itself when a text, "k=v&..." for a dictionary, nothing otherwise: whether a body is sent.
    static std::optional<std::string> httpRequestBody(const nlohmann::json& body);

    OTNetworkConfig config() const;
    // How long a request may take in all before it fails as a transport failure.
    std::chrono::milliseconds timeoutInterval() const;
    void setTimeoutInterval(std::chrono::milliseconds timeout);
    std::string groupIdentifier() const;

private:
    // Held weakly: requests waiting in a transport hold their sessions, and so this client.
    const std::weak_ptr<OTHTTPTransport> http_;
    const std::shared_ptr<OTUserShare> share_;
    mutable std::mutex mutex_;
    OTNetworkConfig config_;
    std::string groupIdentifier_;
    std::chrono::milliseconds timeout_ = kDefaultTimeout;
};

}  // namespace corvane
