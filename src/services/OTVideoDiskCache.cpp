#include "services/OTVideoDiskCache.h"

#include "foundation/OTFiles.h"
#include "platform/OTEnvironment.h"

namespace corvane {

OTVideoDiskCache::OTVideoDiskCache()
    : OTDiskCache(kIndexKey),
      folder_((OTEnvironment::current()->sandbox().documentsDirectory() / kFolderName).string()) {
    OTFiles::createPrivateDirectories(folder_);
}

std::shared_ptr<OTVideoDiskCache> OTVideoDiskCache::cache() { return sharedCache<OTVideoDiskCache>(); }

std::optional<std::string> OTVideoDiskCache::videoPathForKey(const std::optional<std::string>& key) {
    if (!key || key->empty()) return std::nullopt;
    const auto stored = findStoredKey(*key);
    if (!stored) return std::nullopt;
    return "file://" + folder_ + "/" + *stored + ".mp4";
}

void OTVideoDiskCache::containsVideoPathForKey(const std::optional<std::string>& key, const Lookup& block) {
    if (!key || key->empty() || !block) return;
    const auto path = videoPathForKey(key);
    block(path.has_value(), *key, path);
}

void OTVideoDiskCache::setVideoPath(const std::optional<std::string>& sourcePath,
                                    const std::optional<std::string>& key) {
    if (!key || key->empty() || !sourcePath || sourcePath->empty()) return;
    const std::string stored = makeStoredKey(*key);
    std::error_code ec;
    std::filesystem::rename(*sourcePath, folder_ + stored + ".mp4", ec);
    addStoredKey(stored);
}

}  // namespace corvane
