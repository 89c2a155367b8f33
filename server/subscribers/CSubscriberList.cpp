#include "foundation/subscribers/CSubscriberList.h"

#include "foundation/object_model/COrvoInstanceName.h"
#include "foundation/subscribers/FanOut.h"

#include <algorithm>
#include <limits>
#include <memory>

using Entry = ORVSmrPtr<CSubscriberTableEntry>;

CSubscriberList::CSubscriberList(ORVSmrPtr<IOrvoInstanceName> instanceName) {
    _instanceName.get([&] { return instanceName; });
}

CSubscriberList::CSubscriberList(const TextOfName& name) : _nameText(name.text) {
}

CSubscriberList::~CSubscriberList() = default;

ORVSmrPtr<CSubscriberList> CSubscriberList::ofInstance(const ORVSmrPtr<IOrvoInstanceName>& instanceName,
                                                       const ORVString& key) {
    if (!COrvoInstanceName::isToldByText(*instanceName)) {
        return ORVSmrPtr<CSubscriberList>::make(instanceName);
    }
    return ORVSmrPtr<CSubscriberList>::make(TextOfName{key});
}

void CSubscriberList::addEntry(const Entry& entry) {
    Rows& rows = _rowsToChange();
    rows.index.append(*rows.entries, entry);
}

bool CSubscriberList::removeEntry(const CSubscriber& subscriber) {
    const auto isOf = [&subscriber](const CSubscriberTableEntry& entry) {
        return &entry.subscriber() == &subscriber;
    };
    Rows& rows = _rowsToChange();
    Entries& entries = *rows.entries;
    Entries::iterator row;
    if (rows.index.isUsable() && subscriber.identity()) {
        row = rows.index.findIf(*subscriber.identity(), isOf);
    } else {
        row = std::find_if(entries.begin(), entries.end(), [&](const auto& entry) { return isOf(*entry); });
    }
    if (row == entries.end()) {
        return false;
    }
    rows.index.erase(entries, row);
    return true;
}

void CSubscriberList::subscribe(const ORVSmrPtr<CSubscriber>& subscriber, bool isClassBased,
                                IOrvoIndication::IndicationType type, const Filter& filter,
                                const Filter& resultFilter, unsigned int* referenceCount) {
    const CSubscriberID& id = *subscriber->identity();
    const bool isPlain = !_made.find() && filter.IsNull() && COrvoIndicationFilterProcessor::isKind(type);
    if (isPlain && _subscriber.IsNull()) {
        _subscriber = subscriber;
        _isClassBased = isClassBased;
        _type = type;
        *referenceCount = _unfiltered = 1;
    } else if (isPlain && type == _type && *_subscriber->identity() == id) {
        *referenceCount = ++_unfiltered;
    } else {
        Rows& rows = _rowsToChange();
        auto row = rows.find(id);
        if (row == rows.entries->end()) {
            rows.index.append(*rows.entries, Entry::make(subscriber, isClassBased));
            row = rows.entries->last();
        }
        (*row)->subscribe(type, filter, resultFilter, referenceCount);
    }
}

CSubscriberList::Outcome CSubscriberList::unsubscribe(const CSubscriberID& subscriberID,
                                                      IOrvoIndication::IndicationType type,
                                                      const Filter& filter, const Filter& resultFilter,
                                                      unsigned int* referenceCount) {
    if (!_made.find()) {
        if (_subscriber.IsNull() || *_subscriber->identity() != subscriberID) {
            return Outcome::noRow;
        }
        if (!filter.IsNull() || type != _type) {
            return Outcome::rowStays;
        }
        *referenceCount = --_unfiltered;
        _subscriber->record()->noteUnsubscribed();
        if (_unfiltered > 0) {
            return Outcome::rowStays;
        }
        _clearSingle();
        return Outcome::rowRemoved;
    }
    Rows& rows = _rowsToChange();
    const auto row = rows.find(subscriberID);
    if (row == rows.entries->end()) {
        return Outcome::noRow;
    }
    constexpr unsigned int untouched = std::numeric_limits<unsigned int>::max();
    unsigned int left = untouched;
    (*row)->unsubscribe(type, filter, resultFilter, &left);
    if (left != untouched) {
        *referenceCount = left;
        (*row)->subscriber().record()->noteUnsubscribed();
    }
    if ((*row)->willTriggerNotification()) {
        return Outcome::rowStays;
    }
    rows.index.erase(*rows.entries, row);
    return Outcome::rowRemoved;
}

