#include "server/OTNetwork.h"

#include <nlohmann/json.hpp>

#include "foundation/OTDescription.h"
#include "foundation/OTJSONWriter.h"
#include "platform/OTEnvironment.h"
#include "services/OTLogger.h"
#include "services/OTUserShare.h"
#include "services/OTUtils.h"

namespace corvane {

OTNetwork::OTNetwork(const std::shared_ptr<OTHTTPTransport>& http, std::shared_ptr<OTUserShare> share)
    : http_(http), share_(std::move(share)) {}

std::shared_ptr<OTNetwork> OTNetwork::network() {
    const auto environment = OTEnvironment::current();
    return environment->singleton<OTNetwork>(
        [&] { return std::make_shared<OTNetwork>(environment->httpHandle(), OTUserShare::share()); });
}

void OTNetwork::configEnvironment(const OTNetworkConfig& config) { network()->setConfig(config); }

std::shared_ptr<OTNetwork> OTNetwork::networkWithGroupIdentifier(const std::string& groupIdentifier) {
    auto self = network();
    self->setGroupIdentifier(groupIdentifier);
    return self;
}

void OTNetwork::setConfig(const OTNetworkConfig& config) {
    std::lock_guard lock(mutex_);
    config_ = config;
}

void OTNetwork::setGroupIdentifier(std::string groupIdentifier) {
    std::lock_guard lock(mutex_);
    groupIdentifier_ = std::move(groupIdentifier);
}

std::shared_ptr<OTNetwork> OTNetwork::withGroupIdentifier(std::string groupIdentifier) const {
    auto copy = std::make_shared<OTNetwork>(http_.lock(), share_);
    std::lock_guard lock(mutex_);
    copy->config_ = config_;
    copy->timeout_ = timeout_;
    copy->groupIdentifier_ = std::move(groupIdentifier);
    return copy;
}

OTNetworkConfig OTNetwork::config() const {
    std::lock_guard lock(mutex_);
    return config_;
}

std::chrono::milliseconds OTNetwork::timeoutInterval() const {
    std::lock_guard lock(mutex_);
    return timeout_;
}

void OTNetwork::setTimeoutInterval(std::chrono::milliseconds timeout) {
    std::lock_guard lock(mutex_);
    timeout_ = timeout;
}

std::string OTNetwork::groupIdentifier() const {
    std::lock_guard lock(mutex_);
    return groupIdentifier_;
}

std::string OTNetwork::getHttpURLWithRelativeUrl(const std::string& path, const Parameters& parameters) const {
    std::string query;
    for (const auto& [key, value] : parameters) {
        if (!query.empty()) query += '&';
        query.append(key).append("=").append(value);
    }
    std::string full = query.empty() ? path : path + "?" + query;
    if (full.rfind("https://", 0) == 0 || full.rfind("http://", 0) == 0) return full;

    const std::string group = groupIdentifier();
    const auto& share = share_;
    // A custom base URL wins over every environment.
    if (auto custom = share->stringForKey("group_info_key_url", group); custom && !custom->empty())
        return *custom + full;
    const auto config = this->config();
    switch (share->integerForKey("group_info_key_env", group)) {
        case 0: return config.distributionEnvironmentHostName + full;
        case 1: return config.testEnvironmentHostName + full;
        case 2: return config.devEnvironmentHostName + full;
        case 3: return config.demoEnvironmentHostName + full;
        // No base: the text of an absent value stands in for it and the request fails.
        default: return "(null)" + full;
    }
}

std::optional<std::string> OTNetwork::httpRequestBody(const nlohmann::json& body) {
    if (body.is_string()) return body.get<std::string>();
    if (!body.is_object()) return std::nullopt;
    std::string pairs;
    for (const auto& [key, value] : body.items()) {
        pairs += (pairs.empty() ? "" : "&") + key + "=" + OTDescription::describe(value);
    }
    return pairs;
}

void OTNetwork::postRequestWithRelativeURLStr(const std::string& path, const nlohmann::json& header,
                                              const nlohmann::json& body, Success success, Failure failure) {
    requestWithRelativeUrl(path, 1, {}, header, body, std::move(success), std::move(failure));
}

void OTNetwork::requestWithRelativeUrl(const std::string& path, std::int64_t type, const Parameters& parameters,
                                       const nlohmann::json& header, const nlohmann::json& body, Success success,
                                       Failure failure) {
    if (path.empty()) return;
    OTHTTPTransport::Request request;
    request.url = getHttpURLWithRelativeUrl(path, parameters);
    request.timeout = timeoutInterval();
    if (type == 0) request.method = "GET";
    else if (type == 1) request.method = "POST";
    if (header.is_object()) {
        for (const auto& [field, value] : header.items()) {
            if (field != "Content-Type") request.headers.emplace_back(field, OTDescription::describe(value));
        }
    }
    // Whatever the caller says, the body is JSON.
    request.headers.emplace_back("Content-Type", "application/json");
    const auto bodyText = httpRequestBody(body);
    if (bodyText && !bodyText->empty()) {
        request.body = body.is_string() ? body.get<std::string>() : OTJSONWriter::prettyString(body).value_or("");
    }
    OTLog(OTLogger::kLevelData, "请求URL：%@\n参数：%@", request.url, OTUtils::ot_dictionaryToJson(body));
    const auto http = http_.lock();
    if (!http) return;
    http->send(std::move(request),
               [success = std::move(success), failure = std::move(failure)](
                   long status, const std::string& data, const std::optional<OTHTTPTransport::Failure>& error) {
                   OTLogger::guarded([&] {
                       if (error) {
                           if (failure) failure(Error{error->code, error->description});
                       } else if (success) {
                           success(Response{status}, data);
                       }
                   });
               });
}

}  // namespace corvane
