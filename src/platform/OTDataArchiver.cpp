#include "platform/OTDataArchiver.h"

#include <nlohmann/json.hpp>

#include "platform/OTEnvironment.h"
#include "platform/OTSandbox.h"

namespace corvane {

namespace {
constexpr const char* kArchiverKey = "$archiver";
constexpr const char* kVersionKey = "$version";
constexpr const char* kRootKey = "$root";
constexpr std::int64_t kVersion = 1;
}  // namespace

bool OTDataArchiver::setData(const OTPropertyList& root, const std::filesystem::path& path) {
    if (path.empty()) return false;
    const OTPropertyList envelope(OTPropertyList::Dictionary{
        {kArchiverKey, OTPropertyList(kArchiverName)},
        {kVersionKey, OTPropertyList(kVersion)},
        {kRootKey, root},
    });
    return envelope.writeToFile(path);
}

bool OTDataArchiver::setData(const std::shared_ptr<const OTCoding>& object, const std::filesystem::path& path) {
    if (!object) return false;
    return setData(OTKeyedArchiver::archivedObject(*object), path);
}

bool OTDataArchiver::setData(const nlohmann::json& object, const std::filesystem::path& path) {
    if (object.is_null() || object.is_discarded()) return false;
    const auto root = OTPropertyList::fromJson(object);
    return root && setData(*root, path);
}

std::optional<OTPropertyList> OTDataArchiver::getDataForPath(const std::filesystem::path& path) {
    if (path.empty()) return std::nullopt;
    auto bytes = OTSandbox::readFile(path);
    if (!bytes) return std::nullopt;
    auto envelope = OTPropertyList::fromBinary(*bytes);
    if (!envelope) return std::nullopt;
    const auto* archiver = envelope->find(kArchiverKey);
    const auto* name = archiver != nullptr ? archiver->get<std::string>() : nullptr;
    auto* entries = envelope->get<OTPropertyList::Dictionary>();
    const auto root = entries != nullptr ? entries->find(kRootKey) : OTPropertyList::Dictionary::iterator();
    if (name == nullptr || *name != kArchiverName || entries == nullptr || root == entries->end()) return std::nullopt;
    // Taken out of the envelope, not copied: the list of a thousand campaigns is most of the file.
    return std::move(root->second);
}

std::optional<nlohmann::json> OTDataArchiver::getJsonForPath(const std::filesystem::path& path) {
    auto root = getDataForPath(path);
    if (!root) return std::nullopt;
    return OTKeyedUnarchiver::plainValue(*root);
}

void OTDataArchiver::setTokenInfo(const std::string& text) {
    auto environment = OTEnvironment::current();
    auto& defaults = environment->standardUserDefaults();
    defaults.setObject(text, kTokenInfoKey);
    defaults.setDate(environment->clock().now(), kTokenTimeKey);
    defaults.synchronize();
}

std::optional<std::string> OTDataArchiver::getTokenInfo() {
    auto value = OTEnvironment::current()->standardUserDefaults().valueForKey(kTokenInfoKey);
    if (!value) return std::nullopt;
    if (auto* text = value->get<std::string>()) return std::move(*text);
    return std::nullopt;
}

std::optional<OTPropertyList::Date> OTDataArchiver::getTokenDate() {
    return OTEnvironment::current()->standardUserDefaults().dateForKey(kTokenTimeKey);
}

}  // namespace corvane
