#include "foundation/subscribers/CSubscriberList.h"

#include <algorithm>

CSubscriberList::CSubscriberList(ORVSmrPtr<IOrvoInstanceName> instanceName)
    : _instanceName(instanceName), _entries(new Rows) {
}

CSubscriberList::~CSubscriberList() = default;

void CSubscriberList::addEntry(const ORVSmrPtr<CSubscriberTableEntry>& entry) {
    _index.append(*_entries, entry);
}

bool CSubscriberList::removeEntry(const CSubscriber& subscriber) {
    const auto isOf = [&subscriber](const CSubscriberTableEntry& entry) {
        return entry.getSubscriber().Get() == &subscriber;
    };
    Rows::iterator row;
    if (_index.isUsable() && subscriber.identity()) {
        row = _index.findIf(*subscriber.identity(), isOf);
    } else {
        row =
            std::find_if(_entries->begin(), _entries->end(), [&](const auto& entry) { return isOf(*entry); });
    }
    if (row == _entries->end()) {
        return false;
    }
    _index.erase(*_entries, row);
    return true;
}

ORVSmrPtr<CSubscriberTableEntry> CSubscriberList::lookup(const CSubscriberID& subscriberID) const {
    const Rows::iterator row = _find(subscriberID);
    return row == _entries->end() ? nullptr : *row;
}

CSubscriberList::Rows::iterator CSubscriberList::_find(const CSubscriberID& id) const {
    if (_index.isUsable()) {
        return _index.find(id);
    }
    return std::find_if(_entries->begin(), _entries->end(), [&id](const auto& entry) {
        return *entry->getSubscriber()->getSubscriberID() == id;
    });
}

bool CSubscriberList::notify(ORVSmrPtr<IOrvoIndication> indication) {
    bool isQueued = false;
    for (const auto& entry : *_entries) {
        isQueued = entry->notify(indication) || isQueued;
    }
    return isQueued;
}
