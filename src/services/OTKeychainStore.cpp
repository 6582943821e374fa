#include "services/OTKeychainStore.h"

#include "platform/OTEnvironment.h"
#include "services/OTDataArchiver.h"

namespace corvane {

OTKeychainStore& OTKeychainStore::shared() {
    const auto environment = OTEnvironment::current();
    return *environment->singleton<OTKeychainStore>(
        [&] { return std::make_shared<OTKeychainStore>(environment->sandbox().keychainPath()); });
}

OTKeychainStore::OTKeychainStore(std::filesystem::path path) : path_(std::move(path)) {
    auto bytes = OTEnvironment::current()->files().readFile(path_);
    if (!bytes) return;
    auto root = OTPropertyList::fromBinary(*bytes);
    const auto* array = root ? root->get<OTPropertyList::Array>() : nullptr;
    if (array == nullptr) return;
    for (const auto& entry : *array) {
        if (const auto* item = entry.get<Item>()) items_.push_back(*item);
    }
}

bool OTKeychainStore::matches(const Item& item, const Item& query) {
    for (const auto& [key, value] : query) {
        const auto it = item.find(key);
        if (it == item.end() || !(it->second == value)) return false;
    }
    return true;
}

std::optional<OTKeychainStore::Item> OTKeychainStore::copyMatching(const Item& query) const {
    std::lock_guard lock(mutex_);
    for (const auto& item : items_) {
        if (matches(item, query)) return item;
    }
    return std::nullopt;
}

bool OTKeychainStore::add(const Item& item) {
    std::lock_guard lock(mutex_);
    for (const auto& existing : items_) {
        bool same = true;
        for (const char* key : {kClass, kGeneric, kAccessGroup}) {
            const auto a = existing.find(key);
            const auto b = item.find(key);
            const bool aHas = a != existing.end();
            const bool bHas = b != item.end();
            if (aHas != bHas || (aHas && !(a->second == b->second))) {
                same = false;
                break;
            }
        }
        if (same) return false;
    }
    items_.push_back(item);
    return save();
}

bool OTKeychainStore::update(const Item& query, const Item& attributes) {
    std::lock_guard lock(mutex_);
    bool any = false;
    for (auto& item : items_) {
        if (!matches(item, query)) continue;
        for (const auto& [key, value] : attributes) item.insert_or_assign(key, value);
        any = true;
    }
    return any && save();
}

bool OTKeychainStore::remove(const Item& query) {
    std::lock_guard lock(mutex_);
    const auto before = items_.size();
    std::erase_if(items_, [&](const Item& item) { return matches(item, query); });
    return items_.size() != before && save();
}

bool OTKeychainStore::save() const {
    OTPropertyList::Array array;
    for (const auto& item : items_) array.emplace_back(item);
    return OTDataArchiver::writePropertyList(OTPropertyList(std::move(array)), path_);
}

}  // namespace corvane
