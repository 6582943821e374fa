#include <gtest/gtest.h>

#include <nlohmann/json.hpp>

#include "capi/OTCApiHost.h"
#include "support/OTServerHarness.h"

namespace corvane {

TEST(OTCApi, BadInputGivesItsDocumentedStatusAndNeverBreaksTheLibrary) {
    OTTestEnvironment test;
    EXPECT_EQ(ot_capi_bad_input(), 0) << "the number is the first check that failed";
    test.scheduler().runUntilIdle();
}

TEST(OTCApi, ACHostStartsSendsEventsAndReceivesBannersFromTheDevServer) {
    OTServerHarness h;
    h.test.installHostApp();
    ASSERT_EQ(ot_capi_start("group.demo", (h.server.baseURL() + "/").c_str()), 0);
    ASSERT_TRUE(h.waitForLog("in_app data:\n"));
    ASSERT_TRUE(h.waitForLog("banner data:\n"));
    const auto logins = h.server.requestsTo("/push/sdk/login");
    ASSERT_FALSE(logins.empty());
    EXPECT_EQ(logins[0].body.value("appKey", ""), "capi-key");

    ot_capi_banners banners{};
    ASSERT_EQ(ot_capi_purchase_and_banners("group.demo", 120, &banners), 0);
    // The sample purchase campaign asks the server to trigger its follow-up.
    ASSERT_TRUE(h.waitFor([&] { return !h.server.requestsTo("/push/sdk/event/trigger").empty(); }));
    ASSERT_TRUE(h.waitFor([&] { return banners.calls == 1; }));
    EXPECT_EQ(banners.was_null, 0);
    const auto list = nlohmann::json::parse(banners.text, nullptr, false);
    ASSERT_TRUE(list.is_array()) << banners.text;
    ASSERT_FALSE(list.empty());
    EXPECT_EQ(list[0].value("locationId", ""), "home_top");
}

}  // namespace corvane
