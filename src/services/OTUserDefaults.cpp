#include "services/OTUserDefaults.h"

#include <cmath>
#include <limits>
#include <nlohmann/json.hpp>

#include "foundation/OTText.h"
#include "platform/OTEnvironment.h"
#include "services/OTDataArchiver.h"
#include "services/OTLogger.h"
#include "services/OTUtils.h"

namespace corvane {

OTUserDefaults& OTUserDefaults::standardUserDefaults() {
    const auto environment = OTEnvironment::current();
    return *environment->singleton<OTUserDefaults>([&] {
        return std::make_shared<OTUserDefaults>(
            environment->sandbox().userDefaultsPath(environment->device().bundleIdentifier));
    });
}

OTUserDefaults::OTUserDefaults(std::filesystem::path path) : path_(std::move(path)) {
    if (auto bytes = OTEnvironment::current()->files().readFile(path_)) {
        if (auto root = OTPropertyList::fromBinary(*bytes)) {
            if (auto* dict = root->get<OTPropertyList::Dictionary>()) values_ = std::move(*dict);
        }
    }
}

namespace {
// The reference a list holds in place of a data value kept in a file of its own.
constexpr const char* kDataFileClass = "OTUserDefaultsDataFile";
constexpr const char* kClassKey = "$class";
constexpr const char* kFileKey = "file";

const std::string* dataFileName(const OTPropertyList& stored) {
    const auto* dict = stored.get<OTPropertyList::Dictionary>();
    if (dict == nullptr || dict->size() != 2) return nullptr;
    const auto* kind = stored.find(kClassKey);
    const auto* file = stored.find(kFileKey);
    if (kind == nullptr || file == nullptr || kind->get<std::string>() == nullptr ||
        *kind->get<std::string>() != kDataFileClass) {
        return nullptr;
    }
    return file->get<std::string>();
}
}  // namespace

std::optional<OTPropertyList> OTUserDefaults::valueForKey(const std::string& key) const {
    // Data files are read under the lock too, so a value replaced meanwhile reads old or new.
    std::lock_guard lock(mutex_);
    const auto it = values_.find(key);
    if (it == values_.end()) return std::nullopt;
    return resolved(it->second);
}

void OTUserDefaults::setValue(const OTPropertyList& value, const std::string& key) { setValues({{key, value}}); }

void OTUserDefaults::setValues(const std::vector<std::pair<std::string, OTPropertyList>>& values) {
    std::lock_guard lock(mutex_);
    std::vector<std::string> noLongerFiles;
    bool changed = false;
    for (const auto& [key, value] : values) {
        auto stored = storedFormLocked(value, key);
        if (!stored) {
            OTLog(OTLogger::kLevelError, "数据文件写入失败，未写入用户设置：%@", key);
            continue;
        }
        const auto it = values_.find(key);
        if (it != values_.end() && dataFileName(it->second) != nullptr && dataFileName(*stored) == nullptr) {
            noLongerFiles.push_back(key);
        }
        values_.insert_or_assign(key, std::move(*stored));
        changed = true;
    }
    if (!changed) return;
    writeLocked();
    for (const auto& key : noLongerFiles) removeDataFileLocked(key);
}

std::optional<OTPropertyList> OTUserDefaults::storedFormLocked(const OTPropertyList& value,
                                                               const std::string& key) const {
    const auto* data = value.get<OTPropertyList::Data>();
    if (data == nullptr || data->size() <= kMaxInlineDataBytes) return value;
    const auto file = dataFile(key);
    if (!OTEnvironment::current()->files().createPrivateDirectories(dataFolder()) ||
        !OTEnvironment::current()->files().writeFileAtomically(file, std::string(data->begin(), data->end()))) {
        return std::nullopt;
    }
    return OTPropertyList(OTPropertyList::Dictionary{{kClassKey, OTPropertyList(kDataFileClass)},
                                                     {kFileKey, OTPropertyList(file.filename().string())}});
}

std::optional<OTPropertyList> OTUserDefaults::resolved(const OTPropertyList& stored) const {
    const auto* name = dataFileName(stored);
    if (name == nullptr) return stored;
    // Only names this store makes are followed: a file in its own folder.
    if (name->empty() || name->find('/') != std::string::npos || *name == "." || *name == "..") return std::nullopt;
    auto bytes = OTEnvironment::current()->files().readFile(dataFolder() / *name);
    if (!bytes) return std::nullopt;
    return OTPropertyList(OTPropertyList::Data(bytes->begin(), bytes->end()));
}

std::filesystem::path OTUserDefaults::dataFolder() const {
    return path_.parent_path() / (path_.filename().string() + ".data");
}

std::filesystem::path OTUserDefaults::dataFile(const std::string& key) const {
    return dataFolder() / (OTUtils::md5(key).value_or("") + ".bin");
}

void OTUserDefaults::removeDataFileLocked(const std::string& key) const {
    OTEnvironment::current()->files().removeFile(dataFile(key));
}

std::optional<nlohmann::json> OTUserDefaults::objectForKey(const std::string& key) const {
    auto value = valueForKey(key);
    if (!value) return std::nullopt;
    return value->toJson();
}

void OTUserDefaults::setObject(const nlohmann::json& value, const std::string& key) {
    if (value.is_null() || value.is_discarded()) {
        removeObjectForKey(key);
        return;
    }
    if (const auto converted = OTPropertyList::fromJson(value)) setValue(*converted, key);
    else OTLog(OTLogger::kLevelError, "值嵌套过深，未写入用户设置：%@", key);
}

void OTUserDefaults::removeObjectForKey(const std::string& key) {
    std::lock_guard lock(mutex_);
    const auto it = values_.find(key);
    if (it == values_.end()) return;
    const bool wasFile = dataFileName(it->second) != nullptr;
    values_.erase(it);
    writeLocked();
    if (wasFile) removeDataFileLocked(key);
}

std::optional<std::string> OTUserDefaults::stringForKey(const std::string& key) const {
    auto value = valueForKey(key);
    if (!value) return std::nullopt;
    if (const auto* text = value->get<std::string>()) return *text;
    if (const auto* integer = value->get<std::int64_t>()) return std::to_string(*integer);
    if (const auto* real = value->get<double>()) return nlohmann::json(*real).dump();
    return std::nullopt;
}

std::int64_t OTUserDefaults::integerForKey(const std::string& key) const {
    auto value = valueForKey(key);
    if (!value) return 0;
    if (const auto* integer = value->get<std::int64_t>()) return *integer;
    if (const auto* flag = value->get<bool>()) return *flag ? 1 : 0;
    if (const auto* real = value->get<double>()) {
        if (!std::isfinite(*real)) return 0;
        if (*real >= 9.2e18) return std::numeric_limits<std::int64_t>::max();
        if (*real <= -9.2e18) return std::numeric_limits<std::int64_t>::min();
        return static_cast<std::int64_t>(*real);
    }
    if (const auto* text = value->get<std::string>()) return OTText::integerValue(*text);
    return 0;
}

double OTUserDefaults::doubleForKey(const std::string& key) const {
    auto value = valueForKey(key);
    if (!value) return 0;
    if (const auto* real = value->get<double>()) return *real;
    if (const auto* integer = value->get<std::int64_t>()) return static_cast<double>(*integer);
    if (const auto* flag = value->get<bool>()) return *flag ? 1 : 0;
    if (const auto* text = value->get<std::string>()) return std::strtod(text->c_str(), nullptr);
    return 0;
}

bool OTUserDefaults::boolForKey(const std::string& key) const {
    auto value = valueForKey(key);
    if (!value) return false;
    if (const auto* flag = value->get<bool>()) return *flag;
    if (const auto* integer = value->get<std::int64_t>()) return *integer != 0;
    if (const auto* real = value->get<double>()) return *real != 0;
    if (const auto* text = value->get<std::string>()) {
        if (text->empty()) return false;
        const char c = (*text)[0];
        return c == 'Y' || c == 'y' || c == 'T' || c == 't' || (c >= '1' && c <= '9');
    }
    return false;
}

std::optional<OTPropertyList::Date> OTUserDefaults::dateForKey(const std::string& key) const {
    auto value = valueForKey(key);
    if (!value) return std::nullopt;
    if (const auto* date = value->get<OTPropertyList::Date>()) return *date;
    return std::nullopt;
}

void OTUserDefaults::setDate(OTPropertyList::Date value, const std::string& key) {
    setValue(OTPropertyList(value), key);
}

std::optional<OTPropertyList::Data> OTUserDefaults::dataForKey(const std::string& key) const {
    auto value = valueForKey(key);
    if (!value) return std::nullopt;
    if (auto* data = value->get<OTPropertyList::Data>()) return std::move(*data);
    return std::nullopt;
}

void OTUserDefaults::setData(const OTPropertyList::Data& value, const std::string& key) {
    setValue(OTPropertyList(value), key);
}

bool OTUserDefaults::synchronize() {
    std::lock_guard lock(mutex_);
    // Every change was written when it was made; only one whose write failed is written again.
    return !unsaved_ || writeLocked();
}

OTPropertyList::Dictionary OTUserDefaults::dictionaryRepresentation() const {
    std::lock_guard lock(mutex_);
    OTPropertyList::Dictionary values;
    for (const auto& [key, value] : values_) {
        if (auto resolvedValue = resolved(value)) values.emplace(key, std::move(*resolvedValue));
    }
    return values;
}

bool OTUserDefaults::writeLocked() {
    unsaved_ = !OTDataArchiver::writePropertyList(OTPropertyList(values_), path_);
    return !unsaved_;
}

}  // namespace corvane
