#include "platform/linux/OTCurlHTTPTransport.h"

#include <curl/curl.h>

#include <map>

namespace corvane {

namespace {
std::once_flag gCurlInit;

constexpr const char* kAllowedProtocols = "http,https";

OTHTTPTransport::Failure failureOf(CURLcode result, bool tooLarge) {
    if (tooLarge || result == CURLE_FILESIZE_EXCEEDED) {
        return {OTHTTPTransport::kAnswerTooLargeCode,
                "answer larger than " + std::to_string(OTHTTPTransport::kMaxAnswerBytes) + " bytes"};
    }
    if (result == CURLE_UNSUPPORTED_PROTOCOL) return {OTHTTPTransport::kUnsupportedURLCode, "unsupported URL"};
    return {static_cast<long>(result), curl_easy_strerror(result)};
}
}  // namespace

struct OTCurlHTTPTransport::Received {
    std::string body;
    bool tooLarge = false;
};

// Answers without a length are counted as they come; a refusal ends the transfer.
std::size_t OTCurlHTTPTransport::collect(char* data, std::size_t size, std::size_t count, void* target) {
    auto* received = static_cast<Received*>(target);
    const std::size_t bytes = size * count;
    if (bytes > OTHTTPTransport::kMaxAnswerBytes - received->body.size()) {
        received->tooLarge = true;
        return 0;
    }
    try {
        received->body.append(data, bytes);
    } catch (...) {
        return 0;  // nothing may be thrown through libcurl
    }
    return bytes;
}

struct OTCurlHTTPTransport::Transfer {
    Request request;
    Completion completion;
    CURL* easy = nullptr;
    curl_slist* headers = nullptr;
    Received received;

    ~Transfer() {
        if (headers != nullptr) curl_slist_free_all(headers);
        if (easy != nullptr) curl_easy_cleanup(easy);
    }
};

struct OTCurlHTTPTransport::State {
    std::mutex mutex;
    std::vector<std::unique_ptr<Transfer>> incoming;
    bool stopping = false;
    CURLM* multi = nullptr;

    ~State() { curl_multi_cleanup(multi); }
};

OTCurlHTTPTransport::OTCurlHTTPTransport() : state_(std::make_shared<State>()) {
    std::call_once(gCurlInit, [] { curl_global_init(CURL_GLOBAL_DEFAULT); });
    state_->multi = curl_multi_init();
    thread_ = std::thread([state = state_] { run(state); });
}

OTCurlHTTPTransport::~OTCurlHTTPTransport() { shutdown(); }

void OTCurlHTTPTransport::shutdown() {
    {
        std::lock_guard lock(state_->mutex);
        state_->stopping = true;
    }
    curl_multi_wakeup(state_->multi);
    if (!thread_.joinable()) return;
    if (thread_.get_id() == std::this_thread::get_id()) thread_.detach();
    else thread_.join();
}

void OTCurlHTTPTransport::send(Request request, Completion completion) {
    auto transfer = std::make_unique<Transfer>();
    transfer->request = std::move(request);
    transfer->completion = std::move(completion);
    {
        std::lock_guard lock(state_->mutex);
        if (state_->stopping) return;
        state_->incoming.push_back(std::move(transfer));
    }
    curl_multi_wakeup(state_->multi);
}

void OTCurlHTTPTransport::run(const std::shared_ptr<State>& state) {
    CURLM* multi = state->multi;
    std::map<CURL*, std::unique_ptr<Transfer>> running;
    for (;;) {
        std::vector<std::unique_ptr<Transfer>> added;
        {
            std::lock_guard lock(state->mutex);
            if (state->stopping) break;
            added.swap(state->incoming);
        }
        for (auto& transfer : added) {
            CURL* easy = curl_easy_init();
            if (easy == nullptr) {
                complete(transfer->completion, 0, "", Failure{CURLE_FAILED_INIT, "curl_easy_init failed"});
                continue;
            }
            transfer->easy = easy;
            const auto& request = transfer->request;
            curl_easy_setopt(easy, CURLOPT_URL, request.url.c_str());
            curl_easy_setopt(easy, CURLOPT_NOSIGNAL, 1L);
            curl_easy_setopt(easy, CURLOPT_PROTOCOLS_STR, kAllowedProtocols);
            curl_easy_setopt(easy, CURLOPT_REDIR_PROTOCOLS_STR, kAllowedProtocols);
            curl_easy_setopt(easy, CURLOPT_MAXFILESIZE_LARGE, static_cast<curl_off_t>(kMaxAnswerBytes));
            curl_easy_setopt(easy, CURLOPT_TIMEOUT_MS, static_cast<long>(request.timeout.count()));
            curl_easy_setopt(easy, CURLOPT_WRITEFUNCTION, collect);
            curl_easy_setopt(easy, CURLOPT_WRITEDATA, &transfer->received);
            if (request.method == "POST") curl_easy_setopt(easy, CURLOPT_POST, 1L);
            else if (request.method != "GET") curl_easy_setopt(easy, CURLOPT_CUSTOMREQUEST, request.method.c_str());
            if (request.body) {
                curl_easy_setopt(easy, CURLOPT_POSTFIELDSIZE, static_cast<long>(request.body->size()));
                curl_easy_setopt(easy, CURLOPT_COPYPOSTFIELDS, request.body->c_str());
            } else if (request.method == "POST") {
                curl_easy_setopt(easy, CURLOPT_POSTFIELDSIZE, 0L);
                curl_easy_setopt(easy, CURLOPT_POSTFIELDS, "");
            }
            // No cached answers: every request goes to the server.
            transfer->headers = curl_slist_append(transfer->headers, "Cache-Control: no-cache");
            transfer->headers = curl_slist_append(transfer->headers, "Expect:");
            for (const auto& [field, value] : request.headers) {
                std::string line = field;
                line.append(": ").append(value);
                transfer->headers = curl_slist_append(transfer->headers, line.c_str());
            }
            curl_easy_setopt(easy, CURLOPT_HTTPHEADER, transfer->headers);
            curl_multi_add_handle(multi, easy);
            running.emplace(easy, std::move(transfer));
        }

        int active = 0;
        curl_multi_perform(multi, &active);
        int queued = 0;
        while (CURLMsg* message = curl_multi_info_read(multi, &queued)) {
            if (message->msg != CURLMSG_DONE) continue;
            CURL* easy = message->easy_handle;
            const CURLcode result = message->data.result;
            curl_multi_remove_handle(multi, easy);
            auto node = running.extract(easy);
            if (node.empty()) continue;
            auto& transfer = node.mapped();
            long status = 0;
            curl_easy_getinfo(easy, CURLINFO_RESPONSE_CODE, &status);
            if (result != CURLE_OK) {
                complete(transfer->completion, status, "", failureOf(result, transfer->received.tooLarge));
            } else {
                complete(transfer->completion, status, transfer->received.body, std::nullopt);
            }
        }
        curl_multi_poll(multi, nullptr, 0, 1000, nullptr);
    }
    for (auto& [easy, transfer] : running) curl_multi_remove_handle(multi, easy);
}

}  // namespace corvane
