#include "services/OTDataArchiver.h"

#include <nlohmann/json.hpp>

#include "platform/OTEnvironment.h"
#include "services/OTLogger.h"
#include "services/OTUserDefaults.h"

namespace corvane {

namespace {
constexpr const char* kArchiverKey = "$archiver";
constexpr const char* kVersionKey = "$version";
constexpr const char* kRootKey = "$root";
constexpr std::int64_t kVersion = 1;
}  // namespace

bool OTDataArchiver::writeEnvelope(OTBinaryPlistWriter& writer, OTBinaryPlistWriter::Ref root,
                                   const std::filesystem::path& path) {
    const OTBinaryPlistWriter::Ref keys[] = {writer.addString(kArchiverKey), writer.addString(kVersionKey),
                                             writer.addString(kRootKey)};
    const OTBinaryPlistWriter::Ref values[] = {writer.addString(kArchiverName), writer.addInteger(kVersion), root};
    const auto envelope = writer.addDictionary(keys, values, 0);
    return writeToFile(writer.finish(envelope), path);
}

bool OTDataArchiver::writeToFile(const std::optional<std::vector<std::string>>& pieces,
                                 const std::filesystem::path& path) {
    if (!pieces) {
        OTLog(OTLogger::kLevelError, "数据超出属性列表的层数、数量或大小限制，未写入：%@", path.string());
        return false;
    }
    if (OTEnvironment::current()->files().writeFileAtomically(path, *pieces)) return true;
    OTLog(OTLogger::kLevelError, "写入文件失败：%@", path.string());
    return false;
}

bool OTDataArchiver::writePropertyList(const OTPropertyList& list, const std::filesystem::path& path) {
    return writeToFile(OTBinaryPlistWriter::encode(list), path);
}

bool OTDataArchiver::setData(const OTPropertyList& root, const std::filesystem::path& path) {
    if (path.empty()) return false;
    OTBinaryPlistWriter writer;
    const auto ref = writer.add(root, kRootDepth);
    return writeEnvelope(writer, ref, path);
}

bool OTDataArchiver::setData(const std::shared_ptr<const OTCoding>& object, const std::filesystem::path& path) {
    if (!object || path.empty()) return false;
    OTBinaryPlistWriter writer;
    const auto root = OTKeyedArchiver::encodeRoot(writer, *object, kRootDepth);
    return writeEnvelope(writer, root, path);
}

bool OTDataArchiver::setData(const nlohmann::json& object, const std::filesystem::path& path) {
    if (object.is_null() || object.is_discarded()) return false;
    const auto root = OTPropertyList::fromJson(object);
    return root && setData(*root, path);
}

std::optional<std::string> OTDataArchiver::readArchive(const std::filesystem::path& path) {
    if (path.empty()) return std::nullopt;
    return OTEnvironment::current()->files().readFile(path);
}

std::optional<OTBinaryPlistReader::Ref> OTDataArchiver::rootOf(OTBinaryPlistReader& reader) {
    const auto entries = reader.dictionaryAt(reader.top(), 0);
    if (!entries) return std::nullopt;
    std::optional<OTBinaryPlistReader::Ref> archiver;
    std::optional<OTBinaryPlistReader::Ref> root;
    for (const auto& [key, ref] : *entries) {
        if (key == kArchiverKey) archiver = ref;
        else if (key == kRootKey) root = ref;
    }
    const auto name = archiver ? reader.value(*archiver, kRootDepth) : std::nullopt;
    const auto* text = name ? name->get<std::string>() : nullptr;
    if (text == nullptr || *text != kArchiverName) return std::nullopt;
    return root;
}

std::optional<OTPropertyList> OTDataArchiver::getDataForPath(const std::filesystem::path& path) {
    const auto bytes = readArchive(path);
    auto reader = bytes ? OTBinaryPlistReader::open(*bytes) : std::nullopt;
    const auto root = reader ? rootOf(*reader) : std::nullopt;
    if (!root) return std::nullopt;
    return reader->value(*root, kRootDepth);
}

std::optional<nlohmann::json> OTDataArchiver::getJsonForPath(const std::filesystem::path& path) {
    auto root = getDataForPath(path);
    if (!root) return std::nullopt;
    return OTKeyedUnarchiver::plainValue(*root);
}

void OTDataArchiver::setTokenInfo(const std::string& text) {
    auto environment = OTEnvironment::current();
    auto& defaults = OTUserDefaults::standardUserDefaults();
    defaults.setObject(text, kTokenInfoKey);
    defaults.setDate(environment->clock().now(), kTokenTimeKey);
    defaults.synchronize();
}

std::optional<std::string> OTDataArchiver::getTokenInfo() {
    auto value = OTUserDefaults::standardUserDefaults().valueForKey(kTokenInfoKey);
    if (!value) return std::nullopt;
    if (auto* text = value->get<std::string>()) return std::move(*text);
    return std::nullopt;
}

std::optional<OTPropertyList::Date> OTDataArchiver::getTokenDate() {
    return OTUserDefaults::standardUserDefaults().dateForKey(kTokenTimeKey);
}

}  // namespace corvane
