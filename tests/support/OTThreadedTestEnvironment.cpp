#include "support/OTThreadedTestEnvironment.h"

#include <unistd.h>

#include <stdexcept>
#include <string>

#include "platform/OTEnvironment.h"
#include "platform/deterministic/OTRecordingConsole.h"
#include "platform/linux/OTSystemClock.h"
#include "support/OTTestEnvironment.h"

namespace corvane {

OTThreadedTestEnvironment::OTThreadedTestEnvironment(std::shared_ptr<OTReachabilitySource> reachability) {
    std::string root = (std::filesystem::temp_directory_path() / "ot-threads-XXXXXX").string();
    if (::mkdtemp(root.data()) == nullptr) throw std::runtime_error("no temporary sandbox");
    root_ = root;
    OTEnvironment::Parts parts;
    parts.clock = std::make_shared<OTSystemClock>();
    parts.scheduler = scheduler_;
    parts.sandboxRoot = root_;
    parts.device = OTTestEnvironment::fixedDevice();
    parts.console = std::make_shared<OTRecordingConsole>();
    parts.reachability = std::move(reachability);
    OTEnvironment::install(std::make_shared<OTEnvironment>(std::move(parts)));
}

OTThreadedTestEnvironment::~OTThreadedTestEnvironment() {
    if (auto environment = OTEnvironment::current()) environment->shutdown();
    OTEnvironment::install(nullptr);
    std::error_code ec;
    std::filesystem::remove_all(root_, ec);
}

}  // namespace corvane
