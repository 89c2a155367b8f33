#pragma once

#include "foundation/containers/ORVValSlist.h"
#include "foundation/handles/ORVSmrPtr.h"
#include "foundation/object_model/IOrvoInstanceName.h"
#include "foundation/subscribers/CSubscriberTableEntry.h"
#include "foundation/subscribers/SubscriberIndex.h"
#include "foundation/utilities/MadeOnce.h"
#include "foundation/utilities/OwnedOnce.h"

/// The rows of one instance name, or of one class.
///
/// There may be a million lists, nearly all of them with one row that has unfiltered subscriptions of one
/// kind: such a row stands in the list object itself. Rows as objects, and the list of them, are made when
/// there is more to hold or somebody asks for them.
///
/// Threads: not synchronised; its owner locks around changes. Any number of threads may notify and read while
/// nobody changes it.
class VELM_EXPORT CSubscriberList {
public:
    using EntryList = ORVSmrPtr<ORVValSlist<ORVSmrPtr<CSubscriberTableEntry>>>;
    using Filter = ORVSmrPtr<IOrvoSubscriptionFilter>;

    /// What a name is told by, in place of the name.
    struct TextOfName {
        ORVString text;
    };

    explicit CSubscriberList(ORVSmrPtr<IOrvoInstanceName> instanceName);
    explicit CSubscriberList(const TextOfName& name);
    CSubscriberList(const CSubscriberList&) = delete;
    CSubscriberList& operator=(const CSubscriberList&) = delete;
    virtual ~CSubscriberList();

    /// The list of one instance, in a table under `key`, which is the text of the name. When the text tells
    /// all of the name, it is what the list keeps, and getInstanceName() answers an equal name.
    static ORVSmrPtr<CSubscriberList> ofInstance(const ORVSmrPtr<IOrvoInstanceName>& instanceName,
                                                 const ORVString& key);

    void addEntry(const ORVSmrPtr<CSubscriberTableEntry>& entry);

    /// Removes the first row of this subscriber (the same object); answers whether there was one.
    bool removeEntry(const CSubscriber& subscriber);

    /// Adds a subscription to the first row of the subscriber's identity, or to a new row. As
    /// CSubscriberTableEntry::subscribe(). Requires: the subscriber has an identity.
    void subscribe(const ORVSmrPtr<CSubscriber>& subscriber, bool isClassBased,
                   IOrvoIndication::IndicationType type, const Filter& filter, const Filter& resultFilter,
                   unsigned int* referenceCount);

    enum class Outcome { noRow, rowStays, rowRemoved };

    /// Takes a subscription back from the first row with this identity, as
    /// CSubscriberTableEntry::unsubscribe(), and removes the row when it wants nothing more.
    Outcome unsubscribe(const CSubscriberID& subscriberID, IOrvoIndication::IndicationType type,
                        const Filter& filter, const Filter& resultFilter, unsigned int* referenceCount);

    /// The first row whose subscriber has this identity; a null handle when there is none.
    ORVSmrPtr<CSubscriberTableEntry> lookup(const CSubscriberID& subscriberID) const;
    bool hasRow(const CSubscriberID& subscriberID) const;

    /// Removes that row and hands it over.
    ORVSmrPtr<CSubscriberTableEntry> takeEntry(const CSubscriberID& subscriberID);

    /// The rows in order of addition; the list itself, not a copy. Rows come and go through the operations
    /// above only.
    EntryList getList() const;
    /// The same to read at once: a row that stands in the list object is not made one of its own for good.
    EntryList getRows() const;
    /// Hands the identity of each row to `visit`.
    template <class Visitor>
    void visitIdentities(Visitor visit) const {
        if (const Rows* rows = _made.find()) {
            for (const auto& entry : *rows->entries) {
                if (const CSubscriberID* id = entry->identity()) {
                    visit(*id);
                }
            }
        } else if (!_subscriber.IsNull()) {
            visit(*_subscriber->identity());
        }
    }

    ORVSmrPtr<IOrvoInstanceName> getInstanceName() const;
    bool isEmpty() const;

    /// Offers `indication` to every row; answers whether at least one accepted and queued it.
    virtual bool notify(ORVSmrPtr<IOrvoIndication> indication);

private:
    using Entries = ORVValSlist<ORVSmrPtr<CSubscriberTableEntry>>;

    struct Rows {
        EntryList entries{new Entries};
        SubscriberIndex<CSubscriberTableEntry> index;

        Entries::iterator find(const CSubscriberID& id) const;
    };

    ORVSmrPtr<CSubscriberTableEntry> _makeEntry() const;
    Rows& _rows() const;
    Rows& _rowsToChange();
    void _clearSingle() noexcept;

    /// The text that tells the instance name; null when the name was kept instead.
    ORVString _nameText;
    velm::MadeOnce<IOrvoInstanceName> _instanceName;
    velm::OwnedOnce<Rows> _made;
    // Until there are rows: the only row, if there is a subscriber.
    ORVSmrPtr<CSubscriber> _subscriber = ORVSmrPtr<CSubscriber>::none();
    unsigned int _unfiltered = 0;
    IOrvoIndication::IndicationType _type : 31 = IOrvoIndication::IndicationInvalid;
    bool _isClassBased : 1 = false;
};
