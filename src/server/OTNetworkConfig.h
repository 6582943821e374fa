#pragma once

#include <string>

namespace corvane {

// The base URLs of the four server environments: scheme, host and port, no trailing slash.
struct OTNetworkConfig {
    std::string devEnvironmentHostName = "https://ot-dev.corvane.com:38088";
    std::string testEnvironmentHostName = "https://ot-test.corvane.com:28088";
    std::string distributionEnvironmentHostName = "https://ot.corvane.com:8088";
    std::string demoEnvironmentHostName = "https://ot-demo.corvane.com:58088";

    // All four environments pointing at one custom base URL.
    static OTNetworkConfig withBaseURL(const std::string& url) { return OTNetworkConfig{url, url, url, url}; }
};

}  // namespace corvane
