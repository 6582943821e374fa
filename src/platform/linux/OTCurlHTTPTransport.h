#pragma once

#include <cstddef>
#include <memory>
#include <mutex>
#include <thread>
#include <vector>

#include "platform/OTHTTPTransport.h"

namespace corvane {

// HTTP over libcurl: a single multi handle on its own thread, connections reused between
// requests, completions called on that thread.
class OTCurlHTTPTransport final : public OTHTTPTransport {
public:
    OTCurlHTTPTransport();
    ~OTCurlHTTPTransport() override;
    OTCurlHTTPTransport(const OTCurlHTTPTransport&) = delete;
    OTCurlHTTPTransport& operator=(const OTCurlHTTPTransport&) = delete;

    void send(Request request, Completion completion) override;
    void shutdown() override;

private:
    struct Received;
    struct Transfer;
    static std::size_t collect(char* data, std::size_t size, std::size_t count, void* target);
    // What the transport's thread works on; the thread holds it too, so that a transport ended
    // from inside one of its own completions leaves the thread a valid state to finish with.
    struct State;
    static void run(const std::shared_ptr<State>& state);

    std::shared_ptr<State> state_;
    std::thread thread_;
};

}  // namespace corvane
