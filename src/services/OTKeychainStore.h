#pragma once

#include <filesystem>
#include <mutex>
#include <optional>
#include <vector>

#include "foundation/OTPropertyList.h"

namespace corvane {

// Keychain items of the sandbox: dictionaries of attributes (keyed like the platform's item
// attributes: "class", "acct", "labl", "desc", "gena", "agrp", "v_Data"), kept in one file that only
// the user can read.
class OTKeychainStore {
public:
    using Item = OTPropertyList::Dictionary;

    static constexpr const char* kClass = "class";
    static constexpr const char* kClassGenericPassword = "genp";
    static constexpr const char* kAccount = "acct";
    static constexpr const char* kLabel = "labl";
    static constexpr const char* kDescription = "desc";
    static constexpr const char* kGeneric = "gena";
    static constexpr const char* kAccessGroup = "agrp";
    static constexpr const char* kValueData = "v_Data";

    explicit OTKeychainStore(std::filesystem::path path);

    // The keychain of the installed environment's sandbox, made on first use.
    static OTKeychainStore& shared();

    // The first item whose attributes include every attribute of `query`.
    std::optional<Item> copyMatching(const Item& query) const;
    // False when an item with the same class, generic attribute and access group exists.
    bool add(const Item& item);
    // Merges `attributes` into every item matching `query`; false when none matched.
    bool update(const Item& query, const Item& attributes);
    // False when none matched.
    bool remove(const Item& query);

private:
    static bool matches(const Item& item, const Item& query);
    bool save() const;

    const std::filesystem::path path_;
    mutable std::mutex mutex_;
    std::vector<Item> items_;
};

}  // namespace corvane
