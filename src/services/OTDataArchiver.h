#pragma once

#include <filesystem>
#include <memory>
#include <nlohmann/json_fwd.hpp>
#include <optional>
#include <string>
#include <vector>

#include "foundation/OTBinaryPlistReader.h"
#include "foundation/OTBinaryPlistWriter.h"
#include "foundation/OTKeyedArchiver.h"
#include "foundation/OTKeyedUnarchiver.h"
#include "foundation/OTPropertyList.h"

namespace corvane {

// Whole object graphs as keyed-archive files (binary property lists with a fixed envelope), and
// the record of the last push-token upload in the user defaults.
class OTDataArchiver {
public:
    static constexpr const char* kArchiverName = "OTKeyedArchiver";
    static constexpr const char* kTokenInfoKey = "KPXtokenProvider";
    static constexpr const char* kTokenTimeKey = "KPXtokenProviderTime";

    // Written atomically, readable by the user only; false (and logged) when `pieces` is nothing
    // (a limit refused the file) or the write fails.
    static bool writeToFile(const std::optional<std::vector<std::string>>& pieces, const std::filesystem::path& path);
    // A property list (not an archive) written the same way.
    static bool writePropertyList(const OTPropertyList& list, const std::filesystem::path& path);
    // Archives an already encoded root value. False when the write fails.
    static bool setData(const OTPropertyList& root, const std::filesystem::path& path);
    // A list of model objects, encoded straight into the file's bytes.
    template <class T>
    static bool setData(const std::vector<std::shared_ptr<T>>& objects, const std::filesystem::path& path) {
        if (path.empty()) return false;
        OTBinaryPlistWriter writer;
        const auto root = OTKeyedArchiver::encodeArray(writer, objects, kRootDepth);
        return writeEnvelope(writer, root, path);
    }
    // One model object; false when absent.
    static bool setData(const std::shared_ptr<const OTCoding>& object, const std::filesystem::path& path);
    // A graph of plain values (lists and dictionaries of texts, numbers, ...); false for null.
    static bool setData(const nlohmann::json& object, const std::filesystem::path& path);

    // The archived root, or nothing for a missing, empty, truncated, foreign or hostile file.
    static std::optional<OTPropertyList> getDataForPath(const std::filesystem::path& path);
    // A list of model objects, decoded straight from the file's bytes.
    template <class T>
    static std::optional<std::vector<std::shared_ptr<T>>> getObjectsForPath(const std::filesystem::path& path) {
        const auto bytes = readArchive(path);
        auto reader = bytes ? OTBinaryPlistReader::open(*bytes) : std::nullopt;
        const auto root = reader ? rootOf(*reader) : std::nullopt;
        if (!root) return std::nullopt;
        return OTKeyedUnarchiver::arrayOfObjectsOfClass<T>(*reader, *root, kRootDepth);
    }
    static std::optional<nlohmann::json> getJsonForPath(const std::filesystem::path& path);

    static void setTokenInfo(const std::string& text);
    static std::optional<std::string> getTokenInfo();
    static std::optional<OTPropertyList::Date> getTokenDate();

private:
    // The root sits in the envelope dictionary, one level below the top.
    static constexpr std::size_t kRootDepth = 1;
    static bool writeEnvelope(OTBinaryPlistWriter& writer, OTBinaryPlistWriter::Ref root,
                              const std::filesystem::path& path);
    static std::optional<std::string> readArchive(const std::filesystem::path& path);
    // The archived root inside the envelope; nothing when the envelope is not this archiver's.
    static std::optional<OTBinaryPlistReader::Ref> rootOf(OTBinaryPlistReader& reader);
};

}  // namespace corvane
