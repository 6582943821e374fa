#include "OTSimulatorAssets.h"

#include <cctype>
#include <chrono>
#include <future>
#include <memory>

#include "foundation/OTFiles.h"
#include "platform/OTEnvironment.h"
#include "platform/OTHTTPTransport.h"
#include "services/OTImageDiskCache.h"
#include "services/OTUtils.h"

namespace corvane {

namespace {
// A server that does not answer costs a snapshot this much, not the run.
constexpr auto kFetchLimit = std::chrono::seconds(5);
}  // namespace

std::string OTSimulatorAssets::fileName(const std::string& url) {
    std::string path = url.substr(0, url.find_first_of("?#"));
    std::string extension;
    if (const auto dot = path.rfind('.'); dot != std::string::npos && dot > path.rfind('/')) {
        extension = path.substr(dot + 1);
        for (char c : extension) {
            if (!std::isalnum(static_cast<unsigned char>(c)) || extension.size() > 5) {
                extension.clear();
                break;
            }
        }
    }
    return OTUtils::md5(url).value_or("asset") + (extension.empty() ? "" : "." + extension);
}

std::optional<std::string> OTSimulatorAssets::localCopy(const std::string& url) {
    std::lock_guard lock(mutex_);
    if (const auto known = copies_.find(url); known != copies_.end()) return known->second;
    std::optional<std::string> copy;
    if (auto bytes = fetch(url)) {
        const auto name = fileName(url);
        std::error_code ec;
        std::filesystem::create_directories(directory_ / kFolderName, ec);
        if (OTFiles::writeFileAtomically(directory_ / kFolderName / name, *bytes))
            copy = std::string(kFolderName) + "/" + name;
    }
    copies_.emplace(url, copy);
    return copy;
}

std::optional<std::string> OTSimulatorAssets::fetch(const std::string& url) {
    if (auto cached = OTImageDiskCache::cache()->imageDataForKey(url)) return cached;
    auto answer = std::make_shared<std::promise<std::optional<std::string>>>();
    auto future = answer->get_future();
    OTHTTPTransport::Request request;
    request.url = url;
    request.timeout = kFetchLimit;
    OTEnvironment::current()->http().send(
        std::move(request),
        [answer](long status, const std::string& body, const std::optional<OTHTTPTransport::Failure>& failure) {
            answer->set_value(!failure && status == 200 ? std::optional<std::string>(body) : std::nullopt);
        });
    if (future.wait_for(kFetchLimit + std::chrono::seconds(1)) != std::future_status::ready) return std::nullopt;
    try {
        return future.get();
    } catch (const std::future_error&) {
        return std::nullopt;  // the transport went away without answering
    }
}

}  // namespace corvane
