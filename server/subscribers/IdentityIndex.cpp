#include "foundation/subscribers/IdentityIndex.h"

#include <algorithm>
#include <cstdint>
#include <vector>

#include <boost/unordered/unordered_flat_map.hpp>

namespace velm {

namespace {

struct Entry {
    const CSubscriberID* id;
    void* place;

    bool isOf(const CSubscriberID& wanted) const noexcept { return id == &wanted || *id == wanted; }
};

/// The entries of one hash: nearly always one, which costs no memory of its own.
struct Slot {
    /// In order of addition. Empty when there is one entry only.
    std::unique_ptr<std::vector<Entry>> several;
    Entry one{};
};

}  // namespace

struct IdentityIndex::Table {
    boost::unordered_flat_map<std::uint32_t, Slot> slots;
};

IdentityIndex::IdentityIndex() : _table(std::make_unique<Table>()) {
}

IdentityIndex::~IdentityIndex() = default;

void IdentityIndex::add(const CSubscriberID& id, void* place) {
    const Entry entry{&id, place};
    const auto [found, isNew] = _table->slots.try_emplace(hashKeySubscriberID(id));
    Slot& slot = found->second;
    if (isNew) {
        slot.one = entry;
    } else if (slot.several) {
        slot.several->push_back(entry);
    } else {
        slot.several = std::make_unique<std::vector<Entry>>(std::initializer_list<Entry>{slot.one, entry});
    }
}

void IdentityIndex::remove(const CSubscriberID& id, void* place) noexcept {
    const auto found = _table->slots.find(hashKeySubscriberID(id));
    Slot& slot = found->second;
    if (slot.several) {
        std::erase_if(*slot.several, [place](const Entry& entry) { return entry.place == place; });
        if (!slot.several->empty()) {
            return;
        }
    }
    _table->slots.erase(found);
}

void* IdentityIndex::find(const CSubscriberID& id, Accepts accepts, const void* wanted) const {
    const auto found = _table->slots.find(hashKeySubscriberID(id));
    if (found == _table->slots.end()) {
        return nullptr;
    }
    const Slot& slot = found->second;
    const Entry* first = slot.several ? slot.several->data() : &slot.one;
    const Entry* last = first + (slot.several ? slot.several->size() : 1);
    const Entry* entry = std::find_if(first, last, [&](const Entry& candidate) {
        return candidate.isOf(id) && (!accepts || accepts(wanted, candidate.place));
    });
    return entry == last ? nullptr : entry->place;
}

}  // namespace velm
