#pragma once

#include <filesystem>
#include <optional>
#include <string>

namespace corvane {

// The app's container on disk: every file the library writes lives under one root.
//   <root>/Documents                      documents folder (campaign files, logs, videos)
//   <root>/Library/Preferences/<id>.plist standard user defaults of the app
//   <root>/AppGroups/<group>/             app-group containers
//   <root>/Keychain/items.plist           keychain items
//   <root>/Library/OTFileJournal.bin      changes that must land together, while they land
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
    std::filesystem::path fileJournalPath() const;
    // When this run opened the sandbox, by the file system's clock: files older than that come
    // from an earlier run.
    std::filesystem::file_time_type openedAt() const { return openedAt_; }

private:
    std::filesystem::path root_;
    std::filesystem::file_time_type openedAt_;
};

}  // namespace corvane
