#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <mutex>
#include <optional>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "platform/OTFileSystem.h"

namespace corvane {

// Files in memory, for runs that must replay exactly: the simulation can end the process at any
// write. Every change (a write, a removal, a move) is a numbered write point; at the planned one the
// process "crashes" at the planned stage, and from then on nothing more reaches the files, as if
// the process were gone, until the next life is started on them.
class OTSimulatedFileSystem final : public OTFileSystem {
public:
    enum class Stage {
        BeforeTemporary,  // nothing of the change is there
        HalfWritten,      // a temporary file holds half the new content; the file is as it was
        AfterRename,      // the change is in place
    };
    static const char* stageName(Stage stage);

    // Path to content.
    using Files = std::map<std::string, std::string>;

    // Starts on these files, as a copy of another run's would.
    explicit OTSimulatedFileSystem(Files files = {});

    // Crashes at write point `number` (counted from 1 over every life) at `stage`.
    void planCrash(std::uint64_t number, Stage stage);
    // Told when the planned crash happens, on the thread that writes, once the files are as the
    // crash left them: the simulation stops the rest of the process there.
    void setCrashListener(std::function<void()> listener);
    // Whether the planned crash happened; the files stay as the crash left them.
    bool crashed() const;
    // The file and stage of the last crash.
    struct Crash {
        std::string path;
        Stage stage = Stage::BeforeTemporary;
    };
    std::optional<Crash> lastCrash() const;
    // A new life on the files as they are: the crash is over, nothing more is planned.
    void restart();
    // Drops the planned crash, if it has not happened.
    void disarm();
    std::uint64_t writePoints() const;
    // Every file and its content, in path order.
    Files snapshot() const;
    // The files written, moved to or removed since the last call.
    std::set<std::string> takeChanged();
    // The bytes all files hold.
    std::size_t totalBytes() const;
    // After a crash inside a batch and the next start's replay: which files of that batch hold
    // their new content and which their old, when they do not all agree (nothing when they do, or
    // when no batch was cut short).
    std::optional<std::string> halfLandedBatch();

protected:
    std::optional<std::string> read(const Path& path, std::size_t maxBytes) override;
    bool write(const Path& path, std::span<const std::string> pieces) override;
    bool remove(const Path& path) override;
    bool move(const Path& from, const Path& to) override;
    bool makeDirectories(const Path& directory) override;
    std::size_t sweep(const Path& root, std::filesystem::file_time_type before) override;
    void batchBegins(const Changes& changes) override;
    void batchLanded() override;

private:
    // Counts a write point to `path`; the stage it crashes at, if this is the planned one. False:
    // dead already.
    bool pass(const std::string& path, std::optional<Stage>& crashStage);
    void put(const std::string& path, std::string content);
    void erase(const std::string& path);
    // Tells the listener, outside the lock, when the change just made crashed.
    void crashedNow(bool crashed);

    mutable std::mutex mutex_;
    Files files_;
    std::set<std::string> changed_;
    std::size_t bytes_ = 0;
    std::function<void()> crashListener_;
    // The batch being committed: each file's content before it and after it (nothing: absent).
    struct Landing {
        std::optional<std::string> before;
        std::optional<std::string> after;
    };
    std::map<std::string, Landing> inFlight_;
    std::uint64_t writePoints_ = 0;
    std::uint64_t temporaries_ = 0;
    std::optional<std::uint64_t> plannedAt_;
    Stage plannedStage_ = Stage::BeforeTemporary;
    bool crashed_ = false;
    std::optional<Crash> lastCrash_;
};

}  // namespace corvane
