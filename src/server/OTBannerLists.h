#pragma once

#include <atomic>
#include <cstdint>
#include <functional>
#include <memory>
#include <nlohmann/json_fwd.hpp>
#include <optional>
#include <string>

namespace corvane {

class OTLoginClient;
class OTUserConfig;

// The server's banner lists ("/push/sdk/banner" and "/push/sdk/defBanner"): each request's body,
// its answer rules and its logins again, on the server link of the engine.
class OTBannerLists {
public:
    static constexpr const char* kBannerPath = "/push/sdk/banner";
    static constexpr const char* kDefaultBannerPath = "/push/sdk/defBanner";

    // The whole answer of a request the server took, on the HTTP thread.
    using Answer = std::function<void(const nlohmann::json& answer)>;

    OTBannerLists(std::shared_ptr<OTLoginClient> login, std::shared_ptr<OTUserConfig> settings);

    // Asks for the list at `path` as the app group `groupIdentifier`, with the device's facts when
    // `withDevice`; an expired token logs in again and repeats while `retries` is within the limit
    // (the caller keeps the counter, which must outlive the request).
    void fetch(const char* path, const std::optional<std::string>& groupIdentifier, bool withDevice,
               std::atomic<std::uint64_t>& retries, Answer answer);

private:
    std::shared_ptr<OTLoginClient> login_;
    std::shared_ptr<OTUserConfig> settings_;
};

}  // namespace corvane
