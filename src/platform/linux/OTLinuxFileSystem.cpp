#include "platform/linux/OTLinuxFileSystem.h"

#include <system_error>

namespace corvane {

std::optional<std::string> OTLinuxFileSystem::read(const Path& path, std::size_t maxBytes) {
    return OTFiles::readFile(path, maxBytes);
}

bool OTLinuxFileSystem::write(const Path& path, std::span<const std::string> pieces) {
    return OTFiles::writeFileAtomically(path, pieces);
}

bool OTLinuxFileSystem::remove(const Path& path) {
    std::error_code ec;
    return std::filesystem::remove(path, ec);
}

bool OTLinuxFileSystem::move(const Path& from, const Path& to) {
    std::error_code ec;
    std::filesystem::rename(from, to, ec);
    return !ec;
}

bool OTLinuxFileSystem::makeDirectories(const Path& directory) { return OTFiles::createPrivateDirectories(directory); }

std::size_t OTLinuxFileSystem::sweep(const Path& root, std::filesystem::file_time_type before) {
    return OTFiles::sweepTemporaryFiles(root, before);
}

}  // namespace corvane
