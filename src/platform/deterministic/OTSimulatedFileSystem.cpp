#include "platform/deterministic/OTSimulatedFileSystem.h"

namespace corvane {

const char* OTSimulatedFileSystem::stageName(Stage stage) {
    switch (stage) {
        case Stage::BeforeTemporary: return "beforeTemporary";
        case Stage::HalfWritten: return "halfWritten";
        case Stage::AfterRename: return "afterRename";
    }
    return "";
}

void OTSimulatedFileSystem::planCrash(std::uint64_t number, Stage stage) {
    std::lock_guard lock(mutex_);
    plannedAt_ = number;
    plannedStage_ = stage;
}

bool OTSimulatedFileSystem::crashed() const {
    std::lock_guard lock(mutex_);
    return crashed_;
}

void OTSimulatedFileSystem::restart() {
    std::lock_guard lock(mutex_);
    crashed_ = false;
    plannedAt_.reset();
}

std::uint64_t OTSimulatedFileSystem::writePoints() const {
    std::lock_guard lock(mutex_);
    return writePoints_;
}

OTSimulatedFileSystem::Files OTSimulatedFileSystem::snapshot() const {
    std::lock_guard lock(mutex_);
    return files_;
}

bool OTSimulatedFileSystem::pass(std::optional<Stage>& crashStage) {
    if (crashed_) return false;
    ++writePoints_;
    if (plannedAt_ && *plannedAt_ == writePoints_) {
        crashed_ = true;
        crashStage = plannedStage_;
    }
    return true;
}

std::optional<std::string> OTSimulatedFileSystem::read(const Path& path, std::size_t maxBytes) {
    std::lock_guard lock(mutex_);
    const auto it = files_.find(path.string());
    if (it == files_.end() || it->second.size() > maxBytes) return std::nullopt;
    return it->second;
}

bool OTSimulatedFileSystem::write(const Path& path, std::span<const std::string> pieces) {
    std::lock_guard lock(mutex_);
    std::optional<Stage> crash;
    if (!pass(crash)) return false;
    std::string content;
    for (const auto& piece : pieces) content += piece;
    if (crash == Stage::BeforeTemporary) return false;
    if (crash == Stage::HalfWritten) {
        // Named as the device names them, so that the next life's sweep finds it.
        files_[path.string() + ".tmp1." + std::to_string(++temporaries_)] = content.substr(0, content.size() / 2);
        return false;
    }
    files_[path.string()] = std::move(content);
    return !crash.has_value();
}

bool OTSimulatedFileSystem::remove(const Path& path) {
    std::lock_guard lock(mutex_);
    std::optional<Stage> crash;
    if (!pass(crash)) return false;
    if (crash && crash != Stage::AfterRename) return false;
    return files_.erase(path.string()) > 0 && !crash.has_value();
}

bool OTSimulatedFileSystem::move(const Path& from, const Path& to) {
    std::lock_guard lock(mutex_);
    std::optional<Stage> crash;
    if (!pass(crash)) return false;
    if (crash && crash != Stage::AfterRename) return false;
    const auto it = files_.find(from.string());
    if (it == files_.end()) return false;
    auto content = std::move(it->second);
    files_.erase(it);
    files_[to.string()] = std::move(content);
    return !crash.has_value();
}

bool OTSimulatedFileSystem::makeDirectories(const Path&) {
    std::lock_guard lock(mutex_);
    return !crashed_;
}

std::size_t OTSimulatedFileSystem::sweep(const Path& root, std::filesystem::file_time_type) {
    std::lock_guard lock(mutex_);
    if (crashed_) return 0;
    // Called as a life starts: every leftover comes from an earlier one.
    const std::string prefix = root.string() + "/";
    const std::string scratch = prefix + "tmp/";
    std::size_t removed = 0;
    for (auto it = files_.begin(); it != files_.end();) {
        const std::string& name = it->first;
        const bool leftover = name.rfind(prefix, 0) == 0 &&
                              (OTFiles::isTemporaryName(Path(name).filename().string()) || name.rfind(scratch, 0) == 0);
        if (leftover) {
            it = files_.erase(it);
            ++removed;
        } else {
            ++it;
        }
    }
    return removed;
}

}  // namespace corvane
