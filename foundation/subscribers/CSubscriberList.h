#pragma once

#include "foundation/containers/ORVValSlist.h"
#include "foundation/handles/ORVSmrPtr.h"
#include "foundation/object_model/IOrvoInstanceName.h"
#include "foundation/subscribers/CSubscriberTableEntry.h"
#include "foundation/subscribers/SubscriberIndex.h"

/// The rows of one instance name, or of one class.
///
/// Threads: not synchronised; its owner locks around changes. Any number of threads may notify while nobody
/// changes it.
class VELM_EXPORT CSubscriberList {
public:
    using EntryList = ORVSmrPtr<ORVValSlist<ORVSmrPtr<CSubscriberTableEntry>>>;

    explicit CSubscriberList(ORVSmrPtr<IOrvoInstanceName> instanceName);
    virtual ~CSubscriberList();

    void addEntry(const ORVSmrPtr<CSubscriberTableEntry>& entry);

    /// Removes the first row of this subscriber (the same object); answers whether there was one.
    bool removeEntry(const CSubscriber& subscriber);

    /// The first row whose subscriber has this identity; a null handle when there is none.
    ORVSmrPtr<CSubscriberTableEntry> lookup(const CSubscriberID& subscriberID) const;

    /// The rows in order of addition; the list itself, not a copy. Rows come and go through addEntry() and
    /// removeEntry() only.
    EntryList getList() const { return _entries; }
    ORVSmrPtr<IOrvoInstanceName> getInstanceName() const { return _instanceName; }
    bool isEmpty() const { return _entries->isEmpty(); }

    /// Offers `indication` to every row; answers whether at least one accepted and queued it.
    virtual bool notify(ORVSmrPtr<IOrvoIndication> indication);

private:
    using Rows = ORVValSlist<ORVSmrPtr<CSubscriberTableEntry>>;

    Rows::iterator _find(const CSubscriberID& id) const;

    ORVSmrPtr<IOrvoInstanceName> _instanceName;
    EntryList _entries;
    SubscriberIndex<CSubscriberTableEntry> _index;
};
