#include "CIMOM_Indications/SubscriberPlaces.h"

#include "foundation/containers/NumberSet.h"

#include <unordered_map>

namespace velm {

namespace {

struct IdentityHash {
    std::size_t operator()(const CSubscriberID& id) const noexcept { return hashKeySubscriberID(id); }
};

}  // namespace

struct SubscriberPlaces::Table {
    std::unordered_map<CSubscriberID, NumberSet, IdentityHash> hashes;
};

SubscriberPlaces::SubscriberPlaces() noexcept = default;
SubscriberPlaces::~SubscriberPlaces() = default;

void SubscriberPlaces::add(const CSubscriberID& id, const ORVString& key) {
    if (!_table) {
        _table = std::make_unique<Table>();
    }
    _table->hashes[id].insert(hashKeyORVString(key));
}

void SubscriberPlaces::_remove(const CSubscriberID& id, std::uint32_t hash) noexcept {
    if (!_table) {
        return;
    }
    const auto found = _table->hashes.find(id);
    if (found == _table->hashes.end()) {
        return;
    }
    found->second.erase(hash);
    if (found->second.isEmpty()) {
        _table->hashes.erase(found);
    }
}

std::vector<std::uint32_t> SubscriberPlaces::_take(const CSubscriberID& id) {
    if (!_table) {
        return {};
    }
    const auto found = _table->hashes.find(id);
    if (found == _table->hashes.end()) {
        return {};
    }
    std::vector<std::uint32_t> hashes = found->second.all();
    _table->hashes.erase(found);
    return hashes;
}

}  // namespace velm
