// A small host app: it registers the library as its analytics observer, tells it who the user is
// and hands it the analytics events it records. Given a campaign server's address, it also starts
// the library against that server and lets it work for a few seconds:
//   example_host [http://127.0.0.1:8080/]
#include <corvane/CorvaneOtManager.h>

#include <chrono>
#include <iostream>
#include <thread>

int main(int argc, char** argv) {
    using corvane::CorvaneOtManager;
    const std::string group = "group.com.example.host";
    auto observer = CorvaneOtManager::getObserverListener(group);
    observer->onUserProfile({{"xwho", "user-1"}, {"calibration_time", 0}});
    if (argc > 1) {
        auto config = std::make_shared<corvane::CorvaneOtConfig>();
        config->setApplicationGroupIdentifier(group);
        config->setAppKey("example-app-key");
        config->setMainPage("HomeVC");
        config->setUrl(std::string(argv[1]));
        CorvaneOtManager::startWithConfig(config);
    }
    const nlohmann::json events[] = {
        {{"source", 0}, {"xwhat", "$pageview"}, {"xwho", "user-1"}, {"xcontext", {{"$url", "HomeVC"}}}},
        {{"source", 0}, {"xwhat", "add_cart"}, {"xwho", "user-1"}, {"xcontext", {{"price", 120}}}},
    };
    for (const auto& event : events) observer->onEventDataReceived(event);
    if (argc > 1) std::this_thread::sleep_for(std::chrono::seconds(3));
    std::cout << "CorvaneOstrel " << CorvaneOtManager::SDKVersion() << ": " << std::size(events)
              << " events handed over" << std::endl;
    return 0;
}
