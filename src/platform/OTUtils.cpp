#include "platform/OTUtils.h"

#include "platform/OTEnvironment.h"
#include "platform/OTKeychainItemWrapper.h"

std::string OTUtils::getUUID() { return OTEnvironment::current()->device().identifierForVendor; }

void OTUtils::saveUUIDWithKeyChain() {
    OTKeychainItemWrapper wrapper(kUUIDItemIdentifier, std::string(kKeychainAccessGroup));
    const auto stored = wrapper.objectForKey(OTKeychainStore::kValueData);
    const bool empty = !stored || stored->is_null() ||
                       (stored->is_string() && stored->get_ref<const std::string&>().empty()) ||
                       (stored->is_structured() && stored->empty());
    if (empty) wrapper.setObject(getUUID(), OTKeychainStore::kValueData);
}

std::optional<std::string> OTUtils::getUUIDWithKeychain() {
    OTKeychainItemWrapper wrapper(kUUIDItemIdentifier, std::string(kKeychainAccessGroup));
    const auto stored = wrapper.objectForKey(OTKeychainStore::kValueData);
    if (!stored || !stored->is_string()) return std::nullopt;
    return stored->get<std::string>();
}
