#include "services/OTKeychainItemWrapper.h"

#include "platform/OTEnvironment.h"
#include "services/OTKeychainStore.h"
#include "services/OTLogger.h"

namespace corvane {

OTKeychainItemWrapper::OTKeychainItemWrapper(const std::string& identifier,
                                             const std::optional<std::string>& accessGroup)
    : identifier_(identifier), accessGroup_(accessGroup) {
    genericPasswordQuery_.emplace(OTKeychainStore::kClass, OTKeychainStore::kClassGenericPassword);
    genericPasswordQuery_.emplace(OTKeychainStore::kGeneric, identifier);
    if (accessGroup_ && !accessGroup_->empty())
        genericPasswordQuery_.emplace(OTKeychainStore::kAccessGroup, *accessGroup_);

    auto found = OTKeychainStore::shared().copyMatching(genericPasswordQuery_);
    if (!found) {
        setDefaults();
        return;
    }
    if (auto dictionary = secItemFormatToDictionary(*found)) {
        keychainItemData_ = std::move(*dictionary);
    } else {
        setDefaults();
    }
}

void OTKeychainItemWrapper::setDefaults() {
    keychainItemData_ = nlohmann::json::object();
    keychainItemData_[OTKeychainStore::kAccount] = "";
    keychainItemData_[OTKeychainStore::kLabel] = "";
    keychainItemData_[OTKeychainStore::kDescription] = "";
    keychainItemData_[OTKeychainStore::kValueData] = "";
    keychainItemData_[OTKeychainStore::kGeneric] = identifier_;
    if (accessGroup_ && !accessGroup_->empty()) keychainItemData_[OTKeychainStore::kAccessGroup] = *accessGroup_;
}

void OTKeychainItemWrapper::setObject(const nlohmann::json& value, const std::string& key) {
    if (key.empty() || value.is_discarded()) return;
    const auto current = keychainItemData_.find(key);
    if (current != keychainItemData_.end() && *current == value) return;
    keychainItemData_[key] = value;
    writeToKeychain();
}

std::optional<nlohmann::json> OTKeychainItemWrapper::objectForKey(const std::string& key) const {
    const auto it = keychainItemData_.find(key);
    if (it == keychainItemData_.end()) return std::nullopt;
    return *it;
}

void OTKeychainItemWrapper::resetKeychainItem() {
    if (auto item = dictionaryToSecItemFormat(keychainItemData_)) {
        item->erase(OTKeychainStore::kValueData);
        OTKeychainStore::shared().remove(*item);
    }
    setDefaults();
}

std::optional<OTKeychainStore::Item> OTKeychainItemWrapper::dictionaryToSecItemFormat(
    const nlohmann::json& dictionary) {
    if (!dictionary.is_object()) {
        OTLog(OTLogger::kLevelError, "钥匙串数据转换失败: %@", dictionary);
        return std::nullopt;
    }
    OTKeychainStore::Item item;
    for (const auto& [key, value] : dictionary.items()) {
        if (key == OTKeychainStore::kValueData) {
            const std::string text = value.is_string() ? value.get<std::string>() : std::string();
            item.emplace(key, OTPropertyList(OTPropertyList::Data(text.begin(), text.end())));
        } else if (!value.is_null()) {
            auto converted = OTPropertyList::fromJson(value);
            if (!converted) {
                OTLog(OTLogger::kLevelError, "钥匙串数据转换失败: %@", key);
                return std::nullopt;
            }
            item.emplace(key, std::move(*converted));
        }
    }
    item.insert_or_assign(OTKeychainStore::kClass, OTPropertyList(OTKeychainStore::kClassGenericPassword));
    return item;
}

std::optional<nlohmann::json> OTKeychainItemWrapper::secItemFormatToDictionary(const OTKeychainStore::Item& item) {
    nlohmann::json dictionary = nlohmann::json::object();
    for (const auto& [key, value] : item) {
        if (key == OTKeychainStore::kClass) continue;
        if (key == OTKeychainStore::kValueData) {
            const auto* data = value.get<OTPropertyList::Data>();
            if (data == nullptr) {
                OTLog(OTLogger::kLevelError, "钥匙串数据转换失败: %@", key);
                return std::nullopt;
            }
            nlohmann::json text = std::string(data->begin(), data->end());
            try {
                (void)text.dump();  // the data must be UTF-8 text
            } catch (const nlohmann::json::exception&) {
                OTLog(OTLogger::kLevelError, "钥匙串数据转换失败: %@", key);
                return std::nullopt;
            }
            dictionary[key] = std::move(text);
        } else {
            dictionary[key] = value.toJson();
        }
    }
    return dictionary;
}

void OTKeychainItemWrapper::writeToKeychain() {
    auto item = dictionaryToSecItemFormat(keychainItemData_);
    if (!item) return;
    auto& keychain = OTKeychainStore::shared();
    if (keychain.copyMatching(genericPasswordQuery_)) {
        OTKeychainStore::Item attributes = *item;
        attributes.erase(OTKeychainStore::kClass);
        if (!keychain.update(genericPasswordQuery_, attributes)) {
            OTLog(OTLogger::kLevelError, "钥匙串更新失败: %@", identifier_);
        }
    } else if (!keychain.add(*item)) {
        OTLog(OTLogger::kLevelError, "钥匙串写入失败: %@", identifier_);
    }
}

}  // namespace corvane
