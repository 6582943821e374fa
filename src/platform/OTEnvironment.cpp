#include "platform/OTEnvironment.h"

#include <atomic>
#include <utility>

#include "platform/deterministic/OTManualReachabilitySource.h"
#include "platform/linux/OTCurlHTTPTransport.h"
#include "platform/linux/OTFileConsole.h"
#include "platform/linux/OTLinkStateReachabilitySource.h"
#include "platform/linux/OTLinuxFileSystem.h"
#include "platform/linux/OTSystemClock.h"
#include "platform/linux/OTThreadScheduler.h"

namespace corvane {

namespace {
struct Installed {
    std::mutex mutex;
    std::shared_ptr<OTEnvironment> environment;
    std::atomic<std::uint64_t> serial{0};

    // Under the mutex; gives back the environment that was installed.
    std::shared_ptr<OTEnvironment> replace(std::shared_ptr<OTEnvironment> next) {
        serial.store(next ? next->serial() : 0, std::memory_order_release);
        return std::exchange(environment, std::move(next));
    }
};
std::atomic<std::uint64_t> lastSerial{0};
// Never destroyed: the library lives until the process ends and is not torn down at exit, where
// joining queue threads could wait on a main loop that no longer runs.
Installed& installed() {
    static auto* holder = new Installed;
    return *holder;
}
}  // namespace

OTEnvironment::OTEnvironment(Parts parts)
    : serial_(lastSerial.fetch_add(1, std::memory_order_relaxed) + 1),
      clock_(parts.clock ? std::move(parts.clock) : std::make_shared<OTSystemClock>()),
      scheduler_(parts.scheduler ? std::move(parts.scheduler) : std::make_shared<OTThreadScheduler>()),
      sandbox_(std::move(parts.sandboxRoot)),
      files_(parts.files ? std::move(parts.files) : std::make_shared<OTLinuxFileSystem>()),
      device_(std::move(parts.device)),
      console_(std::make_shared<OTRoutedConsole>(parts.console ? std::move(parts.console)
                                                               : std::make_shared<OTFileConsole>())),
      accessibility_(std::make_unique<OTAccessibilityPreferences>(device_.preferredLanguage)),
      random_(parts.random ? std::move(parts.random) : std::make_shared<OTRandomSource>()),
      uiHost_(parts.uiHost ? std::move(parts.uiHost) : OTUIHost::makeDefault()),
      reachability_(parts.reachability ? std::move(parts.reachability)
                                       : std::make_shared<OTManualReachabilitySource>()),
      http_(std::make_shared<OTRoutedHTTPTransport>(parts.http ? std::move(parts.http)
                                                               : std::make_shared<OTCurlHTTPTransport>())),
      notifications_(std::make_shared<OTNotificationCenter>()) {
    files_->openJournal(sandbox_.fileJournalPath());
}

OTEnvironment::~OTEnvironment() { shutdown(); }

void OTEnvironment::shutdown() {
    // Stop the queues first so no work touches a shared instance while it goes.
    scheduler_->shutdown();
    http_->shutdown();
    std::map<std::type_index, std::shared_ptr<SingletonEntry>> singletons;
    {
        std::lock_guard lock(singletonsMutex_);
        singletons.swap(singletons_);
    }
    singletons.clear();
}

std::shared_ptr<OTEnvironment> OTEnvironment::current() {
    // Asked for by every log line and console print: a thread keeps the environment it found for
    // as long as it stays installed, instead of taking the lock each time.
    struct Seen {
        std::uint64_t serial = 0;
        std::weak_ptr<OTEnvironment> environment;
    };
    thread_local Seen seen;
    if (const auto serial = installedSerial(); serial != 0 && serial == seen.serial) {
        if (auto environment = seen.environment.lock()) return environment;
    }
    auto& slot = installed();
    std::lock_guard lock(slot.mutex);
    if (!slot.environment) slot.replace(makeSystem(SystemOptions{}));
    seen = {slot.environment->serial(), slot.environment};
    return slot.environment;
}

std::uint64_t OTEnvironment::installedSerial() { return installed().serial.load(std::memory_order_acquire); }

void OTEnvironment::install(std::shared_ptr<OTEnvironment> environment) {
    std::shared_ptr<OTEnvironment> previous;
    {
        auto& slot = installed();
        std::lock_guard lock(slot.mutex);
        previous = slot.replace(std::move(environment));
    }
    // `previous` is released here, outside the lock: its shared instances may ask for current().
}

std::shared_ptr<OTEnvironment> OTEnvironment::makeSystem(const SystemOptions& options) {
    Parts parts;
    parts.clock = std::make_shared<OTSystemClock>();
    parts.scheduler = std::make_shared<OTThreadScheduler>();
    parts.sandboxRoot = options.sandboxRoot;
    parts.device =
        OTDeviceInfo::current(options.sandboxRoot.string(), options.bundleIdentifier, options.bundleShortVersion);
    parts.console = std::make_shared<OTFileConsole>();
    parts.random = std::make_shared<OTRandomSource>();
    parts.reachability = std::make_shared<OTLinkStateReachabilitySource>();
    return std::make_shared<OTEnvironment>(std::move(parts));
}

std::shared_ptr<OTEnvironment::SingletonEntry> OTEnvironment::singletonEntry(std::type_index type) {
    std::lock_guard lock(singletonsMutex_);
    auto& entry = singletons_[type];
    if (!entry) entry = std::make_shared<SingletonEntry>();
    return entry;
}

}  // namespace corvane
