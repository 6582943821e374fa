#pragma once

#include <cstdint>
#include <filesystem>
#include <mutex>
#include <nlohmann/json.hpp>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "foundation/OTPropertyList.h"

namespace corvane {

// The app's standard user defaults: one property list on disk. Every change is written through
// atomically, so a crash never loses or tears what was set; a missing or corrupt file reads as empty.
// Data values larger than kMaxInlineDataBytes (cached pictures) are kept in files of their own in
// the folder beside the list, which holds only a reference to each: however many pictures are
// cached, the list stays small, readable and in memory, and the other keys survive.
class OTUserDefaults {
public:
    explicit OTUserDefaults(std::filesystem::path path);

    // The standard user defaults of the installed environment's sandbox and app, made on first use.
    static OTUserDefaults& standardUserDefaults();

    std::optional<OTPropertyList> valueForKey(const std::string& key) const;
    void setValue(const OTPropertyList& value, const std::string& key);
    // Several values in one write of the file: a crash leaves all of them or none.
    void setValues(const std::vector<std::pair<std::string, OTPropertyList>>& values);

    // JSON view of a value; null removes the entry, as storing nil does.
    std::optional<nlohmann::json> objectForKey(const std::string& key) const;
    void setObject(const nlohmann::json& value, const std::string& key);
    void removeObjectForKey(const std::string& key);

    // A text, or a number's decimal text.
    std::optional<std::string> stringForKey(const std::string& key) const;
    // A number, boolean or the leading integer of a text; 0 otherwise.
    std::int64_t integerForKey(const std::string& key) const;
    double doubleForKey(const std::string& key) const;
    bool boolForKey(const std::string& key) const;
    std::optional<OTPropertyList::Date> dateForKey(const std::string& key) const;
    void setDate(OTPropertyList::Date value, const std::string& key);
    std::optional<OTPropertyList::Data> dataForKey(const std::string& key) const;
    void setData(const OTPropertyList::Data& value, const std::string& key);

    // Writes the store now if a change is not on disk yet; false when that write failed.
    bool synchronize();
    OTPropertyList::Dictionary dictionaryRepresentation() const;
    const std::filesystem::path& path() const { return path_; }

    static constexpr std::size_t kMaxInlineDataBytes = 16u << 10;

private:
    // The list's value as stored: a large data value becomes a reference to its file (written
    // here); nothing when that file could not be written.
    std::optional<OTPropertyList> storedFormLocked(const OTPropertyList& value, const std::string& key) const;
    // The value a stored one stands for: a reference reads its file (nothing when it is gone).
    std::optional<OTPropertyList> resolved(const OTPropertyList& stored) const;
    std::filesystem::path dataFolder() const;
    std::filesystem::path dataFile(const std::string& key) const;
    void removeDataFileLocked(const std::string& key) const;
    // Writes the list; remembers whether it failed, so that `synchronize` retries only then.
    bool writeLocked();

    const std::filesystem::path path_;
    mutable std::mutex mutex_;
    bool unsaved_ = false;
    OTPropertyList::Dictionary values_;
};

}  // namespace corvane
