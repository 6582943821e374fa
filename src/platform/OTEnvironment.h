#pragma once

#include <cstdint>
#include <filesystem>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <typeindex>

#include "foundation/OTNotificationCenter.h"
#include "platform/OTAccessibilityPreferences.h"
#include "platform/OTClock.h"
#include "platform/OTConsole.h"
#include "platform/OTDeviceInfo.h"
#include "platform/OTDispatchQueue.h"
#include "platform/OTFileSystem.h"
#include "platform/OTHTTPTransport.h"
#include "platform/OTRandomSource.h"
#include "platform/OTReachabilitySource.h"
#include "platform/OTRoutedConsole.h"
#include "platform/OTRoutedHTTPTransport.h"
#include "platform/OTSandbox.h"
#include "platform/OTScheduler.h"
#include "platform/OTUIHost.h"

namespace corvane {

// Everything the platform provides, behind one object installed process-wide. Library code asks
// the installed environment for the time, queues, files, device facts and the console; tests and
// the simulator install their own. The library's shared instances live inside the environment, so
// installing a new one discards them all and the next access builds fresh ones.
class OTEnvironment {
public:
    struct Parts {
        std::shared_ptr<OTClock> clock;
        std::shared_ptr<OTScheduler> scheduler;
        std::filesystem::path sandboxRoot;
        OTDeviceInfo device;
        std::shared_ptr<OTConsole> console;
        std::shared_ptr<OTRandomSource> random;
        std::shared_ptr<OTUIHost> uiHost;                    // headless when not given
        std::shared_ptr<OTReachabilitySource> reachability;  // always reachable over Wi-Fi when not given
        std::shared_ptr<OTHTTPTransport> http;               // libcurl when not given
        std::shared_ptr<OTFileSystem> files;                 // the device's own when not given
    };

    struct SystemOptions {
        std::filesystem::path sandboxRoot = OTSandbox::defaultRoot();
        std::string bundleIdentifier = "com.corvane.host";
        std::string bundleShortVersion = "1.0.0";
    };

    explicit OTEnvironment(Parts parts);
    ~OTEnvironment();
    OTEnvironment(const OTEnvironment&) = delete;
    OTEnvironment& operator=(const OTEnvironment&) = delete;

    // Stops the queues and the HTTP transport, then discards the shared instances, while this
    // environment is still the one installed, so that threads finishing their work still find it.
    void shutdown();

    // The installed environment; the first call without one installs the system environment.
    static std::shared_ptr<OTEnvironment> current();
    // Replaces the installed environment. The previous one (and every shared instance in it) goes
    // once nothing else holds it.
    static void install(std::shared_ptr<OTEnvironment> environment);
    // System clock, real threads (the calling thread is the main thread), standard error console.
    static std::shared_ptr<OTEnvironment> makeSystem(const SystemOptions& options);
    // A number no other environment of the process has.
    std::uint64_t serial() const { return serial_; }
    // The installed environment's serial (0 while none is), read without a lock: a thread may keep
    // what it found in the installed environment for as long as this stays the same.
    static std::uint64_t installedSerial();

    OTClock& clock() const { return *clock_; }
    OTScheduler& scheduler() const { return *scheduler_; }
    const OTSandbox& sandbox() const { return sandbox_; }
    // The sandbox's files; their journal is replayed when the environment is made.
    OTFileSystem& files() const { return *files_; }
    std::shared_ptr<OTFileSystem> filesHandle() const { return files_; }
    const OTDeviceInfo& device() const { return device_; }
    OTConsole& console() const { return *console_; }
    // The language, close label and text scale of what the library shows.
    OTAccessibilityPreferences& accessibility() const { return *accessibility_; }
    // Sends the console to the host's sink (empty: back to the platform's console).
    void setConsoleSink(OTRoutedConsole::Sink sink) { console_->setSink(std::move(sink)); }
    OTRandomSource& random() const { return *random_; }
    OTNotificationCenter& notificationCenter() const { return *notifications_; }
    // For objects that must reach the centre even when they outlive this environment.
    std::weak_ptr<OTNotificationCenter> notificationCenterHandle() const { return notifications_; }
    OTUIHost& uiHost() const { return *uiHost_; }
    // For work that runs later and must keep the host.
    std::shared_ptr<OTUIHost> uiHostHandle() const { return uiHost_; }
    std::shared_ptr<OTReachabilitySource> reachabilitySource() const { return reachability_; }
    OTHTTPTransport& http() const { return *http_; }
    std::shared_ptr<OTHTTPTransport> httpHandle() const { return http_; }
    // Sends the library's requests through the host's transport (null: back to the platform's).
    void setHostHTTP(std::shared_ptr<OTHTTPTransport> host) { http_->setHost(std::move(host)); }

    std::shared_ptr<OTDispatchQueue> mainQueue() const { return scheduler_->mainQueue(); }
    std::shared_ptr<OTDispatchQueue> queue(const std::string& label, bool concurrent = false) const {
        return scheduler_->queue(label, concurrent);
    }

    // The shared instance of T in this environment, made by `make` on first use (once, thread-safely;
    // `make` may itself ask for other shared instances).
    template <class T, class Make>
    std::shared_ptr<T> singleton(Make&& make) {
        auto entry = singletonEntry(std::type_index(typeid(T)));
        std::call_once(entry->once, [&] { entry->object = std::static_pointer_cast<void>(make()); });
        return std::static_pointer_cast<T>(entry->object);
    }

private:
    struct SingletonEntry {
        std::once_flag once;
        std::shared_ptr<void> object;
    };
    std::shared_ptr<SingletonEntry> singletonEntry(std::type_index type);

    const std::uint64_t serial_;
    std::shared_ptr<OTClock> clock_;
    std::shared_ptr<OTScheduler> scheduler_;
    OTSandbox sandbox_;
    std::shared_ptr<OTFileSystem> files_;
    OTDeviceInfo device_;
    std::shared_ptr<OTRoutedConsole> console_;
    std::unique_ptr<OTAccessibilityPreferences> accessibility_;
    std::shared_ptr<OTRandomSource> random_;
    std::shared_ptr<OTUIHost> uiHost_;
    std::shared_ptr<OTReachabilitySource> reachability_;
    std::shared_ptr<OTRoutedHTTPTransport> http_;
    std::shared_ptr<OTNotificationCenter> notifications_;
    std::mutex singletonsMutex_;
    std::map<std::type_index, std::shared_ptr<SingletonEntry>> singletons_;
};

}  // namespace corvane
