#include "foundation/subscribers/CSubscriberTableEntry.h"

CSubscriberTableEntry::CSubscriberTableEntry(ORVSmrPtr<CSubscriber> subscriber, bool isClassBased)
    : _subscriber(subscriber),
      _filterProcessor(new COrvoIndicationFilterProcessor),
      _isClassBased(isClassBased) {
}

CSubscriberTableEntry::~CSubscriberTableEntry() = default;

bool CSubscriberTableEntry::notify(const ORVSmrPtr<IOrvoIndication>& indication) {
    if (!_filterProcessor->accepts(*indication)) {
        return false;
    }
    _subscriber->notify(indication);
    return true;
}
