#include "services/OTVideoDiskCache.h"

#include "platform/OTEnvironment.h"

namespace corvane {

OTVideoDiskCache::OTVideoDiskCache()
    : OTDiskCache(kIndexKey),
      folder_((OTEnvironment::current()->sandbox().documentsDirectory() / kFolderName).string()) {
    OTEnvironment::current()->files().createPrivateDirectories(folder_);
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
    OTEnvironment::current()->files().moveFile(*sourcePath, folder_ + stored + ".mp4");
    addStoredKey(stored);
}

}  // namespace corvane
