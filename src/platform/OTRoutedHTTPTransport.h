#pragma once

#include <memory>
#include <mutex>

#include "platform/OTHTTPTransport.h"

namespace corvane {

// HTTP as the library sends it: through the platform's transport, or, once the host installs its
// own, through the host's instead. A request goes the way that was set when it was sent.
class OTRoutedHTTPTransport final : public OTHTTPTransport {
public:
    explicit OTRoutedHTTPTransport(std::shared_ptr<OTHTTPTransport> platform) : platform_(std::move(platform)) {}

    // Null gives the requests back to the platform's transport.
    void setHost(std::shared_ptr<OTHTTPTransport> host);
    void send(Request request, Completion completion) override;
    // Shuts both down.
    void shutdown() override;

private:
    std::shared_ptr<OTHTTPTransport> route();

    const std::shared_ptr<OTHTTPTransport> platform_;
    std::mutex mutex_;
    std::shared_ptr<OTHTTPTransport> host_;
};

}  // namespace corvane
