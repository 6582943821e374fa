#include "platform/OTRoutedHTTPTransport.h"

#include <utility>

namespace corvane {

void OTRoutedHTTPTransport::setHost(std::shared_ptr<OTHTTPTransport> host) {
    std::lock_guard lock(mutex_);
    host_ = std::move(host);
}

std::shared_ptr<OTHTTPTransport> OTRoutedHTTPTransport::route() {
    std::lock_guard lock(mutex_);
    return host_ ? host_ : platform_;
}

void OTRoutedHTTPTransport::send(Request request, Completion completion) {
    route()->send(std::move(request), std::move(completion));
}

void OTRoutedHTTPTransport::shutdown() {
    std::shared_ptr<OTHTTPTransport> host;
    {
        std::lock_guard lock(mutex_);
        host = host_;
    }
    if (host) host->shutdown();
    platform_->shutdown();
}

}  // namespace corvane
