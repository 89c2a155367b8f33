#pragma once

#include "foundation/containers/ORVValSlist.h"
#include "foundation/handles/ORVSmrPtr.h"
#include "foundation/subscribers/CSubscriberID.h"

#include <algorithm>
#include <cstdint>
#include <memory>
#include <unordered_map>
#include <vector>

/// Finds the elements of a long list by the identity of their subscriber; it stands beside the list, whose
/// order and first-match rule it keeps.
///
/// `Element` has `const CSubscriberID* identity() const`, null when it has none. A short list is walked as
/// quickly, so that the index is made when its list has grown; until then, and as long as an element without
/// identity is in the list, it is not usable and the owner walks.
///
/// Threads: as the list. Requires: after the first append() the list is changed through append() and erase()
/// only.
template <class Element>
class SubscriberIndex {
public:
    using List = ORVValSlist<ORVSmrPtr<Element>>;
    using Position = typename List::iterator;

    /// Lists with more elements than this have an index.
    static constexpr unsigned int shortList = 16;

    bool isUsable() const noexcept { return _table && _table->strangers == 0; }

    /// Appends to `list`, and makes the index when it has become long.
    void append(List& list, const ORVSmrPtr<Element>& element) {
        list.append(element);
        try {
            if (_table) {
                _add(list.last());
            } else if (list.entries() > shortList) {
                _build(list);
            }
        } catch (...) {
            list.erase(list.last());
            throw;
        }
    }

    void erase(List& list, Position position) noexcept {
        if (_table) {
            _remove(position);
        }
        list.erase(position);
    }

    /// The first element with this identity that `accepts` says yes to, given the element; a default position
    /// when there is none. Requires: isUsable().
    template <class Predicate>
    Position findIf(const CSubscriberID& id, Predicate accepts) const {
        const auto bucket = _table->positions.find(hashKeySubscriberID(id));
        if (bucket != _table->positions.end()) {
            for (const Position& position : bucket->second) {
                if (*(*position)->identity() == id && accepts(**position)) {
                    return position;
                }
            }
        }
        return {};
    }

    Position find(const CSubscriberID& id) const {
        return findIf(id, [](const Element&) { return true; });
    }

private:
    struct Table {
        /// By hash of the identity, each in list order.
        std::unordered_map<std::uint32_t, std::vector<Position>> positions;
        std::size_t strangers = 0;
    };

    static const CSubscriberID* _identityAt(Position position) {
        return position->IsNull() ? nullptr : (*position)->identity();
    }

    void _build(List& list) {
        _table = std::make_unique<Table>();
        try {
            for (Position position = list.begin(); position != list.end(); ++position) {
                _add(position);
            }
        } catch (...) {
            _table.reset();
            throw;
        }
    }

    void _add(Position position) {
        if (const CSubscriberID* id = _identityAt(position)) {
            _table->positions[hashKeySubscriberID(*id)].push_back(position);
        } else {
            ++_table->strangers;
        }
    }

    void _remove(Position position) noexcept {
        const CSubscriberID* id = _identityAt(position);
        if (!id) {
            --_table->strangers;
            return;
        }
        const auto bucket = _table->positions.find(hashKeySubscriberID(*id));
        std::erase(bucket->second, position);
        if (bucket->second.empty()) {
            _table->positions.erase(bucket);
        }
    }

    std::unique_ptr<Table> _table;
};
