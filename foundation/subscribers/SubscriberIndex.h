#pragma once

#include "foundation/containers/ORVValSlist.h"
#include "foundation/handles/ORVSmrPtr.h"
#include "foundation/subscribers/IdentityIndex.h"

#include <bit>
#include <cstddef>
#include <memory>

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
        return _positionAt(_table->places.find(
            id,
            [](const void* predicate, void* place) {
                return (*static_cast<const Predicate*>(predicate))(**_positionAt(place));
            },
            &accepts));
    }

    Position find(const CSubscriberID& id) const { return _positionAt(_table->places.find(id)); }

private:
    struct Table {
        velm::IdentityIndex places;
        std::size_t strangers = 0;
    };

    // A position is what the index takes for a place.
    static void* _placeOf(Position position) noexcept { return std::bit_cast<void*>(position); }
    static Position _positionAt(void* place) noexcept { return std::bit_cast<Position>(place); }

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
            _table->places.add(*id, _placeOf(position));
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
        _table->places.remove(*id, _placeOf(position));
    }

    std::unique_ptr<Table> _table;
};
