#include "velmd/requests/SubscriberLimit.h"

#include "velmd/model/CIMStatus.h"

#include <fmt/format.h>

namespace velm {

void SubscriberLimit::requireRoomFor(const CSubscriberID& subscriber) {
    if (_most != 0 && !_hasRoomFor(subscriber)) {
        throwStatus(CIMStatus::serverLimitsExceeded,
                    fmt::format("there are {} subscribers, as many as VELM.MaxSubscribers allows", _most));
    }
}

bool SubscriberLimit::_hasRoomFor(const CSubscriberID& subscriber) {
    const std::lock_guard guard(_lock);
    if (_uncounted > 0) {
        --_uncounted;
        return true;
    }
    const auto subscribers = _manager.getCurrentSubscribers();
    const std::size_t count = subscribers.IsNull() ? 0 : subscribers->entries();
    if (count < _most) {
        _uncounted = _most - count - 1;
        return true;
    }
    for (const auto& known : *subscribers) {
        if (*known->getSubscriberID() == subscriber) {
            return true;
        }
    }
    return false;
}

}  // namespace velm
