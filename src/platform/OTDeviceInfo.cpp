#include "platform/OTDeviceInfo.h"

#include <sys/utsname.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <random>

#include "foundation/OTFiles.h"

namespace corvane {

namespace {
std::string osReleaseVersion() {
    std::ifstream in("/etc/os-release");
    std::string line;
    while (std::getline(in, line)) {
        if (line.rfind("VERSION_ID=", 0) != 0) continue;
        std::string value = line.substr(11);
        if (value.size() >= 2 && value.front() == '"' && value.back() == '"') value = value.substr(1, value.size() - 2);
        return value;
    }
    return "";
}

std::string newUuid() {
    std::random_device device;
    std::mt19937_64 engine((static_cast<std::uint64_t>(device()) << 32) ^ device());
    static constexpr char kHex[] = "0123456789ABCDEF";
    std::string out;
    for (int i = 0; i < 32; ++i) {
        unsigned nibble = static_cast<unsigned>(engine() & 0xF);
        if (i == 12) nibble = 4;                   // version 4
        if (i == 16) nibble = 8 | (nibble & 0x3);  // RFC 4122 variant
        if (i == 8 || i == 12 || i == 16 || i == 20) out.push_back('-');
        out.push_back(kHex[nibble]);
    }
    return out;
}

// "zh_CN.UTF-8" reads as Chinese; any other set locale as English; none keeps the default.
std::string localeLanguage() {
    for (const char* name : {"LC_ALL", "LC_MESSAGES", "LANG"}) {
        const char* value = std::getenv(name);
        if (value == nullptr || *value == '\0') continue;
        const std::string locale = value;
        if (locale == "C" || locale == "POSIX" || locale.rfind("C.", 0) == 0) return "en";
        return locale.rfind("zh", 0) == 0 ? "zh-Hans" : "en";
    }
    return OTDeviceInfo{}.preferredLanguage;
}
}  // namespace

OTDeviceInfo OTDeviceInfo::current(const std::string& sandboxRoot, const std::string& bundleIdentifier,
                                   const std::string& bundleShortVersion) {
    OTDeviceInfo info;
    info.systemName = "Linux";
    info.systemVersion = osReleaseVersion();
    utsname names{};
    if (uname(&names) == 0) info.machine = names.machine;
    info.bundleIdentifier = bundleIdentifier;
    info.bundleShortVersion = bundleShortVersion;
    info.preferredLanguage = localeLanguage();

    const auto vendorFile = std::filesystem::path(sandboxRoot) / "Library" / "identifierForVendor";
    auto stored = OTFiles::readFile(vendorFile, 64);
    if (stored && stored->size() == 36) {
        info.identifierForVendor = *stored;
    } else {
        info.identifierForVendor = newUuid();
        OTFiles::writeFileAtomically(vendorFile, info.identifierForVendor);
    }
    return info;
}

}  // namespace corvane
