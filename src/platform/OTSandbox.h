#pragma once

#include <cstddef>
#include <filesystem>
#include <optional>
#include <span>
#include <string>

namespace corvane {

// The app's container on disk: every file the library writes lives under one root.
//   <root>/Documents                      documents folder (campaign files, logs, videos)
//   <root>/Library/Preferences/<id>.plist standard user defaults of the app
//   <root>/AppGroups/<group>/             app-group containers
//   <root>/Keychain/items.plist           keychain items
class OTSandbox {
public:
    explicit OTSandbox(std::filesystem::path root);

    // $OT_SANDBOX when set, else ~/.corvane-ostrel.
    static std::filesystem::path defaultRoot();

    const std::filesystem::path& root() const { return root_; }
    std::filesystem::path documentsDirectory() const;
    std::filesystem::path userDefaultsPath(const std::string& bundleIdentifier) const;
    // Empty when the identifier is empty or could escape the root.
    std::optional<std::filesystem::path> containerForApplicationGroup(const std::string& groupIdentifier) const;
    std::filesystem::path keychainPath() const;

    // Writes through a temporary file and a rename, so readers see the old or the new content.
    // Files are readable by the user only; missing folders are made the same way.
    static bool writeFileAtomically(const std::filesystem::path& path, const std::string& bytes);
    // The file made of `pieces` one after another, so that a large file need not be one string.
    static bool writeFileAtomically(const std::filesystem::path& path, std::span<const std::string> pieces);
    // Makes a folder and its missing parents, each readable by the user only.
    static bool createPrivateDirectories(const std::filesystem::path& directory);
    // Nothing when the file is missing, unreadable or larger than `maxBytes`.
    static std::optional<std::string> readFile(const std::filesystem::path& path, std::size_t maxBytes = kMaxReadBytes);

    static constexpr std::size_t kMaxReadBytes = 64u << 20;
    static constexpr unsigned kFileMode = 0600;
    static constexpr unsigned kDirectoryMode = 0700;

private:
    std::filesystem::path root_;
};

}  // namespace corvane
