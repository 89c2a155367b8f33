#pragma once

#include "Indications/IIndicationManager.h"

#include <cstddef>
#include <cstdint>
#include <mutex>

namespace velm {

/// Keeps the number of subscribers within a bound. Requests that are carried out at the same time may pass it
/// by as many as they are.
///
/// Threads: any number.
class SubscriberLimit {
public:
    /// 0: no bound. Requires: the manager outlives this object.
    SubscriberLimit(IIndicationManager& manager, std::size_t most) : _manager(manager), _most(most) {}

    /// Throws CIMOMException with the status serverLimitsExceeded when `subscriber` is unknown to the manager
    /// and there are as many as may be.
    void requireRoomFor(const CSubscriberID& subscriber);

private:
    bool _hasRoomFor(const CSubscriberID& subscriber);

    IIndicationManager& _manager;
    const std::size_t _most;
    std::mutex _lock;
    /// How many may have come since the subscribers were counted before they have to be counted again, which
    /// takes its time. Guarded by _lock.
    std::size_t _uncounted = 0;
};

}  // namespace velm
