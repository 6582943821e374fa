#pragma once

#include <cstdint>
#include <filesystem>
#include <memory>
#include <nlohmann/json_fwd.hpp>
#include <optional>
#include <string>

namespace corvane {

class OTEnvironment;

// Settings shared between the host app and its extensions. With an app-group identifier each value
// is a text file "Library/Caches/OT_<key>.json" in the group's container (the value's description,
// not JSON); without one it is an entry of the standard user defaults.
class OTUserShare {
public:
    explicit OTUserShare(OTEnvironment& environment);

    static std::shared_ptr<OTUserShare> share();

    // An empty key does nothing. A null value removes a user-defaults entry; a group file keeps
    // its old value (the failed write is logged).
    void setObject(const nlohmann::json& value, const std::string& key, const std::string& domain);
    std::optional<nlohmann::json> objectForKey(const std::string& key, const std::string& domain) const;
    // The stored value as text (a number's decimal text), or nothing.
    std::optional<std::string> stringForKey(const std::string& key, const std::string& domain) const;
    void setInteger(std::int64_t value, const std::string& key, const std::string& domain);
    // The stored text read as an integer; 0 when absent.
    std::int64_t integerForKey(const std::string& key, const std::string& domain) const;

    // Where the value of `key` lives in `domain`'s container; nothing for an unusable group or key.
    std::optional<std::filesystem::path> filePath(const std::string& key, const std::string& domain) const;

private:
    OTEnvironment& environment_;
};

}  // namespace corvane
