#pragma once

#include <nlohmann/json.hpp>
#include <optional>
#include <string>

#include "services/OTKeychainStore.h"

namespace corvane {

// One generic-password keychain item: its attributes and its data (held here as text) in
// `keychainItemData`, found through `genericPasswordQuery`.
class OTKeychainItemWrapper {
public:
    // Opens the item of `identifier` (in `accessGroup` when given) or starts from the defaults.
    OTKeychainItemWrapper(const std::string& identifier, const std::optional<std::string>& accessGroup);

    // Stores `value` under `key` (an attribute name, or "v_Data" for the data) when it differs.
    void setObject(const nlohmann::json& value, const std::string& key);
    std::optional<nlohmann::json> objectForKey(const std::string& key) const;
    // Deletes the item when one exists and resets the attributes to the defaults.
    void resetKeychainItem();

    const nlohmann::json& keychainItemData() const { return keychainItemData_; }
    const OTKeychainStore::Item& genericPasswordQuery() const { return genericPasswordQuery_; }

    // In-memory form (data as text) to the keychain's form (data as UTF-8 bytes), and back.
    static std::optional<OTKeychainStore::Item> dictionaryToSecItemFormat(const nlohmann::json& dictionary);
    static std::optional<nlohmann::json> secItemFormatToDictionary(const OTKeychainStore::Item& item);

private:
    void writeToKeychain();
    void setDefaults();

    std::string identifier_;
    std::optional<std::string> accessGroup_;
    nlohmann::json keychainItemData_ = nlohmann::json::object();
    OTKeychainStore::Item genericPasswordQuery_;
};

}  // namespace corvane
