#include "services/OTDownloadManager.h"

#include <atomic>

#include "foundation/OTImage.h"
#include "platform/OTEnvironment.h"
#include "services/OTImageDiskCache.h"
#include "services/OTLogger.h"
#include "services/OTVideoDiskCache.h"

namespace corvane {

std::shared_ptr<OTDownloadManager> OTDownloadManager::sharedManager() {
    return OTEnvironment::current()->singleton<OTDownloadManager>([] { return std::make_shared<OTDownloadManager>(); });
}

OTDownloadManager::Error OTDownloadManager::noURLError() { return {kErrorDomain, kNoURLCode, kNoURLDescription}; }

void OTDownloadManager::fetch(
    const std::string& url, std::function<void(const std::optional<std::string>&, const std::optional<Error>&)> done) {
    OTHTTPTransport::Request request;
    request.url = url;
    OTEnvironment::current()->http().send(
        std::move(request), [done = std::move(done)](long status, const std::string& body,
                                                     const std::optional<OTHTTPTransport::Failure>& failure) {
            OTLogger::guarded([&] {
                if (failure) {
                    done(std::nullopt, Error{"NSURLErrorDomain", failure->code, failure->description});
                } else if (status < 200 || status > 299) {
                    done(std::nullopt, Error{"NSURLErrorDomain", status, "HTTP status " + std::to_string(status)});
                } else {
                    done(body, std::nullopt);
                }
            });
        });
}

void OTDownloadManager::downloadImageWithURL(const std::optional<std::string>& url, const ImageCompletion& completion) {
    if (!url || url->empty()) {
        const auto error = noURLError();
        if (completion) completion(nullptr, std::nullopt, error, true);
        OTLog(OTLogger::kLevelError, "code:%@\ndescripton:%@\n", error.code, error.localizedDescription);
        return;
    }
    auto cache = OTImageDiskCache::cache();
    cache->containsImageDataForKey(*url, [weak = weak_from_this(), completion](bool found, const std::string& key,
                                                                               const std::optional<std::string>& data) {
        if (found && data) {
            if (completion) completion(OTImage::imageWithData(*data), data, std::nullopt, true);
            return;
        }
        auto self = weak.lock();
        if (!self) return;
        self->fetch(key, [completion, key](const std::optional<std::string>& body, const std::optional<Error>& error) {
            if (error) {
                if (completion) completion(nullptr, std::nullopt, error, true);
                OTLog(OTLogger::kLevelError, "code：%@ 图片下载失败：%@ url：%@", error->code,
                      error->localizedDescription, key);
                return;
            }
            // Without a codec here the first caller gets the bytes as downloaded (Apple re-encodes
            // them as a JPEG of quality 0.2 first).
            if (completion) completion(OTImage::imageWithData(*body), body, std::nullopt, true);
            OTImageDiskCache::cache()->setImageData(*body, key);
        });
    });
}

void OTDownloadManager::downloadVideoWithURL(const std::optional<std::string>& url, const VideoCompletion& completion) {
    if (!url || url->empty()) {
        const auto error = noURLError();
        if (completion) completion(std::nullopt, error, true);
        OTLog(OTLogger::kLevelError, "code:%@\ndescripton:%@\n", error.code, error.localizedDescription);
        return;
    }
    OTVideoDiskCache::cache()->containsVideoPathForKey(*url, [weak = weak_from_this(), completion](
                                                                 bool found, const std::string& key,
                                                                 const std::optional<std::string>& fileURL) {
        if (found) {
            if (completion) completion(fileURL, std::nullopt, true);
            return;
        }
        auto self = weak.lock();
        if (!self) return;
        self->fetch(key, [completion, key](const std::optional<std::string>& body, const std::optional<Error>& error) {
            if (error) {
                // Unlike pictures, a failed video reports itself unfinished.
                if (completion) completion(std::nullopt, error, false);
                OTLog(OTLogger::kLevelError, "code：%@ 视频下载失败：%@ url：%@", error->code,
                      error->localizedDescription, key);
                return;
            }
            static std::atomic<unsigned> serial{0};
            auto cache = OTVideoDiskCache::cache();
            const auto download =
                OTEnvironment::current()->sandbox().root() / "tmp" / ("download-" + std::to_string(++serial) + ".mp4");
            auto& files = OTEnvironment::current()->files();
            files.writeFileAtomically(download, *body);
            cache->setVideoPath(download.string(), key);
            files.removeFile(download);  // left behind when the move failed
            if (completion) completion(cache->videoPathForKey(key), std::nullopt, true);
        });
    });
}

}  // namespace corvane
