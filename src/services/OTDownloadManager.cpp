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

void OTDownloadManager::fetchOnce(const std::string& url, const std::function<std::optional<std::string>()>& cached,
                                  std::function<std::optional<std::string>(const std::string&)> store, Done done) {
    {
        std::unique_lock lock(mutex_);
        if (const auto waiting = inFlight_.find(url); waiting != inFlight_.end()) {
            waiting->second.push_back(std::move(done));
            return;
        }
        // Stored by a download that ended since the caller looked: no second request.
        if (const auto hit = cached()) {
            lock.unlock();
            done(hit, std::nullopt);
            return;
        }
        inFlight_[url].push_back(std::move(done));
    }
    fetch(url, [weak = weak_from_this(), url, store = std::move(store)](const std::optional<std::string>& body,
                                                                        const std::optional<Error>& error) {
        // Stored before the waiters are let go, so that a want after them finds it in the cache.
        const auto result = body ? store(*body) : std::nullopt;
        auto self = weak.lock();
        if (!self) return;
        std::vector<Done> waiting;
        {
            std::lock_guard lock(self->mutex_);
            if (const auto it = self->inFlight_.find(url); it != self->inFlight_.end()) {
                waiting = std::move(it->second);
                self->inFlight_.erase(it);
            }
        }
        for (const auto& wanter : waiting) {
            if (error) wanter(std::nullopt, error);
            else wanter(result, std::nullopt);
        }
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
    const auto deliver = [completion](const std::optional<std::string>& data) {
        if (completion) completion(OTImage::imageWithData(*data), data, std::nullopt, true);
    };
    if (const auto data = cache->imageDataForKey(*url)) {
        deliver(data);
        return;
    }
    const std::string& key = *url;
    fetchOnce(
        key, [cache, key] { return cache->imageDataForKey(key); },
        [cache, key](const std::string& body) -> std::optional<std::string> {
            // Without a codec here the bytes are kept as downloaded (Apple re-encodes them as a JPEG
            // of quality 0.2 first).
            cache->setImageData(body, key);
            return body;
        },
        [completion, deliver, key](const std::optional<std::string>& data, const std::optional<Error>& error) {
            if (!error) return deliver(data);
            if (completion) completion(nullptr, std::nullopt, error, true);
            OTLog(OTLogger::kLevelError, "code：%@ 图片下载失败：%@ url：%@", error->code, error->localizedDescription,
                  key);
        });
}

void OTDownloadManager::downloadVideoWithURL(const std::optional<std::string>& url, const VideoCompletion& completion) {
    if (!url || url->empty()) {
        const auto error = noURLError();
        if (completion) completion(std::nullopt, error, true);
        OTLog(OTLogger::kLevelError, "code:%@\ndescripton:%@\n", error.code, error.localizedDescription);
        return;
    }
    auto cache = OTVideoDiskCache::cache();
    if (const auto fileURL = cache->videoPathForKey(*url)) {
        if (completion) completion(fileURL, std::nullopt, true);
        return;
    }
    const std::string& key = *url;
    fetchOnce(
        key, [cache, key] { return cache->videoPathForKey(key); },
        [cache, key](const std::string& body) {
            static std::atomic<unsigned> serial{0};
            const auto download =
                OTEnvironment::current()->sandbox().root() / "tmp" / ("download-" + std::to_string(++serial) + ".mp4");
            auto& files = OTEnvironment::current()->files();
            files.writeFileAtomically(download, body);
            cache->setVideoPath(download.string(), key);
            files.removeFile(download);  // left behind when the move failed
            return cache->videoPathForKey(key);
        },
        [completion, key](const std::optional<std::string>& fileURL, const std::optional<Error>& error) {
            if (!error) {
                if (completion) completion(fileURL, std::nullopt, true);
                return;
            }
            // Unlike pictures, a failed video reports itself unfinished.
            if (completion) completion(std::nullopt, error, false);
            OTLog(OTLogger::kLevelError, "code：%@ 视频下载失败：%@ url：%@", error->code, error->localizedDescription,
                  key);
        });
}

}  // namespace corvane
