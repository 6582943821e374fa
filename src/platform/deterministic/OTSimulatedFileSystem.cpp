#include "platform/deterministic/OTSimulatedFileSystem.h"

#include <utility>

namespace corvane {

OTSimulatedFileSystem::OTSimulatedFileSystem(Files files) : files_(std::move(files)) {
    for (const auto& [path, content] : files_) bytes_ += content.size();
}

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

void OTSimulatedFileSystem::setCrashListener(std::function<void()> listener) {
    std::lock_guard lock(mutex_);
    crashListener_ = std::move(listener);
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

void OTSimulatedFileSystem::disarm() {
    std::lock_guard lock(mutex_);
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

std::set<std::string> OTSimulatedFileSystem::takeChanged() {
    std::lock_guard lock(mutex_);
    return std::exchange(changed_, {});
}

std::size_t OTSimulatedFileSystem::totalBytes() const {
    std::lock_guard lock(mutex_);
    return bytes_;
}

void OTSimulatedFileSystem::batchBegins(const Changes& changes) {
    std::lock_guard lock(mutex_);
    if (crashed_) return;
    inFlight_.clear();
    for (const auto& [path, content] : changes) {
        const auto it = files_.find(path.string());
        inFlight_[path.string()] = {it == files_.end() ? std::nullopt : std::optional(it->second), content};
    }
}

void OTSimulatedFileSystem::batchLanded() {
    std::lock_guard lock(mutex_);
    if (!crashed_) inFlight_.clear();
}

std::optional<std::string> OTSimulatedFileSystem::halfLandedBatch() {
    std::lock_guard lock(mutex_);
    if (crashed_ || inFlight_.empty()) return std::nullopt;
    std::string landed;
    std::string stayed;
    for (const auto& [path, landing] : inFlight_) {
        const auto it = files_.find(path);
        const auto now = it == files_.end() ? std::nullopt : std::optional(it->second);
        // A file the batch leaves as it was tells nothing either way.
        if (landing.before == landing.after) continue;
        (now == landing.after ? landed : stayed).append(" ").append(Path(path).filename().string());
    }
    inFlight_.clear();
    if (landed.empty() || stayed.empty()) return std::nullopt;
    return "new:" + landed + "; old:" + stayed;
}

bool OTSimulatedFileSystem::pass(const std::string& path, std::optional<Stage>& crashStage) {
    if (crashed_) return false;
    ++writePoints_;
    if (plannedAt_ && *plannedAt_ == writePoints_) {
        crashed_ = true;
        crashStage = plannedStage_;
        lastCrash_ = Crash{path, plannedStage_};
    }
    return true;
}

std::optional<OTSimulatedFileSystem::Crash> OTSimulatedFileSystem::lastCrash() const {
    std::lock_guard lock(mutex_);
    return lastCrash_;
}

void OTSimulatedFileSystem::put(const std::string& path, std::string content) {
    auto& slot = files_[path];
    bytes_ = bytes_ - slot.size() + content.size();
    slot = std::move(content);
    changed_.insert(path);
}

void OTSimulatedFileSystem::erase(const std::string& path) {
    const auto it = files_.find(path);
    if (it == files_.end()) return;
    bytes_ -= it->second.size();
    files_.erase(it);
    changed_.insert(path);
}

void OTSimulatedFileSystem::crashedNow(bool crashed) {
    if (!crashed) return;
    std::function<void()> listener;
    {
        std::lock_guard lock(mutex_);
        listener = crashListener_;
    }
    if (listener) listener();
}

std::optional<std::string> OTSimulatedFileSystem::read(const Path& path, std::size_t maxBytes) {
    std::lock_guard lock(mutex_);
    const auto it = files_.find(path.string());
    if (it == files_.end() || it->second.size() > maxBytes) return std::nullopt;
    return it->second;
}

bool OTSimulatedFileSystem::write(const Path& path, std::span<const std::string> pieces) {
    std::optional<Stage> crash;
    bool written = false;
    {
        std::lock_guard lock(mutex_);
        if (!pass(path.string(), crash)) return false;
        std::string content;
        for (const auto& piece : pieces) content += piece;
        if (crash == Stage::HalfWritten) {
            // Named as the device names them, so that the next life's sweep finds it.
            put(path.string() + ".tmp1." + std::to_string(++temporaries_), content.substr(0, content.size() / 2));
        } else if (crash != Stage::BeforeTemporary) {
            put(path.string(), std::move(content));
            written = !crash.has_value();
        }
    }
    crashedNow(crash.has_value());
    return written;
}

bool OTSimulatedFileSystem::remove(const Path& path) {
    std::optional<Stage> crash;
    bool removed = false;
    {
        std::lock_guard lock(mutex_);
        if (!pass(path.string(), crash)) return false;
        if (!crash || crash == Stage::AfterRename) {
            removed = files_.count(path.string()) > 0 && !crash.has_value();
            erase(path.string());
        }
    }
    crashedNow(crash.has_value());
    return removed;
}

bool OTSimulatedFileSystem::move(const Path& from, const Path& to) {
    std::optional<Stage> crash;
    bool moved = false;
    {
        std::lock_guard lock(mutex_);
        if (!pass(to.string(), crash)) return false;
        const auto it = files_.find(from.string());
        if (it != files_.end() && (!crash || crash == Stage::AfterRename)) {
            auto content = std::move(it->second);
            erase(from.string());
            put(to.string(), std::move(content));
            moved = !crash.has_value();
        }
    }
    crashedNow(crash.has_value());
    return moved;
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
    std::vector<std::string> leftovers;
    for (const auto& [name, content] : files_) {
        if (name.rfind(prefix, 0) == 0 &&
            (OTFiles::isTemporaryName(Path(name).filename().string()) || name.rfind(scratch, 0) == 0)) {
            leftovers.push_back(name);
        }
    }
    for (const auto& name : leftovers) erase(name);
    return leftovers.size();
}

}  // namespace corvane
