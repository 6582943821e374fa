#pragma once

#include <functional>
#include <memory>
#include <nlohmann/json_fwd.hpp>
#include <optional>
#include <string>

namespace corvane {

class OTLoginClient;
class OTServerSession;
class OTUserConfig;

// The upload of a page's name (alias) from the page tagging tool: its request body and answer
// rules, on the server link of the engine.
class OTAliasUploader {
public:
    static constexpr const char* kUploadPath = "/push/sdk/pageview/upload";

    using Completion = std::function<void(bool success)>;

    OTAliasUploader(std::shared_ptr<OTServerSession> session, std::shared_ptr<OTLoginClient> login,
                    std::shared_ptr<OTUserConfig> settings);

    // Uploads `alias` as the name of the native page `url` and/or the web page `h5Url`; the
    // completion runs once, on the HTTP thread: true when the server took it. An expired login
    // logs in again and repeats the upload, a bounded number of times per upload.
    void upload(const std::string& alias, const std::optional<std::string>& url,
                const std::optional<std::string>& h5Url, Completion completion);
    // The request body of such an upload.
    nlohmann::json body(const std::string& alias, const std::optional<std::string>& url,
                        const std::optional<std::string>& h5Url) const;

private:
    std::shared_ptr<OTServerSession> session_;
    std::shared_ptr<OTLoginClient> login_;
    std::shared_ptr<OTUserConfig> settings_;
};

}  // namespace corvane
