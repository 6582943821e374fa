#pragma once

#include <filesystem>
#include <memory>

#include "platform/OTReachabilitySource.h"
#include "platform/linux/OTThreadScheduler.h"

namespace corvane {

// A real environment for tests where threads meet: the system clock, real queues (the test's
// thread runs the main loop), a fresh temporary sandbox, the fixed device facts and a recording
// console. Installed on construction; shut down and removed with its sandbox on destruction.
class OTThreadedTestEnvironment {
public:
    // `reachability`: the network state source, always reachable over Wi-Fi when not given.
    explicit OTThreadedTestEnvironment(std::shared_ptr<OTReachabilitySource> reachability = nullptr);
    ~OTThreadedTestEnvironment();
    OTThreadedTestEnvironment(const OTThreadedTestEnvironment&) = delete;
    OTThreadedTestEnvironment& operator=(const OTThreadedTestEnvironment&) = delete;

    OTThreadScheduler& scheduler() const { return *scheduler_; }
    const std::filesystem::path& root() const { return root_; }

private:
    std::filesystem::path root_;
    std::shared_ptr<OTThreadScheduler> scheduler_ = std::make_shared<OTThreadScheduler>();
};

}  // namespace corvane
