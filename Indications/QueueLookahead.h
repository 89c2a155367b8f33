#pragma once

#include "foundation/containers/ORVValSlist.h"
#include "foundation/handles/ORVSmrPtr.h"
#include "foundation/object_model/COrvoIndication.h"
#include "foundation/object_model/COrvoObject.h"

#include <cstddef>
#include <typeinfo>

namespace velm {

/// Walks a queue ahead of the one who sends it. Indications wait until no cache holds them any more: those of
/// a group are asked for together, so that memory answers for all of them in the time that one takes.
///
/// One thread uses it; the list must outlive it and not change.
class QueueLookahead {
public:
    using List = ORVValSlist<ORVSmrPtr<IOrvoIndication>>;

    explicit QueueLookahead(List& list) noexcept : _next(list) {}

    /// Called before each indication is used.
    void step() noexcept {
        if (_ahead == 0) {
            while (_ahead < _groupSize && ++_next) {
                _fetch(_next.key().Get());
                ++_ahead;
            }
        }
        _ahead -= _ahead == 0 ? 0 : 1;
    }

private:
    static void _fetch(const IOrvoIndication* indication) noexcept {
        if (!indication || typeid(*indication) != typeid(COrvoIndication)) {
            return;
        }
        const IOrvoObject* object = static_cast<const COrvoIndication*>(indication)->object().Get();
        if (object && typeid(*object) == typeid(COrvoObject)) {
            __builtin_prefetch(static_cast<const COrvoObject*>(object)->properties().data());
        }
    }

    /// So many chains of pointers are followed side by side.
    static constexpr std::size_t _groupSize = 16;

    ORVValSlistIterator<ORVSmrPtr<IOrvoIndication>> _next;
    std::size_t _ahead = 0;
};

}  // namespace velm
