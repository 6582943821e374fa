#include <gtest/gtest.h>

#include <future>
#include <mutex>
#include <thread>
#include <vector>

#include "platform/OTHostHTTPTransport.h"

namespace corvane {

using namespace std::chrono_literals;

namespace {
struct Outcome {
    long status = 0;
    std::string body;
    std::optional<OTHTTPTransport::Failure> failure;
    std::thread::id thread;
};

// Sends `url` and gives the future of its one outcome; a second call of the completion breaks
// the promise's rule and fails the test.
std::future<Outcome> sendTo(OTHTTPTransport& transport, std::string url,
                            std::chrono::milliseconds timeout = std::chrono::milliseconds(60000)) {
    auto promise = std::make_shared<std::promise<Outcome>>();
    auto future = promise->get_future();
    OTHTTPTransport::Request request;
    request.url = std::move(url);
    request.method = "POST";
    request.headers = {{"Content-Type", "application/json"}};
    request.body = R"({"a":1})";
    request.timeout = timeout;
    transport.send(std::move(request), [promise](long status, const std::string& body, const auto& failure) {
        promise->set_value({status, body, failure, std::this_thread::get_id()});
    });
    return future;
}
}  // namespace

TEST(OTHostHTTPTransport, TheHostAnswersEachRequestOnceAndTheBoundsHoldWhateverItDoes) {
    OTHostHTTPTransport transport;
    std::mutex mutex;
    std::vector<std::pair<std::uint64_t, OTHTTPTransport::Request>> handed;
    transport.setSender([&](std::uint64_t id, const OTHTTPTransport::Request& request) {
        std::lock_guard lock(mutex);
        handed.emplace_back(id, request);
    });

    // Only http and https reach the host.
    auto ftp = sendTo(transport, "ftp://127.0.0.1/list");
    EXPECT_EQ(ftp.get().failure->code, OTHTTPTransport::kUnsupportedURLCode);
    auto plain = sendTo(transport, "HTTP://127.0.0.1/push/sdk/login");
    auto large = sendTo(transport, "https://127.0.0.1/big");
    auto never = sendTo(transport, "http://127.0.0.1/never", 30ms);
    {
        std::lock_guard lock(mutex);
        ASSERT_EQ(handed.size(), 3u);
        EXPECT_EQ(handed[0].second.url, "HTTP://127.0.0.1/push/sdk/login");
        EXPECT_EQ(handed[0].second.method, "POST");
        EXPECT_EQ(handed[0].second.body, R"({"a":1})");
        EXPECT_EQ(handed[0].second.headers.size(), 1u);
    }
    const auto plainId = handed[0].first;
    const auto largeId = handed[1].first;

    // Answered from another thread, once; the completion runs on the transport's own thread.
    std::thread host([&] { EXPECT_TRUE(transport.answer(plainId, 200, R"({"code":0})", 10)); });
    host.join();
    const auto answered = plain.get();
    EXPECT_EQ(answered.status, 200);
    EXPECT_EQ(answered.body, R"({"code":0})");
    EXPECT_FALSE(answered.failure);
    EXPECT_NE(answered.thread, std::this_thread::get_id());
    EXPECT_FALSE(transport.answer(plainId, 200, "", 0)) << "a second answer is refused";
    EXPECT_FALSE(transport.fail(plainId, -1009, "offline"));
    EXPECT_FALSE(transport.answer(999, 200, "", 0)) << "an id never handed out";

    // A body over the cap fails the request however the host got it.
    const std::string huge(OTHTTPTransport::kMaxAnswerBytes + 1, 'x');
    EXPECT_TRUE(transport.answer(largeId, 200, huge.data(), huge.size()));
    EXPECT_EQ(large.get().failure->code, OTHTTPTransport::kAnswerTooLargeCode);

    // Never answered: it times out, and the late answer finds nothing.
    const auto timedOut = never.get();
    ASSERT_TRUE(timedOut.failure);
    EXPECT_EQ(timedOut.failure->code, OTHostHTTPTransport::kTimedOutCode);
    EXPECT_FALSE(transport.answer(handed[2].first, 200, "", 0));

    // Without a sender nothing reaches a host, and the request fails at once.
    transport.setSender(nullptr);
    EXPECT_EQ(sendTo(transport, "http://127.0.0.1/x").get().failure->code, OTHTTPTransport::kUnsupportedURLCode);
    EXPECT_EQ(handed.size(), 3u);

    // The host's failures pass through with their own code and text.
    transport.setSender(
        [&](std::uint64_t id, const OTHTTPTransport::Request&) { transport.fail(id, -1009, "offline"); });
    const auto offline = sendTo(transport, "http://127.0.0.1/y").get();
    ASSERT_TRUE(offline.failure);
    EXPECT_EQ(offline.failure->code, -1009);
    EXPECT_EQ(offline.failure->description, "offline");
}

}  // namespace corvane
