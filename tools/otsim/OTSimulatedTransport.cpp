#include "OTSimulatedTransport.h"

#include <utility>

#include "OTDevServer.h"
#include "platform/OTDispatchQueue.h"

namespace corvane {

OTSimulatedTransport::OTSimulatedTransport(OTDevServer& server, std::string serverURL,
                                           std::shared_ptr<OTDispatchQueue> queue, std::uint64_t seed)
    : server_(server), serverURL_(std::move(serverURL)), queue_(std::move(queue)), random_(seed) {}

void OTSimulatedTransport::send(Request request, Completion completion) {
    if (!*open_ || !completion) return;
    const auto latency = std::chrono::milliseconds(std::uniform_int_distribution<int>(5, 80)(random_));
    const auto finish = [this, completion = std::move(completion)](std::chrono::milliseconds after, long status,
                                                                   std::string body,
                                                                   const std::optional<Failure>& failure) {
        queue_->after(after, [open = open_, completion, status, body = std::move(body), failure] {
            if (*open) complete(completion, status, body, failure);
        });
    };
    const std::string& url = request.url;
    if (url.rfind("http://", 0) != 0 && url.rfind("https://", 0) != 0) {
        return finish(std::chrono::milliseconds(0), 0, "", Failure{kUnsupportedURLCode, "unsupported URL"});
    }
    if (url.rfind(serverURL_ + "/", 0) != 0) {
        return finish(latency, 0, "", Failure{kCouldNotConnect, "Couldn't connect to server"});
    }
    std::string path = url.substr(serverURL_.size());
    if (const auto query = path.find('?'); query != std::string::npos) path.erase(query);
    const auto reply = server_.handle(request.method, path, request.body.value_or(""));
    const auto taken = latency + reply.delay;
    if (taken > request.timeout) {
        return finish(request.timeout, 0, "", Failure{kTimedOut, "Timeout was reached"});
    }
    if (reply.dropped)
        return finish(taken, 0, "", Failure{kGotNothing, "Server returned nothing (no headers, no status code)"});
    if (reply.body.size() > kMaxAnswerBytes) {
        return finish(taken, reply.status, "",
                      Failure{kAnswerTooLargeCode, "answer larger than " + std::to_string(kMaxAnswerBytes) + " bytes"});
    }
    if (reply.truncated) return finish(taken, reply.status, "", Failure{kPartialFile, "Transferred a partial file"});
    finish(taken, reply.status, reply.body, std::nullopt);
}

void OTSimulatedTransport::shutdown() { *open_ = false; }

}  // namespace corvane
