#pragma once

#include "foundation/containers/ORVValSlist.h"
#include "foundation/handles/ORVSmrPtr.h"

namespace velm {

/// Hands the elements of `list` to `visit`, in order, while the subscribers of those further on are fetched:
/// thousands of queues fit no cache, and the lock of each keeps the processor from reading on by itself.
///
/// An element tells its subscriber by `subscriberOrNull()`. Threads: as walking the list. Failure: what
/// `visit` throws; the elements behind are not visited then.
template <class Element, class Visit>
void forEachSubscriber(const ORVValSlist<ORVSmrPtr<Element>>& list, Visit visit) {
    constexpr int lookahead = 8;
    const auto end = list.end();
    auto ahead = list.begin();
    for (int step = 0; step < lookahead && ahead != end; ++step) {
        ++ahead;
    }
    for (const ORVSmrPtr<Element>& element : list) {
        if (ahead != end) {
            __builtin_prefetch((*ahead)->subscriberOrNull(), 1);
            ++ahead;
        }
        visit(*element);
    }
}

}  // namespace velm
