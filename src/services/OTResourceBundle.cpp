#include "services/OTResourceBundle.h"

#include <unistd.h>

#include <cstdlib>

#include "foundation/OTFiles.h"
#include "foundation/OTImage.h"
#include "platform/OTEnvironment.h"

namespace corvane {

namespace fs = std::filesystem;

std::optional<fs::path> OTResourceBundle::path() {
    std::vector<fs::path> candidates;
    if (const char* configured = std::getenv("OT_RESOURCE_BUNDLE"); configured != nullptr && *configured != '\0') {
        candidates.emplace_back(configured);
    }
    std::error_code ec;
    const auto program = fs::read_symlink("/proc/self/exe", ec);
    if (!ec) {
        candidates.push_back(program.parent_path() / kBundleName);
        candidates.push_back(program.parent_path() / ".." / "share" / "corvane-ostrel" / kBundleName);
    }
#ifdef OT_RESOURCE_BUNDLE_DIR
    candidates.emplace_back(OT_RESOURCE_BUNDLE_DIR);
#endif
    for (const auto& candidate : candidates) {
        if (fs::is_directory(candidate, ec)) return candidate;
    }
    return std::nullopt;
}

std::string OTResourceBundle::fileNameFor(const std::string& name) {
    const int scale = static_cast<int>(OTEnvironment::current()->device().screenScale);
    return name + "@" + std::to_string(scale) + "x.png";
}

std::shared_ptr<OTImage> OTResourceBundle::imageWithFileName(const std::string& fileName) {
    const auto bundle = path();
    if (!bundle || fileName.empty()) return nullptr;
    const auto bytes = OTFiles::readFile(*bundle / fileName, 4u << 20);
    return bytes ? OTImage::imageWithData(*bytes) : nullptr;
}

std::shared_ptr<OTImage> OTImageNamed(const std::string& name) {
    return OTResourceBundle::imageWithFileName(OTResourceBundle::fileNameFor(name));
}

}  // namespace corvane
