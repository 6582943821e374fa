#include "platform/OTSandbox.h"

#include <cstdlib>

namespace corvane {

namespace fs = std::filesystem;

OTSandbox::OTSandbox(fs::path root) : root_(std::move(root)), openedAt_(fs::file_time_type::clock::now()) {}

fs::path OTSandbox::defaultRoot() {
    if (const char* env = std::getenv("OT_SANDBOX"); env != nullptr && *env != '\0') return fs::path(env);
    const char* home = std::getenv("HOME");
    return fs::path(home != nullptr && *home != '\0' ? home : "/tmp") / ".corvane-ostrel";
}

fs::path OTSandbox::documentsDirectory() const { return root_ / "Documents"; }

fs::path OTSandbox::userDefaultsPath(const std::string& bundleIdentifier) const {
    return root_ / "Library" / "Preferences" / (bundleIdentifier + ".plist");
}

std::optional<fs::path> OTSandbox::containerForApplicationGroup(const std::string& groupIdentifier) const {
    if (groupIdentifier.empty() || groupIdentifier == "." || groupIdentifier == ".." ||
        groupIdentifier.find('/') != std::string::npos || groupIdentifier.find('\0') != std::string::npos) {
        return std::nullopt;
    }
    return root_ / "AppGroups" / groupIdentifier;
}

fs::path OTSandbox::keychainPath() const { return root_ / "Keychain" / "items.plist"; }

fs::path OTSandbox::fileJournalPath() const { return root_ / "Library" / "OTFileJournal.bin"; }

}  // namespace corvane