Entry CSubscriberList::lookup(const CSubscriberID& subscriberID) const {
    if (!_made.find() && !hasRow(subscriberID)) {
        return nullptr;
    }
    const Rows& rows = _rows();
    const auto row = rows.find(subscriberID);
    return row == rows.entries->end() ? nullptr : *row;
}

bool CSubscriberList::hasRow(const CSubscriberID& subscriberID) const {
    if (const Rows* rows = _made.find()) {
        return rows->find(subscriberID) != rows->entries->end();
    }
    return !_subscriber.IsNull() && *_subscriber->identity() == subscriberID;
}

Entry CSubscriberList::takeEntry(const CSubscriberID& subscriberID) {
    if (!hasRow(subscriberID)) {
        return nullptr;
    }
    if (!_made.find()) {
        Entry entry = _makeEntry();
        _clearSingle();
        return entry;
    }
    Rows& rows = _rowsToChange();
    const auto row = rows.find(subscriberID);
    Entry entry = *row;
    rows.index.erase(*rows.entries, row);
    return entry;
}

CSubscriberList::EntryList CSubscriberList::getList() const {
    return _rows().entries;
}

CSubscriberList::EntryList CSubscriberList::getRows() const {
    if (const Rows* rows = _made.find()) {
        return rows->entries;
    }
    EntryList entries(new Entries);
    if (!_subscriber.IsNull()) {
        entries->append(_makeEntry());
    }
    return entries;
}

ORVSmrPtr<IOrvoInstanceName> CSubscriberList::getInstanceName() const {
    return _instanceName.get([this] { return COrvoInstanceName::ofText(_nameText); });
}

bool CSubscriberList::isEmpty() const {
    const Rows* rows = _made.find();
    return rows ? rows->entries->isEmpty() : _subscriber.IsNull();
}

bool CSubscriberList::notify(ORVSmrPtr<IOrvoIndication> indication) {
    const Rows* rows = _made.find();
    if (!rows) {
        if (_subscriber.IsNull() || indication->getType() != _type) {
            return false;
        }
        _subscriber->notify(indication);
        return true;
    }
    bool isQueued = false;
    velm::forEachSubscriber(*rows->entries, [&](CSubscriberTableEntry& entry) {
        isQueued = entry.notify(indication) || isQueued;
    });
    return isQueued;
}

CSubscriberList::Entries::iterator CSubscriberList::Rows::find(const CSubscriberID& id) const {
    if (index.isUsable()) {
        return index.find(id);
    }
    return std::find_if(entries->begin(), entries->end(),
                        [&id](const auto& entry) { return *entry->subscriber().getSubscriberID() == id; });
}

Entry CSubscriberList::_makeEntry() const {
    return Entry::make(_subscriber, _isClassBased, _type, _unfiltered);
}

CSubscriberList::Rows& CSubscriberList::_rows() const {
    return _made.get([this] {
        auto rows = std::make_unique<Rows>();
        if (!_subscriber.IsNull()) {
            rows->index.append(*rows->entries, _makeEntry());
        }
        return rows;
    });
}

CSubscriberList::Rows& CSubscriberList::_rowsToChange() {
    Rows& rows = _rows();
    _clearSingle();
    return rows;
}

void CSubscriberList::_clearSingle() noexcept {
    _subscriber = ORVSmrPtr<CSubscriber>::none();
    _unfiltered = 0;
}
