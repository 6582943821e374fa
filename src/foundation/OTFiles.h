#pragma once

#include <cstddef>
#include <filesystem>
#include <optional>
#include <span>
#include <string>

namespace corvane {

// Whole-file reads and crash-safe writes, the only way the library touches file contents.
class OTFiles {
public:
    // Writes through a temporary file and a rename, so readers see the old or the new content.
    // Files are readable by the user only; missing folders are made the same way.
    static bool writeFileAtomically(const std::filesystem::path& path, const std::string& bytes);
    // The file made of `pieces` one after another, so that a large file need not be one string.
    static bool writeFileAtomically(const std::filesystem::path& path, std::span<const std::string> pieces);
    // Makes a folder and its missing parents, each readable by the user only.
    static bool createPrivateDirectories(const std::filesystem::path& directory);
    // Nothing when the file is missing, unreadable or larger than `maxBytes`.
    static std::optional<std::string> readFile(const std::filesystem::path& path, std::size_t maxBytes = kMaxReadBytes);

    // Removes what writes cut short left under `root` before `before`: the temporary files of
    // writeFileAtomically and whatever lies in `root`/tmp. Later ones may belong to writes under
    // way. Returns how many went.
    static std::size_t sweepTemporaryFiles(const std::filesystem::path& root, std::filesystem::file_time_type before);
    // Whether `name` is one writeFileAtomically gives its temporary files: "<name>.tmp<pid>.<n>".
    static bool isTemporaryName(const std::string& name);

    static constexpr std::size_t kMaxReadBytes = 64u << 20;
    static constexpr unsigned kFileMode = 0600;
    static constexpr unsigned kDirectoryMode = 0700;
};

}  // namespace corvane
