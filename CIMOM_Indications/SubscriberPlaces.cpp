#include "CIMOM_Indications/SubscriberPlaces.h"

#include <unordered_map>
#include <unordered_set>

namespace velm {

namespace {

struct IdentityHash {
    std::size_t operator()(const CSubscriberID& id) const noexcept { return hashKeySubscriberID(id); }
};

struct KeyHash {
    std::size_t operator()(const ORVString& key) const noexcept { return hashKeyORVString(key); }
};

using Keys = std::unordered_set<ORVString, KeyHash>;

}  // namespace

struct SubscriberPlaces::Table {
    std::unordered_map<CSubscriberID, Keys, IdentityHash> keys;
};

SubscriberPlaces::SubscriberPlaces() noexcept = default;
SubscriberPlaces::~SubscriberPlaces() = default;

void SubscriberPlaces::add(const CSubscriberID& id, const ORVString& key) {
    if (!_table) {
        _table = std::make_unique<Table>();
    }
    _table->keys[id].insert(key);
}

void SubscriberPlaces::remove(const CSubscriberID& id, const ORVString& key) noexcept {
    if (!_table) {
        return;
    }
    const auto found = _table->keys.find(id);
    if (found == _table->keys.end()) {
        return;
    }
    found->second.erase(key);
    if (found->second.empty()) {
        _table->keys.erase(found);
    }
}

std::vector<ORVString> SubscriberPlaces::_take(const CSubscriberID& id) {
    if (!_table) {
        return {};
    }
    const auto found = _table->keys.find(id);
    if (found == _table->keys.end()) {
        return {};
    }
    std::vector<ORVString> keys(found->second.begin(), found->second.end());
    _table->keys.erase(found);
    return keys;
}

}  // namespace velm
