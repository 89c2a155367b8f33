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

using Several = std::vector<Entry>;

/// The entries of one hash: nearly always one, which stands here. Without an identity, the place is that of a
/// list of several, in order of addition.
struct Slot {
    Entry one;

    Several* several() const noexcept { return one.id ? nullptr : static_cast<Several*>(one.place); }
    const Entry* begin() const noexcept { return one.id ? &one : several()->data(); }
    const Entry* end() const noexcept { return begin() + (one.id ? 1 : several()->size()); }
};

}  // namespace

struct IdentityIndex::Table {
    Table() = default;
    Table(const Table&) = delete;
    Table& operator=(const Table&) = delete;
    ~Table() {
        for (const auto& [hash, slot] : slots) {
            delete slot.several();
        }
    }

    boost::unordered_flat_map<std::uint32_t, Slot> slots;
};

IdentityIndex::IdentityIndex() : _table(std::make_unique<Table>()) {
}

IdentityIndex::~IdentityIndex() = default;

void IdentityIndex::add(const CSubscriberID& id, void* place) {
    const Entry entry{&id, place};
    const auto [found, isNew] = _table->slots.try_emplace(hashKeySubscriberID(id), Slot{entry});
    if (isNew) {
        return;
    }
    Slot& slot = found->second;
    if (Several* several = slot.several()) {
        several->push_back(entry);
    } else {
        slot.one = {nullptr, new Several{slot.one, entry}};
    }
}

void IdentityIndex::remove(const CSubscriberID& id, void* place) noexcept {
    const auto found = _table->slots.find(hashKeySubscriberID(id));
    if (Several* several = found->second.several()) {
        std::erase_if(*several, [place](const Entry& entry) { return entry.place == place; });
        if (!several->empty()) {
            return;
        }
        delete several;
    }
    _table->slots.erase(found);
}

void* IdentityIndex::find(const CSubscriberID& id, Accepts accepts, const void* wanted) const {
    const auto found = _table->slots.find(hashKeySubscriberID(id));
    if (found == _table->slots.end()) {
        return nullptr;
    }
    const Slot& slot = found->second;
    const Entry* entry = std::find_if(slot.begin(), slot.end(), [&](const Entry& candidate) {
        return candidate.isOf(id) && (!accepts || accepts(wanted, candidate.place));
    });
    return entry == slot.end() ? nullptr : entry->place;
}

void IdentityIndex::visit(void (*visitor)(void* context, void* place), void* context) const {
    for (const auto& [hash, slot] : _table->slots) {
        for (const Entry& entry : slot) {
            visitor(context, entry.place);
        }
    }
}

}  // namespace velm
