#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "foundation/OTNotificationCenter.h"

namespace corvane {

TEST(OTNotificationCenter, NotificationsReachObserversInOrderUntilRemoved) {
    OTNotificationCenter center;
    std::vector<std::string> seen;
    int owner1 = 0;
    int owner2 = 0;
    center.addObserver(&owner1, "N", [&](const auto& n) {
        seen.push_back("1:" + n.name);
        center.removeObserver(&owner2);  // removal during a post takes effect at once
    });
    center.addObserver(&owner2, "N", [&](const auto&) { seen.push_back("2"); });
    center.addObserver(&owner2, "M", [&](const auto&) { seen.push_back("M"); });
    center.post("N");
    center.post("M");
    EXPECT_EQ(seen, (std::vector<std::string>{"1:N"}));
    EXPECT_EQ(center.observerCount("N"), 1u);
    center.removeObserver(&owner1, "N");
    EXPECT_EQ(center.observerCount("N"), 0u);
}

}  // namespace corvane
