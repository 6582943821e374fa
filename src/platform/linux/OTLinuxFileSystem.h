#pragma once

#include "platform/OTFileSystem.h"

namespace corvane {

// The device's own files: writes through a temporary file and a rename, made durable.
class OTLinuxFileSystem final : public OTFileSystem {
protected:
    std::optional<std::string> read(const Path& path, std::size_t maxBytes) override;
    bool write(const Path& path, std::span<const std::string> pieces) override;
    bool remove(const Path& path) override;
    bool move(const Path& from, const Path& to) override;
    bool makeDirectories(const Path& directory) override;
    std::size_t sweep(const Path& root, std::filesystem::file_time_type before) override;
};

}  // namespace corvane
