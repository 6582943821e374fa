#pragma once

#include <filesystem>
#include <functional>
#include <memory>
#include <optional>
#include <string>

#include "services/OTDiskCache.h"

namespace corvane {

// Video files kept beside the documents folder's "OT_Video", indexed under "OTVideoDiskCacheKeys".
class OTVideoDiskCache final : public OTDiskCache {
public:
    static constexpr const char* kIndexKey = "OTVideoDiskCacheKeys";
    static constexpr const char* kFolderName = "OT_Video";
    using Lookup = std::function<void(bool found, const std::string& key, const std::optional<std::string>& fileURL)>;

    OTVideoDiskCache();
    static std::shared_ptr<OTVideoDiskCache> cache();

    // Found whenever the index knows the address, whether or not the file is there. Answers at
    // once on the caller's thread; an empty key never answers.
    void containsVideoPathForKey(const std::optional<std::string>& key, const Lookup& block);
    // "file://" + the folder + "/<stored key>.mp4".
    std::optional<std::string> videoPathForKey(const std::optional<std::string>& key);
    // Moves a downloaded file to the folder path directly followed by "<stored key>.mp4" (no
    // separator: the file lands next to the folder, under a name that starts with "OT_Video").
    void setVideoPath(const std::optional<std::string>& sourcePath, const std::optional<std::string>& key);
    const std::string& videoFolderPath() const { return folder_; }

private:
    std::string folder_;
};

}  // namespace corvane
