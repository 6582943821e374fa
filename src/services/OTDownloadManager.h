#pragma once

#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

namespace corvane {

class OTImage;

// Fetches campaign pictures and videos once: a URL already in its cache answers from there,
// anything else is downloaded and stored. Wants of an address whose download is under way wait
// for that one: one request and one stored copy per address.
class OTDownloadManager : public std::enable_shared_from_this<OTDownloadManager> {
public:
    struct Error {
        std::string domain;
        long code = 0;
        std::string localizedDescription;
    };
    static constexpr const char* kErrorDomain = "OTErrorDomain";
    static constexpr long kNoURLCode = 1000;
    static constexpr const char* kNoURLDescription = "Image url is nil";

    using ImageCompletion =
        std::function<void(const std::shared_ptr<OTImage>& image, const std::optional<std::string>& data,
                           const std::optional<Error>& error, bool finished)>;
    using VideoCompletion = std::function<void(const std::optional<std::string>& fileURL,
                                               const std::optional<Error>& error, bool finished)>;

    static std::shared_ptr<OTDownloadManager> sharedManager();

    // A cached file completes at once on the caller's thread; a download completes on the HTTP
    // session's thread.
    void downloadImageWithURL(const std::optional<std::string>& url, const ImageCompletion& completion);
    void downloadVideoWithURL(const std::optional<std::string>& url, const VideoCompletion& completion);

private:
    // What a download gives its wanters: the picture's bytes, or the stored video's file URL.
    using Done = std::function<void(const std::optional<std::string>& result, const std::optional<Error>& error)>;

    static Error noURLError();
    // Joins the download of `url` under way, or answers from `cached`, or starts the download:
    // `store` keeps the body and gives the result, before anyone else asks again.
    void fetchOnce(const std::string& url, const std::function<std::optional<std::string>()>& cached,
                   std::function<std::optional<std::string>(const std::string& body)> store, Done done);
    // GETs `url`; `done` gets the body, or the error of a transport failure or an answer that is
    // not 2xx (an error page is never cached as a picture).
    void fetch(const std::string& url,
               std::function<void(const std::optional<std::string>& body, const std::optional<Error>& error)> done);

    std::mutex mutex_;
    std::map<std::string, std::vector<Done>> inFlight_;
};

}  // namespace corvane
