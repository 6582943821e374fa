#include <gtest/gtest.h>

#include <fstream>

#include "foundation/OTFiles.h"
#include "platform/linux/OTLinkStateReachabilitySource.h"
#include "services/OTLogger.h"
#include "services/OTReachability.h"
#include "services/OTReachabilityManager.h"
#include "support/OTTestEnvironment.h"

namespace corvane {

namespace fs = std::filesystem;
using R = OTReachability;

TEST(OTReachability, StatusFromFlags) {
    EXPECT_EQ(R::networkStatusForFlags(0), 0);
    EXPECT_EQ(R::networkStatusForFlags(R::kFlagIsWWAN | R::kFlagConnectionRequired), 0);  // not reachable
    EXPECT_EQ(R::networkStatusForFlags(R::kFlagReachable), 1);
    EXPECT_EQ(R::networkStatusForFlags(R::kFlagReachable | R::kFlagConnectionRequired), 0);
    EXPECT_EQ(R::networkStatusForFlags(R::kFlagReachable | R::kFlagConnectionRequired | R::kFlagConnectionOnDemand), 1);
    EXPECT_EQ(R::networkStatusForFlags(R::kFlagReachable | R::kFlagConnectionRequired | R::kFlagConnectionOnTraffic),
              1);
    // Intervention needed: the connection-required bit decides again.
    EXPECT_EQ(R::networkStatusForFlags(R::kFlagReachable | R::kFlagConnectionRequired | R::kFlagConnectionOnDemand |
                                       R::kFlagInterventionRequired),
              0);
    EXPECT_EQ(R::networkStatusForFlags(R::kFlagReachable | R::kFlagConnectionOnTraffic | R::kFlagInterventionRequired),
              1);
    for (R::Flags other : {0u, 4u, 8u, 16u, 32u, 60u}) {
        EXPECT_EQ(R::networkStatusForFlags(R::kFlagReachable | R::kFlagIsWWAN | other), 2) << other;
    }
    EXPECT_EQ(R::kFlagIsWWAN, 0x40000u);
}

TEST(OTReachability, MonitorsPostChangesOnTheMainQueueUntilStopped) {
    OTTestEnvironment test;
    EXPECT_EQ(R::reachabilityWithHostName(""), nullptr);
    EXPECT_EQ(R::reachabilityWithAddress({8, 2, {}}), nullptr);
    EXPECT_NE(R::reachabilityWithAddress({28, 30, {}}), nullptr);
    EXPECT_EQ(R::reachabilityWithHostName("ot.corvane.com")->target(), "ot.corvane.com");

    auto monitor = R::reachabilityForInternetConnection();
    ASSERT_NE(monitor, nullptr);
    EXPECT_EQ(monitor->target(), "0.0.0.0");
    std::vector<std::int64_t> seen;
    test.environment().notificationCenter().addObserver(&seen, R::kNetworkDidChangeNotification, [&](const auto& note) {
        EXPECT_TRUE(test.environment().mainQueue()->isCurrent());
        auto object = note.template objectAs<OTReachability>();
        ASSERT_EQ(object, monitor);
        seen.push_back(object->networkStatus());
    });
    test.reachability().setFlags(0);  // not started: nothing
    test.scheduler().runUntilIdle();
    EXPECT_TRUE(seen.empty());

    ASSERT_TRUE(monitor->startNotifier());
    test.reachability().setFlags(R::kFlagReachable | R::kFlagIsWWAN);
    EXPECT_TRUE(seen.empty());  // delivered on the main queue, not the source's thread
    test.reachability().setFlags(R::kFlagReachable | R::kFlagConnectionRequired);
    EXPECT_TRUE(monitor->connectionRequired());
    test.reachability().setFlags(std::nullopt);  // unreadable flags read as not reachable
    test.scheduler().runUntilIdle();
    EXPECT_EQ(seen, (std::vector<std::int64_t>{0, 0, 0}));  // each read when delivered
    EXPECT_FALSE(monitor->connectionRequired());

    test.reachability().setFlags(R::kFlagReachable);
    monitor->stopNotifier();
    test.scheduler().runUntilIdle();  // posted before the stop: still delivered
    EXPECT_EQ(seen.size(), 4u);
    test.reachability().setFlags(0);
    test.scheduler().runUntilIdle();
    EXPECT_EQ(seen.size(), 4u);
    EXPECT_EQ(test.reachability().observerCount(), 0u);

    // A monitor that goes away leaves no observer behind.
    auto transient = R::reachabilityForInternetConnection();
    transient->startNotifier();
    EXPECT_EQ(test.reachability().observerCount(), 1u);
    transient.reset();
    EXPECT_EQ(test.reachability().observerCount(), 0u);
    test.environment().notificationCenter().removeObserver(&seen);
}

TEST(OTReachability, RadioDescriptions) {
    OTTestEnvironment test;
    auto manager = OTReachabilityManager::sharedManager();
    manager->startReachability();
    EXPECT_TRUE(manager->isWIFI());
    EXPECT_EQ(manager->telephonyNetworkDescrition(), "WIFI");

    test.reachability().setFlags(0);
    EXPECT_FALSE(manager->hasNetwork());
    EXPECT_EQ(manager->telephonyNetworkDescrition(), "NO_NETWORK");

    test.reachability().setFlags(R::kFlagReachable | R::kFlagIsWWAN);
    EXPECT_TRUE(manager->isCellular());
    EXPECT_EQ(manager->telephonyNetworkDescrition(), "NO_NETWORK");  // no radio known
    test.reachability().setRadio("CTRadioAccessTechnologyLTE", {});
    EXPECT_EQ(manager->telephonyNetworkDescrition(), "CTRadioAccessTechnologyLTE");
    // The last service of the map wins on current systems.
    test.reachability().setRadio("CTRadioAccessTechnologyLTE", {{"0000000100", "CTRadioAccessTechnologyNR"},
                                                                {"0000000200", "CTRadioAccessTechnologyWCDMA"}});
    EXPECT_EQ(manager->telephonyNetworkDescrition(), "CTRadioAccessTechnologyWCDMA");

    test.reachability().setTelephonyFailure("CTTelephonyNetworkInfo unavailable");
    EXPECT_EQ(manager->telephonyNetworkDescrition(), std::nullopt);
    const auto log = test.log();
    EXPECT_NE(log.find("telephonyNetworkDescrition get exception:CTTelephonyNetworkInfo unavailable"),
              std::string::npos);
}

TEST(OTReachability, OlderSystemsReadTheSingleRadio) {
    OTTestEnvironment test;
    const auto installed = OTEnvironment::current();
    const auto radioOn = [&](const std::string& version) {
        OTEnvironment::Parts parts;
        parts.clock = std::make_shared<OTVirtualClock>(OTVirtualClock::defaultStart(), std::chrono::hours(8));
        parts.scheduler = std::make_shared<OTManualScheduler>(std::static_pointer_cast<OTVirtualClock>(parts.clock));
        parts.sandboxRoot = test.root() / version;
        parts.device = OTTestEnvironment::fixedDevice();
        parts.device.systemVersion = version;
        parts.console = std::make_shared<OTRecordingConsole>();
        auto source = std::make_shared<OTManualReachabilitySource>();
        source->setFlags(R::kFlagReachable | R::kFlagIsWWAN);
        source->setRadio("CTRadioAccessTechnologyLTE", {{"1", "CTRadioAccessTechnologyNR"}});
        parts.reachability = source;
        auto environment = std::make_shared<OTEnvironment>(std::move(parts));
        OTEnvironment::install(environment);
        const auto text = OTReachabilityManager::sharedManager()->telephonyNetworkDescrition();
        environment->shutdown();
        return text;
    };
    EXPECT_EQ(radioOn("11.4"), "CTRadioAccessTechnologyLTE");
    EXPECT_EQ(radioOn("12.0"), "CTRadioAccessTechnologyNR");
    EXPECT_EQ(radioOn("garbage"), "CTRadioAccessTechnologyLTE");
    OTEnvironment::install(installed);
}

TEST(OTLinkStateReachabilitySource, InterfacesUpWithACarrierMakeTheNetworkReachable) {
    OTTestEnvironment test;
    const fs::path net = test.root() / "net";
    const auto interface = [&](const std::string& name, const std::string& flags, const std::string& state,
                               const std::string& carrier) {
        fs::create_directories(net / name);
        std::ofstream(net / name / "flags") << flags << "\n";
        std::ofstream(net / name / "operstate") << state << "\n";
        std::ofstream(net / name / "carrier") << carrier << "\n";
    };
    EXPECT_EQ(OTLinkStateReachabilitySource::flagsForInterfaces(net), std::nullopt);  // no folder
    interface("lo", "0x9", "unknown", "1");
    interface("eth0", "0x1002", "down", "0");  // administratively down
    interface("wlan0", "not-hex", "up", "1");  // unreadable flags: skipped
    EXPECT_EQ(OTLinkStateReachabilitySource::flagsForInterfaces(net), 0u);
    interface("tun0", "0x1091", "unknown", "1");  // virtual links report "unknown" while carrying traffic
    EXPECT_EQ(OTLinkStateReachabilitySource::flagsForInterfaces(net), R::kFlagReachable);
    fs::remove_all(net / "tun0");
    interface("eth0", "0x1003", "up", "1");
    EXPECT_EQ(OTLinkStateReachabilitySource::flagsForInterfaces(net), R::kFlagReachable);

    // The watcher thread starts with the first observer and stops with the source.
    auto source = std::make_shared<OTLinkStateReachabilitySource>(net);
    EXPECT_EQ(source->currentFlags(), R::kFlagReachable);
    EXPECT_EQ(source->currentRadioAccessTechnology(), std::nullopt);
    const auto token = source->addObserver([] {});
    source->removeObserver(token);
    EXPECT_EQ(source->addObserver({}), 0u);
}

}  // namespace corvane
