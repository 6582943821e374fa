#include <arpa/inet.h>
#include <gtest/gtest.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <future>
#include <stdexcept>
#include <thread>

#include "foundation/OTFiles.h"
#include "platform/linux/OTCurlHTTPTransport.h"
#include "services/OTLogger.h"
#include "support/OTTestEnvironment.h"

namespace corvane {

using namespace std::chrono_literals;

namespace {
struct Fetched {
    long status = 0;
    std::size_t bodySize = 0;
    std::optional<OTHTTPTransport::Failure> failure;
};

Fetched fetch(OTHTTPTransport& transport, const std::string& url) {
    auto promise = std::make_shared<std::promise<Fetched>>();
    auto future = promise->get_future();
    OTHTTPTransport::Request request;
    request.url = url;
    request.timeout = 10s;
    transport.send(request, [promise](long status, const std::string& body,
                                      const std::optional<OTHTTPTransport::Failure>& failure) {
        promise->set_value(Fetched{status, body.size(), failure});
    });
    if (future.wait_for(30s) != std::future_status::ready)
        return Fetched{-1, 0, OTHTTPTransport::Failure{-1, "no answer"}};
    return future.get();
}

// A loopback listener that answers every connection with `answer` (when given) and counts them.
class RawServer {
public:
    explicit RawServer(std::optional<std::string> answer) : answer_(std::move(answer)) {
        // Without an answer nobody accepts: the socket only tells whether someone connected.
        fd_ = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC | (answer_ ? 0 : SOCK_NONBLOCK), 0);
        sockaddr_in address{};
        address.sin_family = AF_INET;
        address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        ::bind(fd_, reinterpret_cast<sockaddr*>(&address), sizeof address);
        socklen_t length = sizeof address;
        ::getsockname(fd_, reinterpret_cast<sockaddr*>(&address), &length);
        port_ = ntohs(address.sin_port);
        ::listen(fd_, 8);
        if (answer_) thread_ = std::thread([this] { serve(); });
    }
    ~RawServer() {
        ::shutdown(fd_, SHUT_RDWR);
        ::close(fd_);
        if (thread_.joinable()) thread_.join();
    }
    int port() const { return port_; }
    // Connections waiting that nobody accepted.
    bool anyoneConnected() const {
        const int client = ::accept(fd_, nullptr, nullptr);
        if (client < 0) return false;
        ::close(client);
        return true;
    }

private:
    void serve() {
        const int client = ::accept(fd_, nullptr, nullptr);
        if (client < 0) return;
        char request[4096];
        (void)::recv(client, request, sizeof request, 0);
        std::size_t sent = 0;
        while (sent < answer_->size()) {
            const auto n = ::send(client, answer_->data() + sent, answer_->size() - sent, MSG_NOSIGNAL);
            if (n <= 0) break;
            sent += static_cast<std::size_t>(n);
        }
        ::close(client);
    }

    std::optional<std::string> answer_;
    int fd_ = -1;
    int port_ = 0;
    std::thread thread_;
};

std::string answerWithoutLength(std::size_t bodyBytes) {
    return "HTTP/1.1 200 OK\r\nConnection: close\r\nContent-Type: text/plain\r\n\r\n" + std::string(bodyBytes, 'x');
}

std::string answerWithLength(std::size_t bodyBytes) {
    return "HTTP/1.1 200 OK\r\nConnection: close\r\nContent-Length: " + std::to_string(bodyBytes) + "\r\n\r\n" +
           std::string(bodyBytes, 'x');
}
}  // namespace

TEST(OTCurlHTTPTransport, OnlyHttpAndHttpsAreFetched) {
    OTTestEnvironment test;
    OTCurlHTTPTransport transport;
    RawServer listener(std::nullopt);
    const auto port = std::to_string(listener.port());
    for (const std::string& url :
         {"gopher://127.0.0.1:" + port + "/_raw%20bytes", "dict://127.0.0.1:" + port + "/d:x",
          "ftp://127.0.0.1:" + port + "/x", std::string("file:///etc/passwd"), "telnet://127.0.0.1:" + port}) {
        SCOPED_TRACE(url);
        const auto outcome = fetch(transport, url);
        ASSERT_TRUE(outcome.failure.has_value());
        EXPECT_EQ(outcome.failure->code, OTHTTPTransport::kUnsupportedURLCode);
        EXPECT_EQ(outcome.failure->description, "unsupported URL");
    }
    EXPECT_FALSE(listener.anyoneConnected());
}

TEST(OTCurlHTTPTransport, AnswersAboveTheCapFailWithOrWithoutALength) {
    OTTestEnvironment test;
    OTCurlHTTPTransport transport;
    const auto cap = OTHTTPTransport::kMaxAnswerBytes;
    struct Case {
        std::string answer;
        bool accepted;
    };
    for (const auto& [answer, accepted] :
         {Case{answerWithLength(cap), true}, Case{answerWithLength(cap + 1), false},
          Case{answerWithoutLength(cap), true}, Case{answerWithoutLength(cap + 1), false}}) {
        RawServer server(answer);
        const auto outcome = fetch(transport, "http://127.0.0.1:" + std::to_string(server.port()) + "/big");
        if (accepted) {
            EXPECT_FALSE(outcome.failure.has_value());
            EXPECT_EQ(outcome.status, 200);
            EXPECT_EQ(outcome.bodySize, cap);
        } else {
            ASSERT_TRUE(outcome.failure.has_value());
            EXPECT_EQ(outcome.failure->code, OTHTTPTransport::kAnswerTooLargeCode);
            EXPECT_EQ(outcome.failure->description, "answer larger than 16777216 bytes");
            EXPECT_EQ(outcome.bodySize, 0u);
        }
    }
}

TEST(OTCurlHTTPTransport, ACompletionThatThrowsDoesNotStopTheTransport) {
    OTTestEnvironment test;
    OTCurlHTTPTransport transport;
    RawServer first(answerWithLength(2));
    auto thrown = std::make_shared<std::promise<void>>();
    OTHTTPTransport::Request request;
    request.url = "http://127.0.0.1:" + std::to_string(first.port()) + "/";
    transport.send(request, [thrown](long, const std::string&, const std::optional<OTHTTPTransport::Failure>&) {
        thrown->set_value();
        throw std::runtime_error("boom");
    });
    ASSERT_EQ(thrown->get_future().wait_for(30s), std::future_status::ready);
    RawServer second(answerWithLength(3));
    const auto outcome = fetch(transport, "http://127.0.0.1:" + std::to_string(second.port()) + "/");
    EXPECT_FALSE(outcome.failure.has_value());
    EXPECT_EQ(outcome.bodySize, 3u);
}

}  // namespace corvane
