#pragma once

#include <filesystem>
#include <map>
#include <mutex>
#include <optional>
#include <string>

#include "render/OTHTMLRenderer.h"

namespace corvane {

// Copies of what the snapshot pages show from the network (pictures, videos, web pages), kept in
// an "assets" folder beside the pages, so that a page still shows them once the run and its server
// are gone. A picture the library has cached is copied from its cache; anything else is fetched
// through the run's transport.
class OTSimulatorAssets {
public:
    static constexpr const char* kFolderName = "assets";

    explicit OTSimulatorAssets(std::filesystem::path htmlDirectory) : directory_(std::move(htmlDirectory)) {}

    // "assets/<name>" for `url`, fetched once per run; nothing when it cannot be had.
    std::optional<std::string> localCopy(const std::string& url);
    OTHTMLRenderer::AssetSource source() {
        return [this](const std::string& url) { return localCopy(url); };
    }
    // A file name for `url`: a digest of it, with the extension its path ends in.
    static std::string fileName(const std::string& url);

private:
    static std::optional<std::string> fetch(const std::string& url);

    std::filesystem::path directory_;
    std::mutex mutex_;
    std::map<std::string, std::optional<std::string>> copies_;
};

}  // namespace corvane
