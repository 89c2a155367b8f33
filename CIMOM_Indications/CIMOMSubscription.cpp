#include "CIMOM_Indications/CIMOMSubscription.h"

#include "CIMOM_Indications/RoutedIndication.h"
#include "foundation/object_model/COrvoInstanceName.h"

namespace {

bool isInstance(const ORVSmrPtr<IOrvoValue>& target) {
    return !target.IsNull() && target->getType()->isReference();
}

}  // namespace

CCIMOMSubscription::CCIMOMSubscription(unsigned int bucketCount)
    : _classFilterSubscriberMapList(new CCIMOMIndicationFilterList),
      _instanceFilterSubscriberMapList(new InstanceMap(hashKeyORVString, bucketCount)),
      _classList(*_classFilterSubscriberMapList),
      _instances(*_instanceFilterSubscriberMapList) {
}

void CCIMOMSubscription::subscribe(ORVSmrPtr<CCIMOMIndicationFilter> filter,
                                   ORVSmrPtr<CSubscriber> subscriber, ORVSmrPtr<IOrvoValue> target) {
    _purge();
    if (!isInstance(target)) {
        _classList.subscribe(filter, subscriber, nullptr);
        return;
    }
    const ORVSmrPtr<IOrvoInstanceName> instanceName = target->getReference();
    const ORVString key = velm::instanceKeyOf(*instanceName);
    static_cast<void>(*filter);  // Nothing is entered for a null one.
    // Before anything else can fail: a place too many does no harm.
    if (const CSubscriberID* id = subscriber->identity()) {
        _places.add(*id, key);
    }
    if (const ORVSmrPtr<CCIMOMIndicationFilterList>* list = _instances.find(key)) {
        (*list)->subscribe(filter, subscriber, instanceName);
        return;
    }
    const ORVSmrPtr<CCIMOMIndicationFilterList> list = _makeList(*instanceName, key);
    list->subscribe(filter, subscriber, instanceName);
    _instances.insert(key, list);
}

ORVSmrPtr<CCIMOMIndicationFilterList> CCIMOMSubscription::_makeList(const IOrvoInstanceName& instanceName,
                                                                    const ORVString& key) {
    if (!COrvoInstanceName::isToldByText(instanceName)) {
        return ORVSmrPtr<CCIMOMIndicationFilterList>::make();
    }
    if (const ORVString nameSpace = instanceName.getNameSpace(); nameSpace != _nameSpace) {
        _nameSpace = nameSpace;
    }
    return ORVSmrPtr<CCIMOMIndicationFilterList>::make(_nameSpace, key);
}

bool CCIMOMSubscription::unsubscribe(ORVSmrPtr<CCIMOMIndicationFilter> filter,
                                     ORVSmrPtr<CSubscriber> subscriber, ORVSmrPtr<IOrvoValue> target) {
    _purge();
    bool isEmpty = false;
    if (!isInstance(target)) {
        return _classList.unsubscribe(filter, subscriber, isEmpty);
    }
    const ORVString key = velm::instanceKeyOf(*target->getReference());
    const ORVSmrPtr<CCIMOMIndicationFilterList>* list = _instances.find(key);
    if (!list) {
        return false;
    }
    const bool found = (*list)->unsubscribe(filter, subscriber, isEmpty);
    const CSubscriberID* id = subscriber->identity();
    if (found && id && !(*list)->hasSubscriber(*id)) {
        _places.remove(*id, key, _instances);
    }
    if (found && isEmpty) {
        _instances.remove(key);
    }
    return found;
}

void CCIMOMSubscription::notify(const ORVSmrPtr<IOrvoIndication>& indication,
                                bool useInstanceNamesFromReferences) {
    velm::RoutedIndication routed(indication);
    notify(routed, useInstanceNamesFromReferences);
}

void CCIMOMSubscription::notify(velm::RoutedIndication& indication, bool useInstanceNamesFromReferences) {
    if (!_classList.isEmpty()) {
        _classList.notify(indication);
    }
    if (_instances.isEmpty()) {
        return;
    }
    if (!useInstanceNamesFromReferences) {
        const bool isDestroyed = indication.type() == IOrvoIndication::IndicationDestruction;
        _notifyInstance(indication.instanceKey(), indication, isDestroyed);
        return;
    }
    for (unsigned int position = 0; position < 2; ++position) {
        _notifyInstance(velm::instanceKeyOf(*indication.end(position).name), indication, false);
    }
}

void CCIMOMSubscription::_notifyInstance(const ORVString& key, velm::RoutedIndication& indication,
                                         bool isDestroyed) {
    const ORVSmrPtr<CCIMOMIndicationFilterList>* list = _instances.find(key);
    if (!list) {
        return;
    }
    (*list)->notify(indication);
    if (isDestroyed) {
        // Only a read lock is held: others may stand in this list, so that its memory must outlive them.
        _instances.retire(key);
    }
}

void CCIMOMSubscription::_purge() {
    _instances.purge([this](const ORVString& key, const ORVSmrPtr<CCIMOMIndicationFilterList>& list) {
        list->visitIdentities([&](const CSubscriberID& id) { _places.remove(id, key, _instances); });
    });
}

void CCIMOMSubscription::removeSubscriber(const CSubscriberID& id,
                                          CCIMOMDeletedFilterRecord::List& deletedFilters) {
    // A list of a destroyed instance must not keep the subscriber, and its connection, alive.
    _purge();
    bool isEmpty = false;
    _classList.removeSubscriber(id, deletedFilters, isEmpty);

    ORVValSlist<ORVString> emptied;
    bool isGone = true;
    for (const ORVString& key : _places.keysOf(id, _instances)) {
        CCIMOMIndicationFilterList& list = **_instances.find(key);
        list.removeSubscriber(id, deletedFilters, isEmpty);
        if (isEmpty) {
            emptied.append(key);
        } else if (list.hasSubscriber(id)) {
            isGone = false;  // Another subscriber of the same identity.
        }
    }
    // Not before: after a failure half-way a later removal comes by the rest.
    if (isGone) {
        _places.forget(id);
    }
    for (const ORVString& key : emptied) {
        _instances.remove(key);
    }
}
