#include "foundation/subscribers/CSubscriberList.h"

CSubscriberList::CSubscriberList(ORVSmrPtr<IOrvoInstanceName> instanceName)
    : _instanceName(instanceName), _entries(new ORVValSlist<ORVSmrPtr<CSubscriberTableEntry>>) {
}

CSubscriberList::~CSubscriberList() = default;

void CSubscriberList::addEntry(const ORVSmrPtr<CSubscriberTableEntry>& entry) {
    _entries->append(entry);
}

bool CSubscriberList::removeEntry(const CSubscriber& subscriber) {
    for (ORVValSlistIterator<ORVSmrPtr<CSubscriberTableEntry>> position(*_entries); ++position;) {
        if (position.key()->getSubscriber().Get() == &subscriber) {
            position.remove();
            return true;
        }
    }
    return false;
}

ORVSmrPtr<CSubscriberTableEntry> CSubscriberList::lookup(const CSubscriberID& subscriberID) const {
    for (const auto& entry : *_entries) {
        if (*entry->getSubscriber()->getSubscriberID() == subscriberID) {
            return entry;
        }
    }
    return {};
}

bool CSubscriberList::notify(ORVSmrPtr<IOrvoIndication> indication) {
    bool isQueued = false;
    for (const auto& entry : *_entries) {
        isQueued = entry->notify(indication) || isQueued;
    }
    return isQueued;
}
