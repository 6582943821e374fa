#pragma once

#include <optional>
#include <string>

// Small helpers over the environment's device facts and stores.
class OTUtils {
public:
    // The keychain access group the device identifier is kept in.
    static constexpr const char* kKeychainAccessGroup = "com.corvane.ostrel";
    static constexpr const char* kUUIDItemIdentifier = "UUID";

    // The vendor identifier of the device as UUID text.
    static std::string getUUID();
    // Keeps the device identifier in the keychain item "UUID" unless one is there already.
    static void saveUUIDWithKeyChain();
    static std::optional<std::string> getUUIDWithKeychain();
};
