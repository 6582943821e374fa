#include "platform/OTEnvironment.h"

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
};
// Never destroyed: the library lives until the process ends and is not torn down at exit, where
// joining queue threads could wait on a main loop that no longer runs.
Installed& installed() {
    static auto* holder = new Installed;
    return *holder;
}
}  // namespace

OTEnvironment::OTEnvironment(Parts parts)
    : clock_(parts.clock ? std::move(parts.clock) : std::make_shared<OTSystemClock>()),
      scheduler_(parts.scheduler ? std::move(parts.scheduler) : std::make_shared<OTThreadScheduler>()),
      sandbox_(std::move(parts.sandboxRoot)),
      files_(parts.files ? std::move(parts.files) : std::make_shared<OTLinuxFileSystem>()),
      device_(std::move(parts.device)),
      console_(std::make_shared<OTRoutedConsole>(parts.console ? std::move(parts.console)
                                                               : std::make_shared<OTFileConsole>())),
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
    auto& slot = installed();
    std::lock_guard lock(slot.mutex);
    if (!slot.environment) slot.environment = makeSystem(SystemOptions{});
    return slot.environment;
}

void OTEnvironment::install(std::shared_ptr<OTEnvironment> environment) {
    std::shared_ptr<OTEnvironment> previous;
    {
        auto& slot = installed();
        std::lock_guard lock(slot.mutex);
        previous = std::exchange(slot.environment, std::move(environment));
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
